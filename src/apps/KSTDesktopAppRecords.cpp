#include "KSTDesktopAppRecords.h"

#include "KSTAppManageLocations.h"
#include "KSTLayoutWords.h"
#include "KSTMachOHeader.h"
#include "KSTNoFollowPath.h"
#include "linux/KSTDesktopAppDetails.h"
#include "linux/KSTDesktopEntryCatalog.h"

namespace Locations = KSTAppManageLocations;
using AppKind = KSTDesktopApplication::Kind;

namespace KSTDesktopAppRecords {

QString categoryLabel(const QStringList &categories)
{
    for (const auto &[category, label] : Locations::desktopCategoryLabels) {
        if (categories.contains(category))
            return label;
    }
    return QStringLiteral("Other");
}

QString architectureLabel(std::optional<quint16> machine, const QString &flatpakArchitecture)
{
    if (!flatpakArchitecture.isEmpty()) {
        for (const auto &[architecture, label] : Locations::flatpakArchitectureLabels) {
            if (architecture == flatpakArchitecture)
                return label;
        }
    } else if (machine) {
        for (const auto &[elfMachine, label] : Locations::elfMachineLabels) {
            if (elfMachine == *machine)
                return label;
        }
    }
    return KSTMachOHeader::architectureLabelForCpuTypes({});
}

QList<KSTInstalledAppRecord> records(const KSTEnvironment &environment)
{
    const QList<KSTDesktopApplication> applications =
        KSTDesktopEntryCatalog(environment).applications();
    if (applications.isEmpty())
        return {};
    const KSTDesktopAppDetailsReader reader(environment);
    const QString systemMaker = KSTLayoutWords::systemMaker(environment);
    QList<KSTInstalledAppRecord> records;
    records.reserve(applications.size());
    for (const KSTDesktopApplication &application : applications) {
        const KSTDesktopAppDetailsReader::Details details = reader.details(application);
        KSTInstalledAppRecord record;
        record.name = application.name;
        record.bundleIdentifier = application.identifier;
        if (application.kind != AppKind::AppImage &&
            record.bundleIdentifier.endsWith(QLatin1String(".desktop")))
            record.bundleIdentifier.chop(8);
        record.bundlePath = application.path;
        record.version = details.version.isEmpty() ? QStringLiteral("—") : details.version;
        record.category = categoryLabel(application.categories);
        record.architectureLabel = architectureLabel(details.machine, details.flatpakArchitecture);
        switch (application.kind) {
        case AppKind::Package:
            record.source = 2;
            break;
        case AppKind::Flatpak:
        case AppKind::Snap:
            record.source = 0;
            break;
        case AppKind::AppImage:
        case AppKind::Local:
            record.source = 1;
            break;
        }
        record.developer = details.developer;
        if (record.developer.isEmpty())
            record.developer = application.kind == AppKind::Package ? systemMaker : record.name;
        record.installedDate = details.installedDate;
        record.lastOpenedDate = details.lastOpenedDate;
        if (const std::optional<struct stat> status = KSTNoFollowPath::status(application.path))
            record.bundleIdentity = KSTFileIdentity::fromStatus(*status);
        record.bundleSizeBytes = application.payloadBytes;
        record.totalSizeBytes = application.payloadBytes;
        records << record;
    }
    return records;
}

} // namespace KSTDesktopAppRecords
