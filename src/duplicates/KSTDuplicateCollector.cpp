#include "KSTDuplicateCollector.h"

#include "KSTDuplicateLocations.h"
#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTFolderReader.h"
#include "KSTFolderWorkList.h"
#include "KSTFormatting.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <set>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using Checker = KSTPermissionChecker;

namespace {

using Identity = std::pair<quint64, quint64>; // device, inode

// A walk reads this many folders on the calling thread before it brings in helpers, and only
// when at least QueuedFoldersForHelpers wait: a small tree is read faster than threads start.
constexpr unsigned FoldersBeforeHelpers = 4;
constexpr std::size_t QueuedFoldersForHelpers = 2;

std::string encoded(const QString &path)
{
    return KSTFileName::encoded(path).toStdString();
}

// The extension of a name, or nothing: what follows the last dot, when the dot is neither
// the first nor the last character.
std::string_view extensionOf(const char *name, std::size_t length)
{
    const char *dot = static_cast<const char *>(memrchr(name, '.', length));
    if (!dot || dot == name || dot == name + length - 1)
        return {};
    return std::string_view(dot + 1, static_cast<std::size_t>(name + length - dot - 1));
}

bool equalsIgnoringCase(std::string_view extension, const std::string &lowerCase)
{
    return extension.size() == lowerCase.size() &&
           strncasecmp(extension.data(), lowerCase.data(), extension.size()) == 0;
}

std::optional<Identity> identityOf(const QString &path)
{
    // Following a link on purpose: if the Music folder is a link, its target is what must
    // not be read.
    struct stat info;
    if (path.isEmpty() || ::stat(KSTFileName::encoded(path).constData(), &info) != 0)
        return std::nullopt;
    return Identity{static_cast<quint64>(info.st_dev), static_cast<quint64>(info.st_ino)};
}

// @p path with every link resolved, or empty when it cannot be.
QString canonicalPath(const QString &path)
{
    char *real = ::realpath(KSTFileName::encoded(path).constData(), nullptr);
    if (!real)
        return {};
    const QString result = KSTFileName::decoded(real);
    std::free(real);
    return result;
}

QString realHome()
{
    const QString home = QDir::cleanPath(Checker::realUserHomeDirectoryPath());
    return home.isEmpty() ? QDir::cleanPath(QDir::homePath()) : home;
}

// The places a walk leaves out besides hidden names and packages, by path and by identity.
struct WalkRules
{
    std::vector<std::string> excludedFolders;
    std::vector<std::string> excludedExtensions; // lower case
    std::set<Identity> privateIdentities;        // never read, not even as a scan folder
    std::set<Identity> hiddenIdentities;         // walked only when chosen as a scan folder

    static WalkRules current()
    {
        WalkRules rules;
        const KSTTreeSize::Options privacy = Checker::accessibleTreeSizeOptions();
        for (const QString &folder : privacy.excludedFolders)
            rules.excludedFolders.push_back(encoded(folder));
        for (const QByteArray &extension : privacy.excludedExtensions)
            rules.excludedExtensions.push_back(extension.toLower().toStdString());

        const QString home = realHome();
        if (const std::optional<Identity> music =
                identityOf(home + QLatin1Char('/') + KSTDuplicateLocations::musicFolder))
            rules.privateIdentities.insert(*music);
        if (KSTEnvironment::current().layout() == KSTLayout::Mac) {
            const QString library =
                home + QLatin1Char('/') + KSTDuplicateLocations::hiddenLibraryFolder;
            rules.excludedFolders.push_back(encoded(library));
            if (const std::optional<Identity> identity = identityOf(library))
                rules.hiddenIdentities.insert(*identity);
        }
        return rules;
    }

    bool hasExcludedExtension(const char *name, std::size_t length) const
    {
        const std::string_view extension = extensionOf(name, length);
        if (extension.empty())
            return false;
        return std::any_of(
            excludedExtensions.begin(), excludedExtensions.end(),
            [&](const std::string &excluded) { return equalsIgnoringCase(extension, excluded); });
    }

