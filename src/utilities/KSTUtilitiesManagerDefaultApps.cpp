// Default apps: which application opens each file type, and changing it.
#include "KSTUtilitiesManager.h"
#include "KSTUtilitiesManagerPrivate.h"

#include "KSTDefaultAppIndex.h"
#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTIniKeyEdit.h"
#include "KSTLaunchServicesHandlers.h"
#include "KSTLayoutWords.h"
#include "KSTLinuxPlaces.h"
#include "KSTNoFollowPath.h"
#include "KSTPathText.h"
#include "KSTPropertyList.h"
#include "KSTReadOnlyFile.h"
#include "KSTRemovalGuard.h"
#include "KSTUserConfigFile.h"
#include "KSTUtilitiesLocations.h"

#include <QDir>

#include <algorithm>
#include <unistd.h>

namespace {

QString labelFor(const KSTDefaultAppIndex &index, const QString &uti)
{
    const QStringList extensions = index.extensionsForType(uti);
    return extensions.isEmpty() ? uti : QLatin1Char('.') + extensions.first();
}

std::optional<QString> nameFor(const KSTDefaultAppIndex &index, const QString &bundleIdentifier)
{
    if (bundleIdentifier.isEmpty())
        return std::nullopt;
    const KSTDefaultAppIndex::App *app = index.appWithIdentifier(bundleIdentifier);
    if (!app)
        return bundleIdentifier;
    if (!app->types.bundleName.isEmpty())
        return app->types.bundleName;
    return KSTPathText::deletingPathExtension(KSTPathText::lastPathComponent(app->path));
}

QString iconFor(const KSTDefaultAppIndex &index, const QString &bundleIdentifier)
{
    const KSTDefaultAppIndex::App *app = index.appWithIdentifier(bundleIdentifier);
    return app ? app->icon : QString();
}

std::optional<KSTDefaultAppRecord> recordFor(const KSTDefaultAppIndex &index, const QString &uti,
                                             const QString &label)
{
    KSTDefaultAppRecord record;
    const QString current = index.defaultHandlerForType(uti);
    record.extensionLabel = label.isEmpty() ? uti : label;
    record.contentTypeUTI = uti;
    record.currentBundleIdentifier = current;
    record.currentAppName = nameFor(index, current).value_or(QStringLiteral("None"));
    record.currentAppIcon = iconFor(index, current);
    for (const QString &identifier : index.handlersForType(uti))
        record.candidates.append({nameFor(index, identifier).value_or(identifier), identifier,
                                  iconFor(index, identifier)});
    if (record.candidates.isEmpty() && !current.isEmpty())
        record.candidates.append({record.currentAppName, current, record.currentAppIcon});
    if (record.candidates.isEmpty())
        return std::nullopt;
    return record;
}

void addDefinitions(const KSTDefaultAppIndex &index, const QList<QVariantMap> &definitions,
                    QMap<QString, KSTDefaultAppRecord> &map)
{
    for (const QVariantMap &definition : definitions) {
        const QString uti = definition.value(QStringLiteral("uti")).toString();
        if (uti.isEmpty() || map.contains(uti))
            continue;
        if (std::optional<KSTDefaultAppRecord> record =
                recordFor(index, uti, definition.value(QStringLiteral("label")).toString()))
            map.insert(uti, *record);
    }
}

// The index of the current environment's layout.
KSTDefaultAppIndex indexFor(const KSTApplicationBundleCatalog::PathCache &bundlePaths)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    return environment.layout() == KSTLayout::Linux
               ? KSTDefaultAppIndex::loadLinuxDesktop(environment)
               : KSTDefaultAppIndex::load(bundlePaths);
}

void addType(const KSTDefaultAppIndex &index, const QString &uti,
             QMap<QString, KSTDefaultAppRecord> &map, QSet<QString> &seen)
{
    if (map.contains(uti) || seen.contains(uti))
        return;
    seen.insert(uti);
    if (std::optional<KSTDefaultAppRecord> record = recordFor(index, uti, labelFor(index, uti)))
        map.insert(uti, *record);
}

// The types declared by the apps directly in the application folders, as Launch Services
// registered them; on a Linux desktop, the types the menu's applications list.
void addInstalledTypes(const KSTDefaultAppIndex &index, QMap<QString, KSTDefaultAppRecord> &map)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Linux) {
        QSet<QString> seen;
        for (const KSTDefaultAppIndex::App &app : index.apps()) {
            for (const QString &type : app.types.contentTypes())
                addType(index, type, map, seen);
        }
        return;
    }
    QStringList folders;
    for (const QString &folder : KSTUtilitiesLocations::ApplicationFolders)
        folders << environment.systemPath(folder);
    folders << environment.homePath(KSTUtilitiesLocations::HomeApplications);
    QSet<QString> seen;
    for (const QString &folder : std::as_const(folders)) {
        const std::optional<QStringList> names =
            KSTNoFollowPath::listFolder(QDir::cleanPath(folder), false);
        if (!names)
            continue;
        for (const QString &name : *names) {
            if (!name.endsWith(QLatin1String(".app")))
                continue;
            const QVariantMap info = KSTPropertyList::readDictionary(
                folder + QLatin1Char('/') + name + QLatin1Char('/') +
                KSTUtilitiesLocations::InfoPlist);
            for (const QString &uti : KSTApplicationTypes::fromInfoPlist(info).contentTypes())
                addType(index, uti, map, seen);
        }
    }
}

