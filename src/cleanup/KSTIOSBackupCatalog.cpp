#include "KSTIOSBackupCatalog.h"

#include "KSTCleanUpEngine.h"
#include "KSTCleanUpLocations.h"
#include "KSTPermissionChecker.h"

#include <QFileInfo>
#include <QLocale>

namespace Locations = KSTCleanUpLocations;
using Checker = KSTPermissionChecker;

KSTIOSBackupCatalog::KSTIOSBackupCatalog(CancellationCheck isCancelled)
    : m_isCancelled(std::move(isCancelled))
{
}

QList<KSTCleanUpItem> KSTIOSBackupCatalog::iosBackupItemsWithGeneration(quint64 generation) const
{
    const QString folder = Locations::table().iosBackups;
    QList<KSTCleanUpItem> items;
    if (folder.isEmpty())
        return items;
    for (const QString &name : KSTCleanUpEngine::directoryEntriesAtPath(folder)) {
        if (m_isCancelled && m_isCancelled(generation))
            break;
        if (name.startsWith(QLatin1Char('.')))
            continue;
        const QString backup = folder + QLatin1Char('/') + name;
        const QString infoPath = backup + QLatin1Char('/') + Locations::iosBackupInfoPlist;
        const QString manifestPath = backup + QLatin1Char('/') + Locations::iosBackupManifestPlist;
        const std::optional<QVariantMap> info =
            Checker::dictionaryFromAccessiblePlistAtPath(infoPath);
        const std::optional<QVariantMap> manifest =
            Checker::dictionaryFromAccessiblePlistAtPath(manifestPath);
        QString reference;
        if (info)
            reference = infoPath;
        else if (manifest && manifest->contains(QStringLiteral("Lockdown")))
            reference = manifestPath;
        else
            continue;
        const quint64 size = Checker::fileSizeAtAccessiblePath(backup);
        if (size == 0)
            continue;
        items << KSTCleanUpItem{iosBackupDisplayNameWithInfoDict(info, manifest, reference),
                                name,
                                backup,
                                size,
                                true,
                                {KSTCleanUpEngine::targetAtPath(backup, size)}};
    }
    return items;
}

QString
KSTIOSBackupCatalog::iosBackupDisplayNameWithInfoDict(const std::optional<QVariantMap> &info,
                                                      const std::optional<QVariantMap> &manifest,
                                                      const QString &referencePlistPath)
{
    QString device;
    if (info)
        device = info->value(QStringLiteral("Device Name")).toString();
    else if (manifest)
        device = manifest->value(QStringLiteral("Lockdown"))
                     .toMap()
                     .value(QStringLiteral("DeviceName"))
                     .toString();
    if (device.isEmpty())
        return QStringLiteral("Unknown");
    const QString date = backupDateLabelForPlistAtPath(referencePlistPath);
    return date.isEmpty() ? device : device + QLatin1String(" (") + date + QLatin1Char(')');
}

QString KSTIOSBackupCatalog::backupDateLabelForPlistAtPath(const QString &path)
{
    const QString url = Checker::accessibleURLForPath(path, false);
    if (url.isEmpty())
        return {};
    const QDateTime modified = QFileInfo(url).lastModified();
    if (!modified.isValid())
        return {};
    // The fixed-format locale: digits and separators never follow the user's settings.
    return QLocale::c().toString(modified, QStringLiteral("yyyy-MM-dd HH:mm"));
}
