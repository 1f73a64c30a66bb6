// The default-app index of a Linux desktop: desktop entries, mimeapps.list and globs2.
#include "KSTDefaultAppIndex.h"

#include "KSTApplicationIconFile.h"
#include "KSTEnvironment.h"
#include "KSTIniKeyEdit.h"
#include "KSTLaunchServicesHandlers.h"
#include "KSTLinuxPlaces.h"
#include "KSTReadOnlyFile.h"
#include "KSTUtilitiesLocations.h"
#include "KSTUtilitiesManager.h"
#include "linux/KSTDesktopEntry.h"
#include "linux/KSTDesktopEntryCatalog.h"
#include "linux/KSTMimeGlobs.h"
#include "linux/KSTRootedPath.h"

#include <QDir>
#include <QSet>

namespace {

// A file of the machine, links followed inside its root only; empty when it is not a regular
// file within @p maximumBytes (a FIFO is never opened for reading).
QByteArray readInsideRoot(const QString &root, const QString &path, qint64 maximumBytes)
{
    const QString resolved = KSTRootedPath::resolve(root, QDir::cleanPath(path));
    QByteArray contents;
    if (resolved.isEmpty() || KSTReadOnlyFile::readWholeFile(resolved, maximumBytes, &contents) !=
                                  KSTReadOnlyFile::Status::Read)
        return {};
    return contents;
}

QString withoutDesktopSuffix(const QString &id)
{
    return id.endsWith(QLatin1String(".desktop")) ? id.chopped(8) : id;
}

} // namespace

KSTDefaultAppIndex KSTDefaultAppIndex::loadLinuxDesktop(const KSTEnvironment &environment)
{
    using namespace KSTUtilitiesLocations;
    const QString root = QDir::cleanPath(environment.root());
    const std::shared_ptr<const KSTLinuxPlaces> places = environment.places();
    const KSTDesktopEntryCatalog catalog(environment);

    QList<App> apps;
    QSet<QString> installed;
    for (const KSTDesktopApplication &application : catalog.applications()) {
        if (!application.identifier.endsWith(QLatin1String(".desktop")))
            continue; // an AppImage opens no type through the menu
        const KSTDesktopEntry entry = KSTDesktopEntry::parse(
            readInsideRoot(root, application.path, KSTDesktopEntry::maximumFileBytes),
            catalog.locale());
        App app;
        app.path = application.path;
        app.types.bundleIdentifier = withoutDesktopSuffix(application.identifier);
        app.types.bundleName = application.name;
        for (const QString &type : entry.mimeTypes) {
            if (!type.startsWith(SchemeHandlerPrefix, Qt::CaseInsensitive))
                app.types.documentTypes.append({type, {}});
        }
        app.icon = KSTApplicationIconFile::forApplication(application.path, {});
        installed.insert(app.types.bundleIdentifier.toLower());
        apps.append(app);
    }

    QStringList lists{places->configHome() + QLatin1Char('/') + MimeAppsList};
    for (const QString &dir : places->configDirs())
        lists << dir + QLatin1Char('/') + MimeAppsList;
    lists << places->dataHome() + QLatin1Char('/') + DataMimeAppsList;
    for (const QString &dir : places->dataDirs())
        lists << dir + QLatin1Char('/') + DataMimeAppsList;
    QList<QByteArray> contents;
    for (const QString &list : std::as_const(lists))
        contents << readInsideRoot(root, list, KSTIniKeyEdit::maximumBytes);

    // The types worth a choice: those an application opens, and the common ones.
    QStringList types;
    for (const App &app : std::as_const(apps)) {
        for (const KSTApplicationTypes::DocumentType &type : app.types.documentTypes)
            types << type.contentType;
    }
    for (const QVariantMap &definition : KSTUtilitiesManager::commonDefaultAppDefinitions())
        types << definition.value(QStringLiteral("uti")).toString();
    types.removeDuplicates();

    QVariantMap preferences;
    for (const QString &type : std::as_const(types)) {
        const QByteArray key = type.toUtf8();
        QString chosen;
        for (const QByteArray &list : std::as_const(contents)) {
            const QByteArray value = KSTIniKeyEdit::valueOf(list, DefaultApplicationsGroup, key);
            for (const QByteArray &item : value.split(';')) {
                const QString id = withoutDesktopSuffix(QString::fromUtf8(item.trimmed()));
                if (!id.isEmpty() && installed.contains(id.toLower())) {
                    chosen = id;
                    break;
                }
            }
            if (!chosen.isEmpty())
                break;
        }
        if (!chosen.isEmpty())
            preferences =
                KSTLaunchServicesHandlers::withHandlerForContentType(preferences, type, chosen);
    }

    QMap<QString, QStringList> extensions;
    for (const QString &dir : places->dataDirs()) {
        const QMap<QString, QStringList> found = KSTMimeGlobs::extensionsByType(readInsideRoot(
            root, dir + QLatin1Char('/') + MimeGlobs, KSTMimeGlobs::maximumFileBytes));
        for (auto it = found.cbegin(); it != found.cend(); ++it) {
            if (!extensions.contains(it.key()))
                extensions.insert(it.key(), it.value());
        }
    }
    return KSTDefaultAppIndex(std::move(apps), std::move(preferences), std::move(extensions));
}
