#include "KSTDesktopEntryCatalog.h"

#include "KSTDesktopPlaces.h"

#include "KSTDesktopEntry.h"
#include "KSTDpkgDatabase.h"
#include "KSTFileName.h"
#include "KSTLinuxPlaces.h"
#include "KSTNoFollowPath.h"
#include "KSTReadOnlyFile.h"
#include "KSTRootedPath.h"
#include "KSTTreeSize.h"

#include <QHash>
#include <QSet>

#include <sys/stat.h>
#include <unistd.h>

using AppKind = KSTDesktopApplication::Kind;

namespace {

using KSTDesktopPlaces::executableFolders;
using KSTDesktopPlaces::isPlainName;
using KSTDesktopPlaces::snapMounts;

// Where a Debian-like desktop keeps what a menu lists, as the machine spells it.
const QString exportsSuffix = QStringLiteral("/exports/share/applications");
const QString userFlatpakExports = QStringLiteral("/flatpak/exports/share/applications");
const QString systemFlatpakExports = QStringLiteral("/var/lib/flatpak/exports/share/applications");
const QString snapEntries = QStringLiteral("/var/lib/snapd/desktop/applications");
const QString snapFiles = QStringLiteral("/var/lib/snapd/snaps");
const QString homeApplications = QStringLiteral("Applications");
const QString localeFile = QStringLiteral("/etc/default/locale");
constexpr qint64 maximumLocaleFileBytes = 4096;

enum class FolderKind { Data, Flatpak, Snap };

struct Folder
{
    QString path;
    FolderKind kind = FolderKind::Data;
};

struct FoundEntry
{
    QString identifier;
    QString path;
    QString relative; // below its folder, "a/b.desktop"
    int folder = 0;
};

QStringList sortedNames(const QString &folder, bool skipHidden)
{
    std::optional<QStringList> names = KSTNoFollowPath::listFolder(folder, skipHidden);
    if (!names)
        return {};
    names->sort();
    if (names->size() > KSTDesktopEntryCatalog::maximumEntries)
        names->resize(KSTDesktopEntryCatalog::maximumEntries);
    return *names;
}

std::optional<struct stat> linkStatus(const QString &path)
{
    struct stat status;
    if (::lstat(KSTFileName::encoded(path).constData(), &status) != 0)
        return std::nullopt;
    return status;
}

void collectEntries(const QString &folder, const QString &relativeFolder, int depth,
                    int folderIndex, QSet<QString> &seen, QList<FoundEntry> &found)
{
    const QString here =
        relativeFolder.isEmpty() ? folder : folder + QLatin1Char('/') + relativeFolder;
    for (const QString &name : sortedNames(here, false)) {
        if (found.size() >= KSTDesktopEntryCatalog::maximumEntryFiles)
            return;
        const QString relative =
            relativeFolder.isEmpty() ? name : relativeFolder + QLatin1Char('/') + name;
        const std::optional<struct stat> status = linkStatus(here + QLatin1Char('/') + name);
        if (!status)
            continue;
        if (S_ISDIR(status->st_mode)) {
            if (depth + 1 < KSTDesktopEntryCatalog::maximumDepth)
                collectEntries(folder, relative, depth + 1, folderIndex, seen, found);
            continue;
        }
        if (!name.endsWith(QLatin1String(".desktop")) ||
            !(S_ISREG(status->st_mode) || S_ISLNK(status->st_mode)))
            continue;
        QString identifier = relative;
        identifier.replace(QLatin1Char('/'), QLatin1Char('-'));
        if (seen.contains(identifier))
            continue; // an earlier folder's file of this ID wins
        seen.insert(identifier);
        found << FoundEntry{identifier, here + QLatin1Char('/') + name, relative, folderIndex};
    }
}

quint64 allocatedBytes(const QString &path)
{
    KSTTreeSize::Options options;
    options.skipHidden = false;
    // Sizing must not make an application look opened.
    options.preserveAccessTimes = true;
    return KSTTreeSize::allocatedBytesOfItem(path, options);
}

bool isExecutableFile(const QString &path)
{
    const std::optional<struct stat> status = linkStatus(path);
    return status && S_ISREG(status->st_mode) && (status->st_mode & 0111) != 0;
}

} // namespace

