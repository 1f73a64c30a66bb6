#include "KSTTreeSize.h"

#include "KSTFileName.h"
#include "KSTFolderReader.h"
#include "KSTNoFollowPath.h"

#include <QDir>

#include <QFile>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// A walk reads this many folders on the calling thread before it considers helpers: most
// folders sized (caches, bundles) are small, and starting a thread costs more than reading
// them.
constexpr unsigned FoldersBeforeHelpers = 4;
// Helpers start only when at least this many folders are waiting to be read.
constexpr size_t QueuedFoldersForHelpers = 2;
constexpr unsigned CancelCheckEveryFolders = 32;

struct Rules
{
    bool skipHidden = true;
    std::vector<std::string> excludedFolders;
    std::vector<std::string> excludedExtensions; // lower case, without the dot
    std::shared_ptr<KSTTreeSize::SeenFiles> seenFiles;
    bool preserveAccessTimes = false;
};

int openFolderForReading(const char *path, bool preserveAccessTimes)
{
    constexpr int Flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
#ifdef O_NOATIME
    if (preserveAccessTimes) {
        const int fd = ::open(path, Flags | O_NOATIME);
        // Refused for folders of other owners: those are read as any reader would.
        if (fd >= 0 || errno != EPERM)
            return fd;
    }
#else
    Q_UNUSED(preserveAccessTimes)
#endif
    return ::open(path, Flags);
}

bool hasExcludedExtension(const char *name, size_t length, const Rules &rules)
{
    if (rules.excludedExtensions.empty())
        return false;
    const char *dot = static_cast<const char *>(memrchr(name, '.', length));
    if (!dot || dot == name)
        return false;
    const char *extension = dot + 1;
    const size_t extensionLength = length - static_cast<size_t>(extension - name);
    for (const std::string &excluded : rules.excludedExtensions) {
        if (excluded.size() == extensionLength &&
            strncasecmp(excluded.data(), extension, extensionLength) == 0)
            return true;
    }
    return false;
}

bool isExcludedFolder(const std::string &path, const Rules &rules)
{
    return std::find(rules.excludedFolders.begin(), rules.excludedFolders.end(), path) !=
           rules.excludedFolders.end();
}

// Shared work list of folders still to read. A folder is "pending" from the moment it is
// pushed until its reader has pushed all of its sub-folders, so pending == 0 means done.
class WorkList
{
public:
    void push(std::string path)
    {
        std::lock_guard lock(m_mutex);
        m_folders.push_back(std::move(path));
        ++m_pending;
        m_wake.notify_one();
    }

    bool pop(std::string &path)
    {
        std::unique_lock lock(m_mutex);
        m_wake.wait(lock, [this] { return !m_folders.empty() || m_pending == 0 || m_stopped; });
        if (m_folders.empty() || m_stopped)
            return false;
        path = std::move(m_folders.back());
        m_folders.pop_back();
        return true;
    }

    void finishOne()
    {
        std::lock_guard lock(m_mutex);
        if (--m_pending == 0)
            m_wake.notify_all();
    }

    void stop()
    {
        std::lock_guard lock(m_mutex);
        m_stopped = true;
        m_wake.notify_all();
    }

