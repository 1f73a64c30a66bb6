#include "KSTDuplicateCollector.h"

#include "KSTDuplicateLocations.h"
#include "KSTEnvironment.h"
#include "KSTFileStatus.h"
#include "KSTFolderReader.h"
#include "KSTFormatting.h"
#include "KSTPermissionChecker.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstring>
#include <fcntl.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

using Checker = KSTPermissionChecker;

namespace {

using Identity = std::pair<quint64, quint64>; // device, inode

std::string encoded(const QString &path)
{
    return QFile::encodeName(path).toStdString();
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
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return Identity{static_cast<quint64>(info.st_dev), static_cast<quint64>(info.st_ino)};
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

        QString home = QDir::cleanPath(Checker::realUserHomeDirectoryPath());
        if (home.isEmpty())
            home = QDir::cleanPath(QDir::homePath());
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
        for (const std::string &excluded : excludedExtensions) {
            if (equalsIgnoringCase(extension, excluded))
                return true;
        }
        return false;
    }

    bool isExcludedFolderPath(const std::string &path) const
    {
        for (const std::string &excluded : excludedFolders) {
            if (path == excluded)
                return true;
        }
        return false;
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

QString filesFoundText(quint64 count)
{
    return QStringLiteral("Scanning folders… %1 files found")
        .arg(KSTFormatting::formatCount(count));
}

// One walk over all scan folders: the collection, the folders already walked, the count.
class Walk
{
public:
    Walk(const std::function<bool()> &isCancelled,
         const KSTDuplicateCollector::ProgressReport &report)
        : m_isCancelled(isCancelled), m_report(report), m_rules(WalkRules::current())
    {
    }

    bool cancelled() const { return m_isCancelled && m_isCancelled(); }

    // Walks one scan folder, depth first; stops when cancelled.
    void walkRoot(const std::string &root)
    {
        std::vector<std::string> pending = {root};
        std::vector<std::string> subfolders;
        while (!pending.empty()) {
            if (cancelled())
                return;
            const std::string folder = std::move(pending.back());
            pending.pop_back();
            subfolders.clear();
            if (!readFolder(folder, folder == root, subfolders))
                return;
            // Reversed, so that sub-folders are walked in listing order.
            for (auto name = subfolders.rbegin(); name != subfolders.rend(); ++name)
                pending.push_back(std::move(*name));
        }
    }

    KSTDuplicateFileCollection takeCollection() { return std::move(m_collection); }
    quint64 count() const { return m_count; }

private:
    // Collects the files of @p folder and lists its sub-folders' paths; false when cancelled.
    bool readFolder(const std::string &folder, bool isRoot, std::vector<std::string> &subfolders)
    {
        const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0)
            return true;
        const std::optional<KSTFileStatus> status = KSTFileStatus::ofDescriptor(fd);
        const Identity identity = status ? Identity{status->device, status->inode} : Identity{};
        if (!status || m_rules.privateIdentities.count(identity) ||
            (!isRoot && m_rules.hiddenIdentities.count(identity)) ||
            !m_walked.insert(identity).second) {
            ::close(fd);
            return true;
        }

        std::optional<quint32> folderIndex;
        bool stopped = false;
        m_reader.forEachEntry(fd, [&](const char *name, unsigned char type) {
            if (stopped || KSTFolderReader::isDotOrDotDot(name) || name[0] == '.')
                return;
            if (cancelled()) {
                stopped = true;
                return;
            }
            const std::size_t length = std::strlen(name);
            if (m_rules.hasExcludedExtension(name, length))
                return;
            std::optional<KSTFileStatus> entry;
            if (type == DT_UNKNOWN) {
                entry = KSTFileStatus::ofEntry(fd, name);
                if (!entry)
                    return;
                type = entry->isDirectory() ? DT_DIR : entry->isRegularFile() ? DT_REG : DT_LNK;
            }
            if (type == DT_DIR) {
                if (KSTDuplicateCollector::isPackageName(name, length))
                    return;
                std::string child = folder;
                if (child.back() != '/')
                    child.push_back('/');
                child.append(name, length);
                if (!m_rules.isExcludedFolderPath(child))
                    subfolders.push_back(std::move(child));
                return;
            }
            if (type != DT_REG)
                return;
            if (!entry)
                entry = KSTFileStatus::ofEntry(fd, name);
            // The entry may have changed since it was listed.
            if (!entry || !entry->isRegularFile() || entry->size == 0)
                return;
            if (!folderIndex)
                folderIndex = m_collection.addFolder(folder);
            m_collection.addFile(*folderIndex, name, length, *entry);
            if (++m_count % 100 == 0 && m_report)
                m_report(filesFoundText(m_count), m_count);
        });
        ::close(fd);
        return !stopped;
    }

    const std::function<bool()> &m_isCancelled;
    const KSTDuplicateCollector::ProgressReport &m_report;
    const WalkRules m_rules;
    KSTFolderReader m_reader;
    KSTDuplicateFileCollection m_collection;
    std::set<Identity> m_walked;
    quint64 m_count = 0;
};

// True when the folder a scan path really names (links on the way resolved) is, or lies
// inside, a privacy-protected place: a path through a link must not reach the Music folder.
bool resolvesIntoPrivateFolder(const QString &path)
{
    const QString resolved = QFileInfo(path).canonicalFilePath();
    if (resolved.isEmpty())
        return false;
    QString home = QDir::cleanPath(Checker::realUserHomeDirectoryPath());
    if (home.isEmpty())
        home = QDir::cleanPath(QDir::homePath());
    const QString music =
        QFileInfo(home + QLatin1Char('/') + KSTDuplicateLocations::musicFolder).canonicalFilePath();
    return Checker::shouldSkipPrivacyProtectedPath(resolved) ||
           (!music.isEmpty() &&
            (resolved == music || resolved.startsWith(music + QLatin1Char('/'))));
}

bool isInsideRealHome(const QString &clean)
{
    const QString home = QDir::cleanPath(Checker::realUserHomeDirectoryPath());
    return !home.isEmpty() && (clean == home || clean.startsWith(home + QLatin1Char('/')));
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
        const QString url = directoryURLForScanRoot(path);
        bool isDirectory = false;
        if (url.isEmpty() || !Checker::URLExists(url, &isDirectory) || !isDirectory ||
            resolvesIntoPrivateFolder(url))
            continue;
        walk.walkRoot(encoded(QDir::cleanPath(QFileInfo(url).absoluteFilePath())));
    }
    if (walk.count() > 0 && report)
        report(QStringLiteral("Found %1 files — comparing duplicates…")
                   .arg(KSTFormatting::formatCount(walk.count())),
               walk.count());
    return walk.takeCollection();
}

QString KSTDuplicateCollector::directoryURLForScanRoot(const QString &path)
{
    if (path.isEmpty() || Checker::shouldSkipPrivacyProtectedPath(path))
        return {};
    if (!Checker::isRunningSandboxed())
        return path;
    const QString clean = QDir::cleanPath(path);
    if (!Checker::hasHomeFolderAccess())
        return isInsideRealHome(clean) ? QString() : path;
    const QString granted = QDir::cleanPath(Checker::grantedHomeFolderURL());
    if (clean == granted)
        return Checker::grantedHomeFolderURL();
    if (clean.startsWith(granted + QLatin1Char('/')))
        return Checker::directoryURLInGrantedHomeWithRelativePath(clean.mid(granted.size() + 1));
    return isInsideRealHome(clean) ? QString() : path;
}

bool KSTDuplicateCollector::isPackageName(const char *name, std::size_t length)
{
    const std::string_view extension = extensionOf(name, length);
    if (extension.empty())
        return false;
    for (const std::string &package : lowerCasePackageExtensions()) {
        if (equalsIgnoringCase(extension, package))
            return true;
    }
    return false;
}