KSTDesktopEntryCatalog::KSTDesktopEntryCatalog(const KSTEnvironment &environment)
    : m_environment(environment)
{
}

QStringList KSTDesktopEntryCatalog::entryFolders() const
{
    const auto places = m_environment.places();
    QStringList folders{places->dataHome() + QLatin1String("/applications")};
    for (const QString &dataDir : places->dataDirs())
        folders << dataDir + QLatin1String("/applications");
    folders << places->dataHome() + userFlatpakExports
            << m_environment.systemPath(systemFlatpakExports)
            << m_environment.systemPath(snapEntries);
    folders.removeDuplicates();
    return folders;
}

QStringList KSTDesktopEntryCatalog::appImageFolders() const
{
    const auto places = m_environment.places();
    QStringList folders{m_environment.homePath(homeApplications)};
    for (const KSTLinuxPlaces::UserFolder role : KSTLinuxPlaces::userFolders) {
        const QString folder = places->userFolder(role);
        if (!folder.isEmpty())
            folders << folder;
    }
    folders.removeDuplicates();
    return folders;
}

QString KSTDesktopEntryCatalog::locale() const
{
    if (KSTLinuxPlaces::hostVariablesApply(m_environment)) {
        for (const char *variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
            const QString value = qEnvironmentVariable(variable);
            if (!value.isEmpty())
                return value;
        }
        return {};
    }
    const QString file =
        KSTRootedPath::resolve(m_environment.root(), m_environment.systemPath(localeFile));
    QByteArray contents;
    if (file.isEmpty() ||
        KSTReadOnlyFile::readWholeFileWithoutLinks(file, maximumLocaleFileBytes, &contents) !=
            KSTReadOnlyFile::Status::Read)
        return {};
    for (const QByteArray &line : contents.split('\n')) {
        if (line.startsWith("LANG="))
            return QString::fromUtf8(line.mid(5).trimmed()).remove(QLatin1Char('"'));
    }
    return {};
}

bool KSTDesktopEntryCatalog::isAppImageHeader(const QByteArray &header)
{
    return header.size() >= 11 &&
           header.startsWith("\x7f"
                             "ELF") &&
           header.at(8) == 'A' && header.at(9) == 'I' && (header.at(10) == 1 || header.at(10) == 2);
}