    size_t queued()
    {
        std::lock_guard lock(m_mutex);
        return m_folders.size();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<std::string> m_folders;
    size_t m_pending = 0;
    bool m_stopped = false;
};

// Reads one folder: adds the blocks of its non-folder entries, queues its sub-folders.
quint64 readFolder(const std::string &path, const Rules &rules, WorkList &work,
                   KSTFolderReader &reader, std::string &child)
{
    const int fd = openFolderForReading(path.c_str(), rules.preserveAccessTimes);
    if (fd < 0)
        return 0;
    quint64 total = 0;
    reader.forEachEntry(fd, [&](const char *name, unsigned char type) {
        if (KSTFolderReader::isDotOrDotDot(name))
            return;
        if (rules.skipHidden && name[0] == '.')
            return;
        const size_t length = std::strlen(name);
        if (hasExcludedExtension(name, length, rules))
            return;

        struct stat info;
        bool haveInfo = false;
        if (type == DT_UNKNOWN) {
            if (::fstatat(fd, name, &info, AT_SYMLINK_NOFOLLOW) != 0)
                return;
            haveInfo = true;
            type = S_ISDIR(info.st_mode) ? DT_DIR : DT_REG;
        }
        if (type == DT_DIR) {
            child.assign(path);
            if (child.back() != '/')
                child.push_back('/');
            child.append(name, length);
            if (!isExcludedFolder(child, rules))
                work.push(child);
            return;
        }
        if (!haveInfo && ::fstatat(fd, name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            return;
        if (info.st_nlink > 1 && !S_ISDIR(info.st_mode) &&
            !rules.seenFiles->insert(quint64(info.st_dev), quint64(info.st_ino)))
            return;
        total += static_cast<quint64>(info.st_blocks) * 512u;
    });
    ::close(fd);
    return total;
}

Rules rulesFrom(const KSTTreeSize::Options &options)
{
    Rules rules;
    rules.skipHidden = options.skipHidden;
    for (const QString &folder : options.excludedFolders)
        rules.excludedFolders.push_back(KSTFileName::encoded(folder).toStdString());
    for (const QByteArray &extension : options.excludedExtensions)
        rules.excludedExtensions.push_back(extension.toLower().toStdString());
    rules.seenFiles =
        options.seenFiles ? options.seenFiles : std::make_shared<KSTTreeSize::SeenFiles>();
    rules.preserveAccessTimes = options.preserveAccessTimes;
    return rules;
}

} // namespace

quint64 KSTTreeSize::allocatedBytes(const QString &folder, const Options &options)
{
    const Rules rules = rulesFrom(options);
    const std::string root = KSTFileName::encoded(folder).toStdString();
    if (root.empty())
        return 0;
    // The way to the folder must not pass a link either; below it the walk opens every
    // folder with O_NOFOLLOW.
    const int rootFd = KSTNoFollowPath::openFolder(QDir::cleanPath(folder));
    if (rootFd < 0)
        return 0;
    ::close(rootFd);

    int threadCount = options.threads;
    if (threadCount <= 0)
        threadCount = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 4u));

    WorkList work;
    work.push(root);
    std::atomic<quint64> total{0};
    std::mutex cancelMutex; // the caller's predicate need not be thread-safe
    std::vector<std::thread> helpers;

    // Polls the caller's predicate now and then; a true answer stops every thread.
    auto checkCancelled = [&](unsigned folders) {
        if (!options.isCancelled || folders % CancelCheckEveryFolders != 0)
            return;
        std::lock_guard lock(cancelMutex);
        if (options.isCancelled())
            work.stop();
    };
    // Every thread walks the same way; after each folder, @p afterFolder may bring in help.
    auto walk = [&](const auto &afterFolder) {
        KSTFolderReader reader;
        std::string path;
        std::string child;
        quint64 local = 0;
        unsigned folders = 0;
        while (work.pop(path)) {
            local += readFolder(path, rules, work, reader, child);
            work.finishOne();
            checkCancelled(++folders);
            afterFolder(folders);
        }
        total += local;
    };

    // The calling thread walks too, and brings in helpers once the tree proves big enough.
    walk([&](unsigned folders) {
        if (helpers.empty() && threadCount > 1 && folders >= FoldersBeforeHelpers &&
            work.queued() >= QueuedFoldersForHelpers) {
            helpers.reserve(static_cast<size_t>(threadCount - 1));
            for (int index = 1; index < threadCount; ++index)
                helpers.emplace_back([&walk] { walk([](unsigned) {}); });
        }
    });
    for (std::thread &thread : helpers)
        thread.join();
    return total.load();
}

quint64 KSTTreeSize::allocatedBytesOfItem(const QString &path, const Options &options)
{
    const std::optional<struct stat> info = KSTNoFollowPath::status(QDir::cleanPath(path));
    if (!info)
        return 0;
    if (S_ISDIR(info->st_mode))
        return allocatedBytes(path, options);
    if (info->st_nlink > 1 && options.seenFiles &&
        !options.seenFiles->insert(quint64(info->st_dev), quint64(info->st_ino)))
        return 0;
    return static_cast<quint64>(info->st_blocks) * 512u;
}

bool KSTTreeSize::SeenFiles::insert(quint64 device, quint64 inode)
{
    std::lock_guard lock(m_mutex);
    return m_files.emplace(device, inode).second;
}
