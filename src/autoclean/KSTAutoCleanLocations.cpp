#include "KSTAutoCleanLocations.h"

#include "KSTLinuxPlaces.h"

namespace KSTAutoCleanLocations {

namespace {

QString placeJoined(const QString &folder, const QString &relative)
{
    return folder.isEmpty() ? QString() : folder + QLatin1Char('/') + relative;
}

Table macTable()
{
    Table table;
    table.downloads = QStringLiteral("~/Downloads");
    table.trash = QStringLiteral("~/.Trash");
    table.screenshotSources = {QStringLiteral("~/Desktop"), QStringLiteral("~/Downloads"),
                               QStringLiteral("~/Pictures")};
    table.screenshotArchive = QStringLiteral("~/Pictures/Screenshots Archive");
    table.browserCaches = {
        QStringLiteral("~/Library/Caches/com.apple.Safari"),
        QStringLiteral("~/Library/Caches/Google/Chrome"),
        QStringLiteral("~/Library/Caches/Firefox"),
        QStringLiteral("~/Library/Caches/org.mozilla.firefox"),
    };
    table.applicationLogs = QStringLiteral("~/Library/Logs");
    table.iosBackups = QStringLiteral("~/Library/Application Support/MobileSync/Backup");
    table.screenshotsDescription = QStringLiteral("Move to ~/Pictures/Screenshots Archive");
    table.browserCachesDescription = QStringLiteral("Safari \u00B7 Chrome \u00B7 Firefox");
    return table;
}

Table linuxTable(const KSTEnvironment &environment)
{
    using Folder = KSTLinuxPlaces::UserFolder;
    const std::shared_ptr<const KSTLinuxPlaces> places = environment.places();
    const QString home = environment.home();
    Table table;
    table.downloads = places->userFolder(Folder::Downloads);
    const QString trash = places->dataHome() + QStringLiteral("/Trash");
    table.trash = trash + QStringLiteral("/files");
    table.trashRecords = trash + QStringLiteral("/info");
    for (const Folder folder : {Folder::Desktop, Folder::Downloads, Folder::Pictures}) {
        if (!places->userFolder(folder).isEmpty())
            table.screenshotSources << places->userFolder(folder);
    }
    const QString pictures = places->userFolder(Folder::Pictures);
    table.screenshotArchive = placeJoined(pictures, QStringLiteral("Screenshots Archive"));

    // The browsers' caches in the XDG cache home and in their Flatpak and snap homes. Their
    // profiles live elsewhere (~/.mozilla, ~/.config/…) and are never named here.
    const QString flatpak = home + QStringLiteral("/.var/app/");
    const QString snap = home + QStringLiteral("/snap/");
    const QString firefox = QStringLiteral("mozilla/firefox");
    const QString chrome = QStringLiteral("google-chrome");
    const QString chromium = QStringLiteral("chromium");
    table.browserCaches = {
        placeJoined(places->cacheHome(), firefox),
        placeJoined(places->cacheHome(), chrome),
        placeJoined(places->cacheHome(), chromium),
        flatpak + QStringLiteral("org.mozilla.firefox/cache/") + firefox,
        flatpak + QStringLiteral("com.google.Chrome/cache/") + chrome,
        flatpak + QStringLiteral("org.chromium.Chromium/cache/") + chromium,
        snap + QStringLiteral("firefox/common/.cache/") + firefox,
        snap + QStringLiteral("chromium/common/.cache/") + chromium,
    };
    table.applicationLogs = placeJoined(places->dataHome(), QStringLiteral("xorg"));
    table.screenshotsDescription =
        table.screenshotArchive.isEmpty()
            ? QStringLiteral("Pictures folder switched off")
            : QStringLiteral("Move to ") +
                  (table.screenshotArchive.startsWith(home + QLatin1Char('/'))
                       ? QLatin1Char('~') + table.screenshotArchive.mid(home.size())
                       : table.screenshotArchive);
    table.browserCachesDescription = QStringLiteral("Firefox \u00B7 Chrome \u00B7 Chromium");
    return table;
}

} // namespace

Table table()
{
    return tableFor(KSTEnvironment::current());
}

Table tableFor(const KSTEnvironment &environment)
{
    return environment.layout() == KSTLayout::Mac ? macTable() : linuxTable(environment);
}

} // namespace KSTAutoCleanLocations