QList<KSTDesktopApplication> KSTDesktopEntryCatalog::applications() const
{
    const QString root = m_environment.root();
    const auto places = m_environment.places();

    QList<Folder> folders;
    for (const QString &path : entryFolders()) {
        FolderKind kind = FolderKind::Data;
        if (path == m_environment.systemPath(snapEntries))
            kind = FolderKind::Snap;
        else if (path.endsWith(exportsSuffix) && path.contains(QLatin1String("/flatpak/")))
            kind = FolderKind::Flatpak;
        // Listed through its resolved form: a folder reached by a link inside the root still
        // lists, one whose link leads out of the root lists nothing.
        folders << Folder{KSTRootedPath::resolve(root, path), kind};
    }

    QSet<QString> seen;
    QList<FoundEntry> found;
    for (int index = 0; index < folders.size(); ++index) {
        if (!folders.at(index).path.isEmpty())
            collectEntries(folders.at(index).path, QString(), 0, index, seen, found);
    }

    const QString locale = this->locale();
    QList<KSTDesktopApplication> applications;
    QHash<qsizetype, QStringList> packageCandidates; // application index → machine paths
    QSet<QString> wanted;
    for (const FoundEntry &entry : found) {
        const QString resolved = KSTRootedPath::resolve(root, entry.path);
        QByteArray contents;
        if (resolved.isEmpty() ||
            KSTReadOnlyFile::readWholeFileWithoutLinks(resolved, KSTDesktopEntry::maximumFileBytes,
                                                       &contents) != KSTReadOnlyFile::Status::Read)
            continue;
        const KSTDesktopEntry parsed = KSTDesktopEntry::parse(contents, locale);
        if (!parsed.isShownApplication() || !tryExecExists(parsed.tryExec))
            continue;

        KSTDesktopApplication application;
        application.identifier = entry.identifier;
        application.name = parsed.name.isEmpty() ? entry.identifier.chopped(8) : parsed.name;
        application.path = entry.path;
        application.payloadKey = entry.path;
        application.exec = parsed.exec;
        application.categories = parsed.categories;
        const Folder &folder = folders.at(entry.folder);
        if (folder.kind == FolderKind::Flatpak) {
            application.userInstallation =
                folder.path ==
                KSTRootedPath::resolve(root, places->dataHome() + userFlatpakExports);
            fillFlatpakPayload(application, folder.path.chopped(exportsSuffix.size()),
                               parsed.flatpakId);
        } else if (folder.kind == FolderKind::Snap) {
            fillSnapPayload(application, parsed.snapInstanceName);
        } else {
            // The package that installed this ID's system file, also for a user's copy of it.
            QStringList candidates{m_environment.pathRelativeToRoot(entry.path)};
            for (const QString &dataDir : places->dataDirs())
                candidates << m_environment.pathRelativeToRoot(
                    dataDir + QLatin1String("/applications/") + entry.relative);
            candidates.removeDuplicates();
            packageCandidates.insert(applications.size(), candidates);
            for (const QString &candidate : std::as_const(candidates))
                wanted.insert(candidate);
        }
        applications << application;
    }

    fillPackagePayloads(applications, packageCandidates, wanted);
    appendAppImages(applications);
    return applications;
}

bool KSTDesktopEntryCatalog::tryExecExists(const QString &tryExec) const
{
    if (tryExec.isEmpty())
        return true;
    const QString root = m_environment.root();
    if (tryExec.startsWith(QLatin1Char('/'))) {
        const QString resolved = KSTRootedPath::resolve(root, m_environment.machinePath(tryExec));
        return !resolved.isEmpty() && isExecutableFile(resolved);
    }
    if (!isPlainName(tryExec))
        return false;
    for (const char *folder : executableFolders) {
        const QString resolved = KSTRootedPath::resolve(
            root, m_environment.systemPath(QLatin1String(folder) + QLatin1Char('/') + tryExec));
        if (!resolved.isEmpty() && isExecutableFile(resolved))
            return true;
    }
    return false;
}

void KSTDesktopEntryCatalog::fillFlatpakPayload(KSTDesktopApplication &application,
                                                const QString &installation,
                                                const QString &flatpakId) const
{
    application.kind = AppKind::Flatpak;
    const QString id = flatpakId.isEmpty() ? application.identifier.chopped(8) : flatpakId;
    application.payloadKey = installation + QLatin1String("/app/") + id;
    if (!isPlainName(id))
        return;
    application.flatpakId = id;
    const QString active =
        KSTRootedPath::resolve(m_environment.root(), installation + QLatin1String("/app/") + id +
                                                         QLatin1String("/current/active"));
    if (active.isEmpty())
        return;
    application.payloadKey = active;
    application.deployment = active;
    application.payloadBytes = allocatedBytes(active);
}