KSTError rejected(qint64 status, const QString &reason)
{
    KSTError error{KSTUtilitiesManager::StatusErrorDomain,
                   status,
                   QStringLiteral("%1 rejected the default app change.")
                       .arg(KSTLayoutWords::systemName(KSTEnvironment::current())),
                   {}};
    if (!reason.isEmpty())
        error.userInfo.insert(QStringLiteral("reason"), reason);
    return error;
}

} // namespace

QList<KSTDefaultAppRecord> KSTUtilitiesManager::scanDefaultAppBindings() const
{
    const KSTDefaultAppIndex index = indexFor(d->bundlePaths);
    QMap<QString, KSTDefaultAppRecord> map;
    addDefinitions(index, commonDefaultAppDefinitions(), map);
    addInstalledTypes(index, map);
    QList<KSTDefaultAppRecord> records = map.values();
    std::stable_sort(records.begin(), records.end(),
                     [](const KSTDefaultAppRecord &a, const KSTDefaultAppRecord &b) {
                         return KSTUtilitiesOrder::localizedCaseInsensitiveLess(a.extensionLabel,
                                                                                b.extensionLabel);
                     });
    return records;
}

QList<QVariantMap> KSTUtilitiesManager::commonDefaultAppDefinitions()
{
    static const QList<std::pair<const char *, const char *>> linuxTable = {
        {".pdf", "application/pdf"},
        {".jpg / .jpeg", "image/jpeg"},
        {".png", "image/png"},
        {".gif", "image/gif"},
        {".zip", "application/zip"},
        {".mp4", "video/mp4"},
        {".txt", "text/plain"},
        {".html / .htm", "text/html"},
        {".docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
        {".xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
        {".mp3", "audio/mpeg"},
        {".csv", "text/csv"},
    };
    static const QList<std::pair<const char *, const char *>> macTable = {
        {".pdf", "com.adobe.pdf"},
        {".jpg / .jpeg", "public.jpeg"},
        {".png", "public.png"},
        {".gif", "com.compuserve.gif"},
        {".zip", "public.zip-archive"},
        {".mp4 / .mov", "public.mpeg-4"},
        {".txt", "public.plain-text"},
        {".html / .htm", "public.html"},
        {".docx", "org.openxmlformats.wordprocessingml.document"},
        {".xlsx", "org.openxmlformats.spreadsheetml.sheet"},
        {".mp3", "public.mp3"},
        {".csv", "public.comma-separated-values-text"},
    };
    const auto &table =
        KSTEnvironment::current().layout() == KSTLayout::Linux ? linuxTable : macTable;
    QList<QVariantMap> definitions;
    for (const auto &[label, uti] : table)
        definitions.append({{QStringLiteral("uti"), QString::fromLatin1(uti)},
                            {QStringLiteral("label"), QString::fromLatin1(label)}});
    return definitions;
}

void KSTUtilitiesManager::addDefaultAppRecordsFromDefinitions(
    const QList<QVariantMap> &definitions, QMap<QString, KSTDefaultAppRecord> &map) const
{
    addDefinitions(indexFor(d->bundlePaths), definitions, map);
}

void KSTUtilitiesManager::addDefaultAppRecordsFromInstalledAppsIntoMap(
    QMap<QString, KSTDefaultAppRecord> &map) const
{
    addInstalledTypes(indexFor(d->bundlePaths), map);
}

QString KSTUtilitiesManager::extensionLabelForUTI(const QString &uti) const
{
    return labelFor(indexFor(d->bundlePaths), uti);
}

std::optional<KSTDefaultAppRecord>
KSTUtilitiesManager::defaultAppRecordForUTI(const QString &uti, const QString &label) const
{
    return recordFor(indexFor(d->bundlePaths), uti, label);
}

std::optional<QString>
KSTUtilitiesManager::appNameForBundleIdentifier(const QString &bundleIdentifier) const
{
    if (bundleIdentifier.isEmpty())
        return std::nullopt;
    return nameFor(indexFor(d->bundlePaths), bundleIdentifier);
}

QString KSTUtilitiesManager::iconForBundleIdentifier(const QString &bundleIdentifier) const
{
    if (bundleIdentifier.isEmpty())
        return {};
    return iconFor(indexFor(d->bundlePaths), bundleIdentifier);
}

bool KSTUtilitiesManager::setDefaultAppWithBundleIdentifier(const QString &bundleIdentifier,
                                                            const QString &uti,
                                                            KSTError *error) const
{
    const auto fail = [error](const KSTError &failure) {
        if (error)
            *error = failure;
        return false;
    };
    if (bundleIdentifier.isEmpty() || uti.isEmpty())
        return fail(makeError(DefaultAppArgumentsMissing));
    const KSTDefaultAppIndex index = indexFor(d->bundlePaths);
    const KSTDefaultAppIndex::App *app = index.appWithIdentifier(bundleIdentifier);
    if (!app)
        return fail(rejected(ApplicationNotFoundStatus,
                             QStringLiteral("no installed application has that identifier")));

    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Linux)
        return setLinuxDefaultApp(app->types.bundleIdentifier, uti, error);
    const QString path = environment.homePath(KSTUtilitiesLocations::LaunchServicesPlist);
    const KSTRemovalGuard guard(
        {{environment.homePath(KSTUtilitiesLocations::LaunchServicesFolder)},
         KSTRemovalGuard::storedNeverTouchPaths()});

    // The file is read without following a link and only when it is a regular file; one that
    // does not parse is the user's and is never written over.
    QVariantMap preferences;
    std::optional<KSTFileIdentity> read;
    KSTPropertyList::Format format = KSTPropertyList::Format::Binary;
    if (KSTNoFollowPath::status(path)) {
        KSTReadOnlyFile file;
        if (!file.open(path) || file.identity().size > KSTPropertyList::MaximumDataBytes)
            return fail(rejected(LaunchServicesUnknownStatus,
                                 QStringLiteral("the preferences cannot be read")));
        QByteArray data(qsizetype(file.identity().size), '\0');
        if (file.read(data.data(), data.size()) != data.size())
            return fail(rejected(LaunchServicesUnknownStatus,
                                 QStringLiteral("the preferences cannot be read")));
        const QVariant parsed = KSTPropertyList::fromData(data, nullptr, &format);
        if (parsed.typeId() != QMetaType::QVariantMap)
            return fail(rejected(LaunchServicesUnknownStatus,
                                 QStringLiteral("the preferences do not parse")));
        preferences = parsed.toMap();
        read = KSTRemovalGuard::identityOf(path);
        if (!read || read->inode != file.identity().inode || read->device != file.identity().device)
            return fail(rejected(LaunchServicesUnknownStatus,
                                 QStringLiteral("the preferences changed while read")));
    }

    const QVariantMap changed = KSTLaunchServicesHandlers::withHandlerForContentType(
        preferences, uti, app->types.bundleIdentifier);
    // Written back in the form it was read in; a new file as macOS writes it, binary.
    const QByteArray bytes = format == KSTPropertyList::Format::Binary
                                 ? KSTPropertyList::toBinary(changed)
                                 : KSTPropertyList::toXml(changed);
    KSTError guardError;
    std::optional<KSTGuardedNewFile> file =
        read ? guard.replaceFile(path, read, &guardError) : guard.createNewFile(path, &guardError);
    if (!file)
        return fail(guardError);
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t written =
            ::write(file->fd(), bytes.constData() + done, size_t(bytes.size() - done));
        if (written <= 0)
            return fail(rejected(LaunchServicesUnknownStatus,
                                 QStringLiteral("the preferences cannot be written")));
        done += written;
    }
    if (!file->commit(&guardError))
        return fail(guardError);
    return true;
}