    bool isExcludedFolderPath(const std::string &path) const
    {
        return std::find(excludedFolders.begin(), excludedFolders.end(), path) !=
               excludedFolders.end();
    }
};

const std::vector<std::string> &lowerCasePackageExtensions()
{
    static const std::vector<std::string> extensions = [] {
        std::vector<std::string> list;
        for (const QString &extension : KSTDuplicateLocations::packageExtensions)
            list.push_back(extension.toLower().toStdString());
        return list;
    }();
    return extensions;
}

// One collection over all scan folders: the rules, the folders already walked, the count.
class Walk
{
public:
    Walk(const std::function<bool()> &isCancelled,
         const KSTDuplicateCollector::ProgressReport &report)
        : m_isCancelled(isCancelled), m_report(report), m_rules(WalkRules::current())
    {
    }

    bool cancelled() const { return m_isCancelled && m_isCancelled(); }

    // Walks the scan folder @p path (clean, absolute), held open at @p fd.
    void walkRoot(const QString &path, int fd)
    {
        const quint32 root = m_collection.addRoot(encoded(path), fd);
        const unsigned threadCount = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
        KSTFolderWorkList work;
        work.push(std::string());
        std::vector<KSTDuplicateFileCollection> parts(threadCount);
        std::vector<std::thread> helpers;

        auto walk = [&](KSTDuplicateFileCollection &part, const auto &afterFolder) {
            KSTFolderReader reader;
            std::string relative;
            unsigned folders = 0;
            while (work.pop(relative)) {
                const bool finished = readFolder(root, relative, part, reader, work);
                work.finishOne();
                if (!finished) {
                    work.stop();
                    return;
                }
                afterFolder(++folders);
            }
        };
        walk(parts[0], [&](unsigned folders) {
            if (helpers.empty() && threadCount > 1 && folders >= FoldersBeforeHelpers &&
                work.queued() >= QueuedFoldersForHelpers) {
                for (unsigned index = 1; index < threadCount; ++index)
                    helpers.emplace_back(
                        [&walk, &part = parts[index]] { walk(part, [](unsigned) {}); });
            }
        });
        for (std::thread &helper : helpers)
            helper.join();
        for (KSTDuplicateFileCollection &part : parts)
            m_collection.append(std::move(part));
    }

    KSTDuplicateFileCollection takeCollection() { return std::move(m_collection); }
    quint64 count() const { return m_count.load(std::memory_order_relaxed); }

private:
    // Collects the files of the folder @p relative to scan folder @p root into @p part and
    // queues its sub-folders; false when cancelled.
    bool readFolder(quint32 root, const std::string &relative, KSTDuplicateFileCollection &part,
                    KSTFolderReader &reader, KSTFolderWorkList &work)
    {
        const int rootFd = m_collection.rootDescriptor(root);
        const int fd =
            relative.empty()
                ? ::openat(rootFd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)
                : KSTNoFollowPath::openBeneath(rootFd, QByteArray::fromStdString(relative),
                                               O_RDONLY | O_DIRECTORY);
        if (fd < 0)
            return true;
        if (!mayRead(fd, relative.empty())) {
            ::close(fd);
            return true;
        }

        std::optional<quint32> folderIndex;
        bool stopped = false;
        std::string child;
        reader.forEachEntry(fd, [&](const char *name, unsigned char type) {
            if (stopped || KSTFolderReader::isDotOrDotDot(name) || name[0] == '.')
                return;
            if (cancelled()) {
                stopped = true;
                return;
            }
            const std::size_t length = std::strlen(name);
            if (m_rules.hasExcludedExtension(name, length))
                return;
            std::optional<KSTFileIdentity> entry;
            if (type == DT_UNKNOWN) {
                entry = KSTFileIdentity::ofEntry(fd, name);
                if (!entry)
                    return;
                type = entry->isFolder() ? DT_DIR : entry->isFile() ? DT_REG : DT_LNK;
            }
            if (type == DT_DIR) {
                if (KSTDuplicateCollector::isPackageName(name, length))
                    return;
                child = relative;
                if (!child.empty())
                    child.push_back('/');
                child.append(name, length);
                if (!m_rules.isExcludedFolderPath(absolutePath(root, child)))
                    work.push(child);
                return;
            }
            if (type != DT_REG)
                return;
            if (!entry)
                entry = KSTFileIdentity::ofEntry(fd, name);
            // The entry may have changed since it was listed.
            if (!entry || !entry->isFile() || entry->size <= 0)
                return;
            if (!folderIndex)
                folderIndex = part.addFolder(root, relative);
            part.addFile(*folderIndex, name, length, *entry);
            countFile();
        });
        ::close(fd);
        return !stopped;
    }

