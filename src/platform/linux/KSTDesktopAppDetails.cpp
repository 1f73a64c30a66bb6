#include "KSTDesktopAppDetails.h"

#include "KSTDesktopPlaces.h"

#include "KSTAppStreamMetadata.h"
#include "KSTDpkgDatabase.h"
#include "KSTElfHeader.h"
#include "KSTGnomeApplicationState.h"
#include "KSTLinuxPlaces.h"
#include "KSTQuietFiles.h"
#include "KSTRootedPath.h"
#include "KSTSnapYaml.h"

using AppKind = KSTDesktopApplication::Kind;

namespace {

using KSTDesktopPlaces::executableFolders;
using KSTDesktopPlaces::isPlainName;
using KSTDesktopPlaces::snapMounts;

// Where a Debian-like desktop keeps what the Exec lines name, as the machine spells it.
const QString applicationState = QStringLiteral("/gnome-shell/application_state");
const QString snapYaml = QStringLiteral("/current/meta/snap.yaml");
// Where a Flatpak's deployment keeps its AppStream file, newest convention first.
constexpr const char *metainfoFolders[] = {"/files/share/metainfo/", "/files/share/appdata/"};
constexpr const char *metainfoSuffixes[] = {".metainfo.xml", ".appdata.xml"};

QByteArray readCapped(const QString &path, qint64 maximumBytes)
{
    QByteArray contents;
    if (path.isEmpty() ||
        KSTQuietFiles::readFile(path, maximumBytes, &contents) != KSTReadOnlyFile::Status::Read)
        return {};
    return contents;
}

std::optional<QDateTime> installedDateOf(const QString &path)
{
    const std::optional<KSTQuietFiles::Times> times = KSTQuietFiles::timesOf(path);
    if (!times)
        return std::nullopt;
    std::optional<QDateTime> date = times->birth;
    if (times->modification && (!date || *times->modification > *date))
        date = times->modification;
    return date;
}

} // namespace

KSTDesktopAppDetailsReader::KSTDesktopAppDetailsReader(const KSTEnvironment &environment)
    : m_environment(environment),
      m_packageVersions(KSTDpkgDatabase::readInstalledVersions(environment.root()))
{
    const QString state = KSTRootedPath::resolve(
        environment.root(), environment.places()->dataHome() + applicationState);
    const QByteArray xml = readCapped(state, KSTGnomeApplicationState::maximumInputBytes);
    for (const KSTGnomeApplicationState::LastSeen &seen : KSTGnomeApplicationState::lastSeen(xml))
        m_lastSeen.insert(seen.id, seen.lastSeen);
}

QString KSTDesktopAppDetailsReader::programOfExec(const QString &exec)
{
    QStringList words;
    QString word;
    bool quoted = false;
    bool inWord = false;
    for (qsizetype index = 0; index < exec.size(); ++index) {
        const QChar character = exec.at(index);
        if (quoted) {
            if (character == QLatin1Char('\\') && index + 1 < exec.size())
                word += exec.at(++index);
            else if (character == QLatin1Char('"'))
                quoted = false;
            else
                word += character;
        } else if (character == QLatin1Char('"')) {
            quoted = true;
            inWord = true;
        } else if (character.isSpace()) {
            if (inWord)
                words << word;
            word.clear();
            inWord = false;
            // Only the first words can name the program.
            if (words.size() > 64)
                break;
        } else {
            word += character;
            inWord = true;
        }
    }
    if (inWord)
        words << word;
    qsizetype first = 0;
    if (!words.isEmpty() &&
        (words.first() == QLatin1String("env") || words.first() == QLatin1String("/usr/bin/env"))) {
        first = 1;
        while (first < words.size() && words.at(first).contains(QLatin1Char('=')))
            ++first;
    }
    return first < words.size() ? words.at(first) : QString();
}

QString KSTDesktopAppDetailsReader::resolveProgram(const KSTEnvironment &environment,
                                                   const QString &program)
{
    const QString root = environment.root();
    if (program.startsWith(QLatin1Char('/')))
        return KSTRootedPath::resolve(root, environment.machinePath(program));
    if (!isPlainName(program))
        return {};
    for (const char *folder : executableFolders) {
        const QString resolved = KSTRootedPath::resolve(
            root, environment.systemPath(QLatin1String(folder) + QLatin1Char('/') + program));
        if (!resolved.isEmpty())
            return resolved;
    }
    return {};
}

KSTDesktopAppDetailsReader::Details
KSTDesktopAppDetailsReader::details(const KSTDesktopApplication &application) const
{
    Details details;
    details.installedDate = installedDateOf(application.path);
    details.program = application.kind == AppKind::AppImage
                          ? application.path
                          : resolveProgram(m_environment, programOfExec(application.exec));
    if (!details.program.isEmpty()) {
        // Header bytes only, and only from a regular file reached without a link.
        QByteArray header;
        KSTQuietFiles::readFile(details.program, KSTElfHeader::HeaderBytes, &header, true);
        details.machine = KSTElfHeader::machine(header);
    }

    switch (application.kind) {
    case AppKind::Package:
        details.version = m_packageVersions.value(application.package);
        break;
    case AppKind::Flatpak:
        readFlatpak(application, details);
        break;
    case AppKind::Snap:
        readSnap(application, details);
        break;
    case AppKind::AppImage:
    case AppKind::Local:
        break;
    }

    QString id = application.identifier;
    if (id.endsWith(QLatin1String(".desktop")))
        id.chop(8);
    const auto seen = m_lastSeen.constFind(id);
    if (seen != m_lastSeen.cend()) {
        details.lastOpenedDate = QDateTime::fromSecsSinceEpoch(seen.value());
    } else if (!details.program.isEmpty() && application.kind != AppKind::Flatpak &&
               application.kind != AppKind::Snap) {
        // A Flatpak's or snap's Exec starts their launcher, whose access time is any app's.
        if (const std::optional<KSTQuietFiles::Times> times =
                KSTQuietFiles::timesOf(details.program))
            details.lastOpenedDate = times->access;
    }
    return details;
}

void KSTDesktopAppDetailsReader::readFlatpak(const KSTDesktopApplication &application,
                                             Details &details) const
{
    if (application.deployment.isEmpty() || !isPlainName(application.flatpakId))
        return;
    // …/app/<id>/<arch>/<branch>/<commit>: the resolved deployment names its architecture.
    const QStringList parts = application.deployment.split(QLatin1Char('/'));
    if (parts.size() >= 3)
        details.flatpakArchitecture = parts.at(parts.size() - 3);
    for (const char *folder : metainfoFolders) {
        for (const char *suffix : metainfoSuffixes) {
            const QByteArray xml = readCapped(application.deployment + QLatin1String(folder) +
                                                  application.flatpakId + QLatin1String(suffix),
                                              KSTAppStreamMetadata::maximumFileBytes);
            if (xml.isEmpty())
                continue;
            const KSTAppStreamMetadata metadata = KSTAppStreamMetadata::parse(xml);
            details.version = metadata.releaseVersion;
            details.developer = metadata.developerName;
            return;
        }
    }
}

void KSTDesktopAppDetailsReader::readSnap(const KSTDesktopApplication &application,
                                          Details &details) const
{
    if (!isPlainName(application.snapName))
        return;
    const QString path = KSTRootedPath::resolve(
        m_environment.root(),
        m_environment.systemPath(snapMounts + QLatin1Char('/') + application.snapName + snapYaml));
    details.version = KSTSnapYaml::version(readCapped(path, KSTSnapYaml::maximumFileBytes));
}