bool KSTUtilitiesManager::setLinuxDefaultApp(const QString &identifier, const QString &mimeType,
                                             KSTError *error) const
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString configHome = environment.places()->configHome();
    const QString path =
        QDir::cleanPath(configHome + QLatin1Char('/') + KSTUtilitiesLocations::MimeAppsList);
    // The user's list is read as it stands (a link there is refused, never written through);
    // one too large to edit safely is left alone.
    KSTError readError;
    const std::optional<KSTUserConfigFile::Contents> before =
        KSTUserConfigFile::read(path, KSTIniKeyEdit::maximumBytes, &readError);
    if (!before) {
        if (error)
            *error = rejected(LaunchServicesUnknownStatus, readError.description);
        return false;
    }
    const QByteArray changed = KSTIniKeyEdit::withKey(
        before->bytes, KSTUtilitiesLocations::DefaultApplicationsGroup, mimeType.toUtf8(),
        (identifier + QLatin1String(".desktop")).toUtf8());
    KSTError writeError;
    if (changed.isEmpty() ||
        !KSTUserConfigFile::write(configHome, path, *before, changed, &writeError)) {
        if (error)
            *error = changed.isEmpty() ? rejected(LaunchServicesUnknownStatus,
                                                  QStringLiteral("the list cannot be read"))
                                       : writeError;
        return false;
    }
    return true;
}
