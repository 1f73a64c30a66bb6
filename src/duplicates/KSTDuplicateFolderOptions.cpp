#include "KSTDuplicateFolderOptions.h"

#include "KSTDuplicateEngine.h"
#include "KSTDuplicateLocations.h"
#include "KSTPermissionChecker.h"
#include "KSTPreferences.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

using Checker = KSTPermissionChecker;

QList<KSTDuplicateFolderOption> KSTDuplicateFolderOptions::defaultFolderOptions()
{
    const QString home = QDir::cleanPath(Checker::accessibleUserHomeDirectoryPath());
    const QStringList defaults = KSTDuplicateEngine::defaultDuplicateScanPaths();
    QList<KSTDuplicateFolderOption> options;
    for (const QString &path :
         KSTDuplicateEngine::existingUserFolders(KSTDuplicateLocations::offeredScanFolders)) {
        // The folder's own name: a Linux home may call its pictures "Bilder".
        QString name = QFileInfo(path).fileName();
        if (name.isEmpty())
            name = path;
        options.append({name, path, displayPathFor(path), defaults.contains(path), false});
    }
    if (options.isEmpty())
        options.append({QFileInfo(home).fileName(), home, displayPathFor(home), true, false});
    return options;
}

QList<KSTDuplicateFolderOption>
KSTDuplicateFolderOptions::withCustomFolder(QList<KSTDuplicateFolderOption> options,
                                            const QString &path)
{
    if (path.isEmpty())
        return options;
    const QString clean =
        QDir::cleanPath(QDir::isAbsolutePath(path) ? path : QDir::current().filePath(path));
    for (KSTDuplicateFolderOption &option : options) {
        if (option.path == clean) {
            option.selected = true;
            return options;
        }
    }
    QString name = QFileInfo(clean).fileName();
    if (name.isEmpty())
        name = clean;
    options.append({name, clean, displayPathFor(clean), true, true});
    return options;
}

QList<KSTDuplicateFolderOption>
KSTDuplicateFolderOptions::withSavedChoice(QList<KSTDuplicateFolderOption> options,
                                           const QStringList &customPaths,
                                           const QStringList &selectedPaths)
{
    for (const QString &path : customPaths) {
        bool isDirectory = false;
        if (QDir::isAbsolutePath(path) && Checker::accessibleItemExistsAtPath(path, &isDirectory) &&
            isDirectory)
            options = withCustomFolder(std::move(options), path);
    }
    if (selectedPaths.isEmpty())
        return options;
    for (KSTDuplicateFolderOption &option : options)
        option.selected = selectedPaths.contains(option.path);
    return options;
}

QStringList KSTDuplicateFolderOptions::selectedPaths(const QList<KSTDuplicateFolderOption> &options)
{
    QStringList paths;
    for (const KSTDuplicateFolderOption &option : options) {
        if (option.selected)
            paths << option.path;
    }
    return paths;
}

QString KSTDuplicateFolderOptions::displayPathFor(const QString &path)
{
    const QString home = QDir::cleanPath(Checker::accessibleUserHomeDirectoryPath());
    if (home.isEmpty() || home == QLatin1String("/"))
        return path;
    if (path == home)
        return QStringLiteral("~");
    if (path.startsWith(home + QLatin1Char('/')))
        return QLatin1Char('~') + path.mid(home.size());
    return path;
}

QList<KSTDuplicateFolderOption> KSTDuplicateFolderOptions::savedFolderOptions()
{
    const std::unique_ptr<QSettings> preferences = KSTPreferences::standard();
    return withSavedChoice(defaultFolderOptions(),
                           preferences->value(QLatin1String(CustomFoldersKey)).toStringList(),
                           preferences->value(QLatin1String(SelectedFoldersKey)).toStringList());
}

void KSTDuplicateFolderOptions::saveFolderOptions(const QList<KSTDuplicateFolderOption> &options)
{
    QStringList custom;
    for (const KSTDuplicateFolderOption &option : options) {
        if (option.isCustom)
            custom << option.path;
    }
    const std::unique_ptr<QSettings> preferences = KSTPreferences::standard();
    preferences->setValue(QLatin1String(CustomFoldersKey), custom);
    preferences->setValue(QLatin1String(SelectedFoldersKey), selectedPaths(options));
}

bool KSTDuplicateFolderOptions::scanOnOpen()
{
    return KSTPreferences::standard()->value(QLatin1String(ScanOnOpenKey)).toBool();
}

void KSTDuplicateFolderOptions::setScanOnOpen(bool on)
{
    KSTPreferences::standard()->setValue(QLatin1String(ScanOnOpenKey), on);
}