    // Whether the folder open at @p fd may be read: not a private place, not the hidden
    // Library below a scan folder, and not walked before.
    bool mayRead(int fd, bool isRoot)
    {
        const std::optional<KSTFileIdentity> status = KSTFileIdentity::ofDescriptor(fd);
        if (!status)
            return false;
        const Identity identity{status->device, status->inode};
        if (m_rules.privateIdentities.count(identity) ||
            (!isRoot && m_rules.hiddenIdentities.count(identity)))
            return false;
        std::lock_guard lock(m_walkedMutex);
        return m_walked.insert(identity).second;
    }

    std::string absolutePath(quint32 root, const std::string &relative) const
    {
        std::string path = m_collection.rootPath(root);
        if (path.empty() || path.back() != '/')
            path.push_back('/');
        return path.append(relative);
    }

    // Counts one file and reports every hundredth, one report at a time and in order. Only
    // the reports take the lock: the walkers count every file, and a lock per file kept them
    // waiting for each other.
    void countFile()
    {
        const quint64 count = m_count.fetch_add(1, std::memory_order_relaxed) + 1;
        if (count % 100 != 0 || !m_report)
            return;
        std::lock_guard lock(m_reportMutex);
        // Another walker may have reported a later hundred meanwhile.
        if (count <= m_reported)
            return;
        m_reported = count;
        m_report(QStringLiteral("Scanning folders… %1 files found")
                     .arg(KSTFormatting::formatCount(count)),
                 count);
    }

    const std::function<bool()> &m_isCancelled;
    const KSTDuplicateCollector::ProgressReport &m_report;
    const WalkRules m_rules;
    KSTDuplicateFileCollection m_collection;
    std::mutex m_walkedMutex;
    std::set<Identity> m_walked;
    std::atomic<quint64> m_count{0};
    std::mutex m_reportMutex;
    quint64 m_reported = 0;
};

// True when the folder a scan path really names (links on the way resolved) is, or lies
// inside, a privacy-protected place: a path through a link must not reach the Music folder.
bool resolvesIntoPrivateFolder(const QString &path)
{
    const QString resolved = canonicalPath(path);
    if (resolved.isEmpty())
        return false;
    const QString music =
        canonicalPath(realHome() + QLatin1Char('/') + KSTDuplicateLocations::musicFolder);
    return Checker::shouldSkipPrivacyProtectedPath(resolved) ||
           (!music.isEmpty() &&
            (resolved == music || resolved.startsWith(music + QLatin1Char('/'))));
}

} // namespace

KSTDuplicateFileCollection
KSTDuplicateCollector::collectFileRecordsInPaths(const QStringList &paths,
                                                 const std::function<bool()> &isCancelled,
                                                 const ProgressReport &report)
{
    if (report)
        report(QStringLiteral("Scanning folders for files…"), 0);
    Walk walk(isCancelled, report);
    for (const QString &path : paths) {
        if (walk.cancelled())
            break;
        const QString url = Checker::directoryURLForScanRoot(path);
        bool isDirectory = false;
        if (url.isEmpty() || !Checker::URLExists(url, &isDirectory) || !isDirectory ||
            resolvesIntoPrivateFolder(url))
            continue;
        const QString clean = QDir::cleanPath(QFileInfo(url).absoluteFilePath());
        const int fd = KSTNoFollowPath::openFolder(clean);
        if (fd >= 0)
            walk.walkRoot(clean, fd);
    }
    if (walk.count() > 0 && report)
        report(QStringLiteral("Found %1 files — comparing duplicates…")
                   .arg(KSTFormatting::formatCount(walk.count())),
               walk.count());
    return walk.takeCollection();
}

bool KSTDuplicateCollector::isPackageName(const char *name, std::size_t length)
{
    const std::string_view extension = extensionOf(name, length);
    if (extension.empty())
        return false;
    return std::any_of(
        lowerCasePackageExtensions().begin(), lowerCasePackageExtensions().end(),
        [&](const std::string &package) { return equalsIgnoringCase(extension, package); });
}
