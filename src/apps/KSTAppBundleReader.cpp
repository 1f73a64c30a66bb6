#include "KSTAppBundleReader.h"

#include "KSTAppBundleLabels.h"
#include "KSTAppManageLocations.h"
#include "KSTEnvironment.h"
#include "KSTInfoPlistStrings.h"
#include "KSTMachOHeader.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTPropertyList.h"
#include "KSTQuietFiles.h"

#include <QHash>
#include <QLocale>

namespace Locations = KSTAppManageLocations;

namespace {

QString stringFor(const QVariantMap &dictionary, const QString &key)
{
    const QVariant value = dictionary.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

std::optional<QVariantMap> dictionaryAt(const QString &path, qint64 maximumBytes)
{
    QByteArray bytes;
    if (KSTQuietFiles::readFile(path, maximumBytes, &bytes) != KSTReadOnlyFile::Status::Read)
        return std::nullopt;
    const QVariant tree = KSTPropertyList::fromData(bytes);
    if (tree.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    return tree.toMap();
}

QString lastComponent(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

// The strings of the first .lproj folder of @p languages (then the development region) whose
// InfoPlist.strings can be read.
QVariantMap localizedStrings(const QString &bundlePath, const QVariantMap &info,
                             const QStringList &languages)
{
    QStringList folders;
    for (const QString &language : languages)
        folders << KSTAppBundleReader::localizationFolderNames(language);
    folders << KSTAppBundleReader::localizationFolderNames(
        stringFor(info, QStringLiteral("CFBundleDevelopmentRegion")));
    folders.removeDuplicates();
    for (const QString &folder : std::as_const(folders)) {
        QByteArray bytes;
        const QString path = bundlePath + Locations::resourcesFolder + QLatin1Char('/') + folder +
                             QLatin1String(".lproj/") + Locations::infoPlistStrings;
        if (KSTQuietFiles::readFile(path, KSTInfoPlistStrings::MaximumBytes, &bytes) ==
            KSTReadOnlyFile::Status::Read)
            return KSTInfoPlistStrings::stringsFromData(bytes);
    }
    return {};
}

QString nameFrom(const QString &bundlePath, const QVariantMap &info, const QVariantMap &localized)
{
    for (const QString &key :
         {QStringLiteral("CFBundleDisplayName"), QStringLiteral("CFBundleName")}) {
        QString name = KSTInfoPlistStrings::stringValue(localized, key);
        if (name.isEmpty())
            name = stringFor(info, key);
        if (!name.isEmpty())
            return name;
    }
    const QString fileName = lastComponent(bundlePath);
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? fileName.left(dot) : fileName;
}

bool existsInBundle(const QString &path)
{
    return KSTNoFollowPath::status(path).has_value();
}

} // namespace

bool KSTAppBundleReader::isPlainFileName(const QString &name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && name != QLatin1String(".") &&
           name != QLatin1String("..") && !name.contains(QChar(0));
}

std::optional<QVariantMap> KSTAppBundleReader::infoDictionary(const QString &bundlePath)
{
    if (bundlePath.isEmpty())
        return std::nullopt;
    return dictionaryAt(bundlePath + Locations::infoPlist, KSTPropertyList::MaximumDataBytes);
}

std::optional<KSTInstalledAppRecord>
KSTAppBundleReader::lightweightInstalledAppRecordForBundlePath(const QString &bundlePath)
{
    return lightweightInstalledAppRecordForBundlePath(bundlePath, userLanguages());
}

std::optional<KSTInstalledAppRecord>
KSTAppBundleReader::lightweightInstalledAppRecordForBundlePath(const QString &bundlePath,
                                                               const QStringList &languages)
{
    const std::optional<QVariantMap> info = infoDictionary(bundlePath);
    if (!info)
        return std::nullopt;
    const QString identifier = stringFor(*info, QStringLiteral("CFBundleIdentifier"));
    if (identifier.isEmpty())
        return std::nullopt;

    KSTInstalledAppRecord record;
    record.bundlePath = bundlePath;
    record.bundleIdentifier = identifier;
    record.name = nameFrom(bundlePath, *info, localizedStrings(bundlePath, *info, languages));
    record.version = stringFor(*info, QStringLiteral("CFBundleShortVersionString"));
    if (record.version.isEmpty())
        record.version = QStringLiteral("—");
    record.buildVersion = stringFor(*info, QStringLiteral("CFBundleVersion"));

    record.category = KSTAppBundleLabels::categoryLabelForPlistValue(
        stringFor(*info, QStringLiteral("LSApplicationCategoryType")));
    record.architectureLabel = architectureLabelForAppBundlePath(bundlePath, *info);
    record.source = sourceForAppBundlePath(bundlePath);
    record.developer = KSTAppBundleLabels::developerFromCopyright(
        stringFor(*info, QStringLiteral("NSHumanReadableCopyright")),
        record.source == 2 ? QStringLiteral("Apple Inc.") : record.name);

    if (const std::optional<KSTQuietFiles::Times> times = KSTQuietFiles::timesOf(bundlePath)) {
        record.installedDate = times->birth;
        if (times->modification &&
            (!record.installedDate || *times->modification > *record.installedDate))
            record.installedDate = times->modification;
        record.lastOpenedDate = times->access;
    }
    record.icon = iconForAppBundlePath(bundlePath, *info);
    if (const std::optional<struct stat> status = KSTNoFollowPath::status(bundlePath))
        record.bundleIdentity = KSTFileIdentity::fromStatus(*status);
    return record;
}

QString KSTAppBundleReader::displayNameForAppBundlePath(const QString &bundlePath,
                                                        const QString &fallback)
{
    return displayNameForAppBundlePath(bundlePath, fallback, userLanguages());
}

QString KSTAppBundleReader::displayNameForAppBundlePath(const QString &bundlePath,
                                                        const QString &fallback,
                                                        const QStringList &languages)
{
    if (bundlePath.isEmpty()) {
        const QString last = lastComponent(fallback);
        return last.isEmpty() ? fallback : last;
    }
    const QVariantMap info = infoDictionary(bundlePath).value_or(QVariantMap());
    return nameFrom(bundlePath, info, localizedStrings(bundlePath, info, languages));
}

quint64 KSTAppBundleReader::sourceForAppBundlePath(const QString &bundlePath)
{
    const QString macPath = KSTEnvironment::current().pathRelativeToRoot(bundlePath);
    if (macPath.startsWith(Locations::systemFolderPrefix))
        return 2;
    if (existsInBundle(bundlePath + Locations::appStoreReceipt) ||
        existsInBundle(bundlePath + Locations::appStoreRereceipt))
        return 0;
    return 1;
}

QString KSTAppBundleReader::architectureLabelForAppBundlePath(const QString &bundlePath)
{
    return architectureLabelForAppBundlePath(bundlePath,
                                             infoDictionary(bundlePath).value_or(QVariantMap()));
}

QString KSTAppBundleReader::architectureLabelForAppBundlePath(const QString &bundlePath,
                                                              const QVariantMap &info)
{
    const QString executable = stringFor(info, QStringLiteral("CFBundleExecutable"));
    if (bundlePath.isEmpty() || !isPlainFileName(executable))
        return KSTMachOHeader::architectureLabelForCpuTypes({});
    QByteArray header;
    // Header bytes only, and only from a regular file: a FIFO or device reads as nothing.
    KSTQuietFiles::readFile(bundlePath + Locations::executableFolder + QLatin1Char('/') +
                                executable,
                            KSTMachOHeader::HeaderBytes, &header, true);
    return KSTMachOHeader::architectureLabelForHeader(header);
}

std::optional<QDateTime>
KSTAppBundleReader::lastOpenedDateForAppBundlePath(const QString &bundlePath)
{
    if (bundlePath.isEmpty())
        return std::nullopt;
    const std::optional<KSTQuietFiles::Times> times = KSTQuietFiles::timesOf(bundlePath);
    return times ? times->access : std::nullopt;
}

QString KSTAppBundleReader::iconForAppBundlePath(const QString &bundlePath, const QVariantMap &info)
{
    QString file = stringFor(info, QStringLiteral("CFBundleIconFile"));
    if (bundlePath.isEmpty() || !isPlainFileName(file))
        return {};
    if (!file.contains(QLatin1Char('.')))
        file += QLatin1String(".icns");
    const QString path = bundlePath + Locations::resourcesFolder + QLatin1Char('/') + file;
    const std::optional<struct stat> status = KSTNoFollowPath::status(path);
    return status && S_ISREG(status->st_mode) ? path : QString();
}

void KSTAppBundleReader::enrichAppRecordDisplayMetadata(KSTInstalledAppRecord &record)
{
    if (record.bundlePath.isEmpty())
        return;
    std::optional<QVariantMap> info;
    if (record.icon.isEmpty()) {
        info = infoDictionary(record.bundlePath);
        record.icon = iconForAppBundlePath(record.bundlePath, info.value_or(QVariantMap()));
    }
    if (!record.lastOpenedDate)
        record.lastOpenedDate = lastOpenedDateForAppBundlePath(record.bundlePath);
    if (record.architectureLabel.isEmpty()) {
        if (!info)
            info = infoDictionary(record.bundlePath);
        record.architectureLabel =
            architectureLabelForAppBundlePath(record.bundlePath, info.value_or(QVariantMap()));
    }
}

QStringList KSTAppBundleReader::userLanguages()
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Mac) {
        const std::optional<QVariantMap> preferences = dictionaryAt(
            KSTPermissionChecker::accessibleUserHomeDirectoryPath() + Locations::globalPreferences,
            KSTPropertyList::MaximumDataBytes);
        QStringList languages;
        if (preferences) {
            for (const QVariant &language :
                 preferences->value(QStringLiteral("AppleLanguages")).toList()) {
                if (language.typeId() == QMetaType::QString && !language.toString().isEmpty())
                    languages << language.toString();
            }
        }
        if (!languages.isEmpty())
            return languages;
    }
    return QLocale::system().uiLanguages();
}

QStringList KSTAppBundleReader::localizationFolderNames(const QString &language)
{
    // The names older bundles use for their development language.
    static const QHash<QString, QString> legacyNames = {
        {QStringLiteral("en"), QStringLiteral("English")},
        {QStringLiteral("de"), QStringLiteral("German")},
        {QStringLiteral("fr"), QStringLiteral("French")},
        {QStringLiteral("ja"), QStringLiteral("Japanese")},
        {QStringLiteral("es"), QStringLiteral("Spanish")},
        {QStringLiteral("it"), QStringLiteral("Italian")},
        {QStringLiteral("nl"), QStringLiteral("Dutch")}};
    QStringList names;
    if (!isPlainFileName(language) || language.startsWith(QLatin1Char('.')))
        return names;
    QString tag = language;
    tag.replace(QLatin1Char('_'), QLatin1Char('-'));
    while (!tag.isEmpty()) {
        names << tag;
        QString underscored = tag;
        underscored.replace(QLatin1Char('-'), QLatin1Char('_'));
        if (underscored != tag)
            names << underscored;
        const qsizetype dash = tag.lastIndexOf(QLatin1Char('-'));
        if (dash <= 0)
            break;
        tag = tag.left(dash);
    }
    const QString legacy = legacyNames.value(tag.toLower());
    if (!legacy.isEmpty())
        names << legacy;
    names.removeDuplicates();
    return names;
}