void KSTDesktopEntryCatalog::fillSnapPayload(KSTDesktopApplication &application,
                                             const QString &snapName) const
{
    application.kind = AppKind::Snap;
    const QString name =
        snapName.isEmpty()
            ? application.identifier.left(application.identifier.indexOf(QLatin1Char('_')))
            : snapName;
    application.payloadKey = QLatin1String("snap:") + name;
    if (!isPlainName(name))
        return;
    application.snapName = name;
    const QString root = m_environment.root();
    const QString files = KSTRootedPath::resolve(root, m_environment.systemPath(snapFiles));
    if (files.isEmpty())
        return;
    const QString prefix = name + QLatin1Char('_');
    QString chosen;
    // The link's own text names the revision; it is read, never followed, in a folder reached
    // inside the root.
    char target[256];
    const QString mount = KSTRootedPath::resolve(
        root, m_environment.systemPath(snapMounts + QLatin1Char('/') + name));
    const QByteArray current = KSTFileName::encoded(mount + QLatin1String("/current"));
    const ssize_t length =
        mount.isEmpty() ? -1 : ::readlink(current.constData(), target, sizeof target);
    if (length > 0 && length < ssize_t(sizeof target)) {
        const QString revision = KSTFileName::decoded(target, length);
        if (isPlainName(revision) &&
            linkStatus(files + QLatin1Char('/') + prefix + revision + QLatin1String(".snap")))
            chosen = prefix + revision + QLatin1String(".snap");
    }
    if (chosen.isEmpty()) {
        qint64 highest = -1;
        for (const QString &file : sortedNames(files, true)) {
            if (!file.startsWith(prefix) || !file.endsWith(QLatin1String(".snap")))
                continue;
            bool ok = false;
            const qint64 revision = file.mid(prefix.size()).chopped(5).toLongLong(&ok);
            if (ok && revision > highest) {
                highest = revision;
                chosen = file;
            }
        }
    }
    if (chosen.isEmpty())
        return;
    application.payloadKey = files + QLatin1Char('/') + chosen;
    application.payloadBytes = allocatedBytes(application.payloadKey);
}

void KSTDesktopEntryCatalog::fillPackagePayloads(QList<KSTDesktopApplication> &applications,
                                                 const QHash<qsizetype, QStringList> &candidates,
                                                 const QSet<QString> &wanted) const
{
    if (candidates.isEmpty())
        return;
    const QString root = m_environment.root();
    const QHash<QString, QString> owners = KSTDpkgDatabase::readOwners(root, wanted);
    if (owners.isEmpty())
        return;
    const QHash<QString, qint64> sizes = KSTDpkgDatabase::readInstalledSizes(root);
    for (auto it = candidates.cbegin(); it != candidates.cend(); ++it) {
        for (const QString &path : it.value()) {
            const QString package = owners.value(path);
            if (package.isEmpty())
                continue;
            KSTDesktopApplication &application = applications[it.key()];
            application.kind = AppKind::Package;
            application.package = package;
            application.payloadKey = packagePayloadKey(package);
            application.payloadBytes = quint64(sizes.value(package, 0)) * 1024;
            break;
        }
    }
}

void KSTDesktopEntryCatalog::appendAppImages(QList<KSTDesktopApplication> &applications) const
{
    const QString root = m_environment.root();
    QSet<QString> seen;
    for (const QString &folder : appImageFolders()) {
        const QString resolved = KSTRootedPath::resolve(root, folder);
        if (resolved.isEmpty())
            continue;
        for (const QString &name : sortedNames(resolved, true)) {
            const QString path = resolved + QLatin1Char('/') + name;
            const std::optional<struct stat> status = linkStatus(path);
            if (!status || !S_ISREG(status->st_mode) || seen.contains(path))
                continue;
            QByteArray header;
            if (KSTReadOnlyFile::readPrefix(path, 16, &header) != KSTReadOnlyFile::Status::Read ||
                !isAppImageHeader(header))
                continue;
            seen.insert(path);
            KSTDesktopApplication application;
            application.identifier = name;
            const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
            application.name = dot > 0 && name.mid(dot + 1).compare(QLatin1String("AppImage"),
                                                                    Qt::CaseInsensitive) == 0
                                   ? name.left(dot)
                                   : name;
            application.path = path;
            application.kind = AppKind::AppImage;
            application.payloadKey = path;
            application.payloadBytes = allocatedBytes(path);
            applications << application;
        }
    }
}

QString KSTDesktopEntryCatalog::packagePayloadKey(const QString &package)
{
    return QLatin1String("dpkg:") + package;
}
