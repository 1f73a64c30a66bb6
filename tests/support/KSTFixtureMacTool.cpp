// kst_fixture_mac: builds a small but lived-in Mac under a temporary folder and prints its
// root, for screenshots and for trying the program by hand (`kestrel --root ROOT …`).
//
//   kst_fixture_mac [--no-full-disk-access] [--autoclean-history] [--reporter-week]
//                   [--utilities] [--duplicates] [--scan-duplicates-on-open] [--app-leftovers]
//                   [--report-tools]
//
// The machine: the recorded MacBook Pro (Apple M3) system_profiler, macOS Sonoma 14.5, one
// user "alice" with applications of different sizes, documents, movies and pictures, old
// downloads and logs, a Trash with a few items, and what Clean Up looks for (caches and
// support folders of other applications, an interrupted download, installers, screenshots,
// an iPhone backup and large sparse files). Kestrel has Full Disk Access on it unless
// --no-full-disk-access is given. --autoclean-history lets the real Auto Clean engine run
// three rules once on the machine (Downloads older than 30 days, the Trash, logs older than
// 7 days) with a never-touch list, then switches automation off again, so that the month's
// totals and the last run are real; it writes the Auto Clean preferences of the current
// settings folder ($XDG_CONFIG_HOME), which the caller points at a scratch place.
// --reporter-week gives the user a week of Reporter history (the six days before today, below
// this host's own disk use and network counters, which the Reporter records today), an
// installer log with two removals and a knowledge database of the week's application use.
// --utilities adds what the Utilities read: launch agents and daemons, applications that
// declare document types with the user's chosen handlers, where-from and quarantine
// attributes on Trash items, and the host's du.
// --duplicates adds copies of pictures, photos, a video, a voice memo, an archive and a
// document across Pictures, Downloads, Desktop, Documents and Movies, with different dates.
// --scan-duplicates-on-open ticks those five folders on the Duplicates screen and lets it scan
// them when it opens (again in the current settings folder).
// --app-leftovers gives the applications what App Manage shows of apps in use (categories,
// copyright lines, universal binaries, App Store receipts, last-opened dates) and leaves files
// of Xcode outside its bundle: strong matches, a crash report that only names it (a weak match)
// and a shared folder no uninstall may touch.
// --report-tools makes the Mac the recorded MacBook Pro (Apple M1 Pro, macOS 13.1) whose tools
// the System Report's tests answer with (tests/support/KSTRecordedReportTools), so its report
// has a value in every row the tools feed.
// The folder is left on disk; remove it when done.
#include "KSTApplicationInfo.h"
#include "KSTAutoCleanManager.h"
#include "KSTDuplicateFolderOptions.h"
#include "KSTFixtureMac.h"
#include "KSTHostInfo.h"
#include "KSTPermissionChecker.h"
#include "KSTPropertyList.h"
#include "KSTRecordedReportTools.h"
#include "KSTReporterTestSupport.h"
#include "KSTTestSupport.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QTextStream>
#include <QtEndian>

#include <sys/xattr.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr qint64 MB = 1024 * 1024;

void addApplications(KSTFixtureMac &mac)
{
    const struct
    {
        const char *name;
        const char *identifier;
        const char *location;
        qint64 megabytes;
    } apps[] = {
        {"Xcode", "com.apple.dt.Xcode", "Applications", 96},
        {"Final Cut Pro", "com.apple.FinalCut", "Applications", 64},
        {"Logic Pro", "com.apple.logic10", "Applications", 52},
        {"Microsoft Word", "com.microsoft.Word", "Applications", 38},
        {"Visual Studio Code", "com.microsoft.VSCode", "Applications", 27},
        {"Slack", "com.tinyspeck.slackmacgap", "Applications", 21},
        {"Pixelmator Pro", "com.pixelmatorteam.pixelmator.x", "Applications", 17},
        {"Safari", "com.apple.Safari", "System/Applications", 9},
        {"Notes", "com.apple.Notes", "System/Applications", 4},
        {"Calendar", "com.apple.iCal", "System/Applications", 3},
    };
    for (const auto &app : apps) {
        KSTFixtureMac::App bundle;
        bundle.name = QLatin1String(app.name);
        bundle.bundleIdentifier = QLatin1String(app.identifier);
        bundle.location = QLatin1String(app.location);
        bundle.resourceBytes = app.megabytes * MB;
        mac.addApp(bundle);
    }
}

void addHomeContents(KSTFixtureMac &mac)
{
    const QDateTime now = QDateTime::currentDateTime();
    mac.writeSizedHomeFile(QStringLiteral("Documents/Quarterly Report.pdf"), 6 * MB);
    mac.writeSizedHomeFile(QStringLiteral("Documents/Thesis Draft.pages"), 11 * MB);
    mac.writeSizedHomeFile(QStringLiteral("Documents/Taxes/2024 Return.pdf"), 3 * MB);
    mac.writeSizedHomeFile(QStringLiteral("Movies/Holiday 2024.mov"), 58 * MB);
    mac.writeSizedHomeFile(QStringLiteral("Movies/Screen Recording.mov"), 14 * MB);
    mac.writeSizedHomeFile(QStringLiteral("Pictures/Exports/Coast.heic"), 9 * MB);
    mac.writeSizedHomeFile(QStringLiteral("Pictures/Exports/Harbour.heic"), 8 * MB);
    mac.makeHomeDirectory(QStringLiteral("Desktop"));
    mac.makeHomeDirectory(QStringLiteral("Music"));

    // Old and recent downloads, logs and a Trash, for Auto Clean to find.
    mac.writeSizedHomeFile(QStringLiteral("Downloads/Installer-2023.dmg"), 24 * MB,
                           now.addDays(-95));
    mac.writeSizedHomeFile(QStringLiteral("Downloads/Conference Slides.key"), 7 * MB,
                           now.addDays(-41));
    mac.writeSizedHomeFile(QStringLiteral("Downloads/Keep/Warranty.pdf"), 1 * MB,
                           now.addDays(-200));
    mac.writeSizedHomeFile(QStringLiteral("Downloads/Invoice March.pdf"), 1 * MB, now.addDays(-3));
    mac.writeSizedHomeFile(QStringLiteral("Library/Logs/DiagnosticReports/old.crash"), 2 * MB,
                           now.addDays(-20));
    mac.writeSizedHomeFile(QStringLiteral("Library/Logs/sync.log"), 3 * MB, now.addDays(-12));
    mac.writeSizedHomeFile(QStringLiteral("Library/Logs/today.log"), 1 * MB, now);
    mac.writeSizedHomeFile(QStringLiteral(".Trash/Old Project.zip"), 12 * MB, now.addDays(-5));
    mac.writeSizedHomeFile(QStringLiteral(".Trash/Untitled.txt"), 4096, now.addDays(-2));
}

// A sparse file of @p bytes: the large-file search goes by length, so it costs no disk.
bool writeSparseHomeFile(KSTFixtureMac &mac, const QString &homeRelative, qint64 bytes,
                         const QDateTime &modified)
{
    const QString path = mac.writeHomeFile(homeRelative, "\0");
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) || !file.resize(bytes))
        return false;
    file.close();
    return KSTFixtureMac::setModified(path, modified);
}

// What Clean Up finds on a Mac in use: other applications' caches and support folders (and
// Apple's, which it leaves out), saved window state, a Trash with Finder's .DS_Store, an
// interrupted download beside an empty one, installers, screenshots, an iPhone backup with
// a real Info.plist, and large files (sparse) outside Library, found through find.
bool addCleanUpHome(KSTFixtureMac &mac)
{
    const QDateTime now = QDateTime::currentDateTime();
    const struct
    {
        const char *path;
        qint64 kilobytes;
    } files[] = {
        {"Library/Caches/com.spotify.client/Data/0a/4f1c2e.file", 46 * 1024},
        {"Library/Caches/Google/Chrome/Default/Cache/Cache_Data/data_1", 31 * 1024},
        {"Library/Caches/com.tinyspeck.slackmacgap/Cache.db", 18 * 1024},
        {"Library/Caches/org.mozilla.firefox/Profiles/cache2/entries/8C1A", 12 * 1024},
        {"Library/Caches/com.microsoft.VSCode.ShipIt/update.zip", 9 * 1024},
        {"Library/Caches/com.pixelmatorteam.pixelmator.x/thumbnails.db", 3 * 1024},
        {"Library/Caches/com.apple.Safari/Cache.db", 7 * 1024},
        {"Library/Caches/CloudKit/records.db", 2 * 1024},
        {"Library/Application Support/Slack/IndexedDB/data.ldb", 27 * 1024},
        {"Library/Application Support/Code/CachedData/index.bin", 15 * 1024},
        {"Library/Application Support/zoom.us/data/zoomus.enc.db", 8 * 1024},
        {"Library/Application Support/AddressBook/AddressBook-v22.abcddb", 2 * 1024},
        {"Library/Application Support/MobileSync/Backup/00008110-001A2D3C4E5F6789/Manifest.db",
         38 * 1024},
        {"Library/Saved Application State/com.microsoft.Word.savedState/data.data", 1536},
        {"Library/Saved Application State/com.apple.Safari.savedState/windows.plist", 512},
        {"Pictures/Screenshots/Screenshot 2024-06-03 at 09.41.12.png", 2400},
        {"Pictures/Screenshots/Screenshot 2024-06-11 at 16.02.55.png", 1900},
        {"Pictures/Screenshots/Screenshot 2024-06-12 at 11.18.40.png", 3100},
        {"Downloads/zoomusInstallerFull.pkg", 14 * 1024},
        {"Downloads/Firefox 127.0.dmg", 19 * 1024},
        {"Downloads/Xcode_15.4.xip.download/Xcode_15.4.xip", 21 * 1024},
    };
    for (const auto &file : files)
        mac.writeSizedHomeFile(QLatin1String(file.path), file.kilobytes * 1024, now.addDays(-3));
    // Safari gave up on this one before a byte arrived: listed, but nothing to tick.
    mac.makeHomeDirectory(QStringLiteral("Downloads/photos-export.zip.download"));

    QFile backupInfo(KSTTestSupport::recordedMacFile(
        QStringLiteral("iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist")));
    QFile finderInfo(
        KSTTestSupport::recordedMacFile(QStringLiteral("DS_Store.Trash.NOdoff-gitPractice.bin")));
    if (!backupInfo.open(QIODevice::ReadOnly) || !finderInfo.open(QIODevice::ReadOnly))
        return false;
    mac.writeHomeFile(
        QStringLiteral(
            "Library/Application Support/MobileSync/Backup/00008110-001A2D3C4E5F6789/Info.plist"),
        backupInfo.readAll(), now.addDays(-16));
    mac.writeHomeFile(QStringLiteral(".Trash/.DS_Store"), finderInfo.readAll());
    mac.writeSizedHomeFile(QStringLiteral(".Trash/Screen Recording 2024-05-02.mov"), 9 * MB,
                           now.addDays(-9));

    const struct
    {
        const char *path;
        qint64 megabytes;
    } large[] = {
        {"Desktop/ubuntu-24.04-desktop-amd64.iso", 5944},
        {"Movies/Family Reunion 4K.mov", 3270},
        {"Documents/Archive 2019.zip", 1410},
        {"Documents/Parallels/Windows 11 Disk.hdd", 2210},
        {"Movies/Drone Footage/DJI_0042.MP4", 612},
    };
    for (const auto &file : large) {
        if (!writeSparseHomeFile(mac, QLatin1String(file.path), file.megabytes * MB,
                                 now.addDays(-120)))
            return false;
    }
    // The large-file search runs find from under the analysed root, as it would on a Mac.
    mac.linkHostTool(QStringLiteral("/usr/bin/find"));
    return true;
}

// Six days before today, each a little below today's figures of this host, so the charts
// rise towards today as on a Mac in use; the usage of the week's foreground applications; and
// the installer's log of two removals.
bool addReporterWeek(KSTFixtureMac &mac)
{
    const QDateTime now = QDateTime::currentDateTime();
    quint64 received = 0;
    quint64 sent = 0;
    for (const KSTInterfaceByteCounts &counts :
         KSTHostInfo::current().interfaceByteCounts().value_or(QList<KSTInterfaceByteCounts>())) {
        if (!counts.isLoopback) {
            received += counts.receivedBytes;
            sent += counts.sentBytes;
        }
    }
    const std::optional<KSTVolumeUsage> volume = KSTHostInfo::current().volumeUsage(mac.home());
    const quint64 used = volume && volume->totalBytes > volume->freeBytes
                             ? volume->totalBytes - volume->freeBytes
                             : 0;
    const double storage[] = {0.93, 0.94, 0.96, 0.955, 0.97, 0.985};
    const double download[] = {0.12, 0.31, 0.38, 0.61, 0.72, 0.86};
    const double upload[] = {0.18, 0.27, 0.45, 0.52, 0.70, 0.81};
    QVariantList records;
    for (int index = 0; index < 6; ++index) {
        const QDate day = now.date().addDays(index - 6);
        records << historyRecord(
            day.toString(QStringLiteral("yyyy-MM-dd")), qint64(double(used) * storage[index]),
            qint64(double(received) * download[index]), qint64(double(sent) * upload[index]));
    }
    mac.writeHomePlist(QStringLiteral("Library/Application Support/Kestrel/reporter-history.plist"),
                       records);

    mac.writeFile(QStringLiteral("var/log/install.log"),
                  "2024-06-10 09:12:03+02 installd[412]: Removed Zoom.app from /Applications\n"
                  "2024-06-11 18:40:51+02 installd[412]: Removed Skype.app from /Applications\n");

    const struct
    {
        const char *identifier;
        double hours;
    } usage[] = {
        {"com.apple.dt.Xcode", 14.5},       {"com.apple.Safari", 9.2},
        {"com.tinyspeck.slackmacgap", 6.1}, {"com.microsoft.VSCode", 3.8},
        {"com.apple.Notes", 1.4},           {"com.apple.logic10", 0.7},
    };
    QList<KSTKnowledgeUsageRow> rows;
    for (const auto &app : usage) {
        // Spread over the week's days, as the database keeps one row per foreground period.
        for (int day = 0; day < 4; ++day)
            rows << KSTKnowledgeUsageRow{QLatin1String(app.identifier),
                                         now.addDays(-day).addSecs(-4 * 3600),
                                         app.hours * 3600 / 4};
    }
    return writeKnowledgeDatabase(
        mac.homePath(QStringLiteral("Library/Application Support/Knowledge/knowledgeC.db")), rows);
}

// An attribute as a Mac's file carries it, in the namespace this host lets a user write.
bool setMacAttribute(const QString &path, const QByteArray &name, const QByteArray &value)
{
    const QByteArray attribute = "user." + name;
    return ::lsetxattr(QFile::encodeName(path).constData(), attribute.constData(),
                       value.constData(), size_t(value.size()), 0) == 0;
}

// Startup items of several kinds and impacts, apps that open common types with the user's own
// choices among them, Trash items that say where they came from, and du for the home sizes.
bool addUtilitiesMac(KSTFixtureMac &mac)
{
    using Domain = KSTFixtureMac::LaunchdDomain;
    mac.addLaunchdPlist(
        Domain::UserAgent, QStringLiteral("com.dropbox.DropboxMacUpdate.agent"),
        {{QStringLiteral("Program"),
          QStringLiteral("/Library/Application Support/Dropbox/DropboxMacUpdate.app/Contents/"
                         "MacOS/DropboxMacUpdate")},
         {QStringLiteral("RunAtLoad"), true}});
    mac.addLaunchdPlist(
        Domain::UserAgent, QStringLiteral("com.spotify.webhelper"),
        {{QStringLiteral("ProgramArguments"),
          QVariantList{QStringLiteral("/Library/Application Support/Spotify/SpotifyWebHelper.app/"
                                      "Contents/MacOS/SpotifyWebHelper")}},
         {QStringLiteral("RunAtLoad"), true}});
    mac.addLaunchdPlist(
        Domain::UserAgent, QStringLiteral("homebrew.mxcl.postgresql"),
        {{QStringLiteral("ProgramArguments"),
          QVariantList{QStringLiteral("/opt/homebrew/opt/postgresql/bin/postgres"),
                       QStringLiteral("-D"), QStringLiteral("/opt/homebrew/var/postgres")}},
         {QStringLiteral("KeepAlive"), true}});
    mac.addLaunchdPlist(
        Domain::GlobalAgent, QStringLiteral("com.microsoft.update.agent"),
        {{QStringLiteral("Program"),
          QStringLiteral("/Library/Application Support/Microsoft/MAU2.0/Microsoft AutoUpdate.app/"
                         "Contents/MacOS/Microsoft AU Daemon.app/Contents/MacOS/Microsoft AU "
                         "Daemon")},
         {QStringLiteral("RunAtLoad"), true}});
    mac.addLaunchdPlist(Domain::Daemon, QStringLiteral("com.docker.vmnetd"),
                        {{QStringLiteral("Program"),
                          QStringLiteral("/Library/PrivilegedHelperTools/com.docker.vmnetd")}});
    // A program large enough to weigh on the start: sized on the analysed Mac (sparse).
    QFile helper(mac.writeFile(QStringLiteral("Library/Application Support/Spotify/"
                                              "SpotifyWebHelper.app/Contents/MacOS/"
                                              "SpotifyWebHelper"),
                               "\0"));
    if (!helper.open(QIODevice::ReadWrite) || !helper.resize(48 * MB))
        return false;
    helper.close();

    const struct
    {
        const char *name;
        const char *identifier;
        const char *location;
        QStringList types;
    } apps[] = {
        {"Preview",
         "com.apple.Preview",
         "System/Applications",
         {QStringLiteral("com.adobe.pdf"), QStringLiteral("public.png"),
          QStringLiteral("public.jpeg"), QStringLiteral("com.compuserve.gif")}},
        {"TextEdit",
         "com.apple.TextEdit",
         "System/Applications",
         {QStringLiteral("public.plain-text"), QStringLiteral("public.html")}},
        {"Adobe Acrobat Reader",
         "com.adobe.Reader",
         "Applications",
         {QStringLiteral("com.adobe.pdf")}},
        {"BBEdit",
         "com.barebones.bbedit",
         "Applications",
         {QStringLiteral("public.plain-text"), QStringLiteral("public.html"),
          QStringLiteral("public.comma-separated-values-text")}},
        {"IINA",
         "com.colliderli.iina",
         "Applications",
         {QStringLiteral("public.mpeg-4"), QStringLiteral("public.mp3")}},
    };
    // The apps' own icons: a tile with the name's first letter (TextEdit names none and shows
    // the generic symbol).
    const QHash<QString, QString> iconColors = {
        {QStringLiteral("Preview"), QStringLiteral("#3b82f6")},
        {QStringLiteral("Adobe Acrobat Reader"), QStringLiteral("#dc2626")},
        {QStringLiteral("BBEdit"), QStringLiteral("#334155")},
        {QStringLiteral("IINA"), QStringLiteral("#7c3aed")}};
    for (const auto &app : apps) {
        KSTFixtureMac::App bundle;
        bundle.name = QLatin1String(app.name);
        bundle.bundleIdentifier = QLatin1String(app.identifier);
        bundle.location = QLatin1String(app.location);
        bundle.extraInfo = {{QStringLiteral("CFBundleName"), bundle.name},
                            {QStringLiteral("CFBundleDocumentTypes"),
                             QVariantList{QVariantMap{
                                 {QStringLiteral("LSItemContentTypes"), app.types},
                                 {QStringLiteral("LSHandlerRank"), QStringLiteral("Default")}}}}};
        if (const QString color = iconColors.value(bundle.name); !color.isEmpty()) {
            bundle.extraInfo.insert(QStringLiteral("CFBundleIconFile"),
                                    QStringLiteral("AppIcon.svg"));
            mac.writeFile(bundle.location + QLatin1Char('/') + bundle.name +
                              QStringLiteral(".app/Contents/Resources/AppIcon.svg"),
                          QStringLiteral("<svg xmlns='http://www.w3.org/2000/svg' width='64' "
                                         "height='64'><rect x='4' y='4' width='56' height='56' "
                                         "rx='14' fill='%1'/><text x='32' y='44' "
                                         "font-family='sans-serif' font-size='32' "
                                         "font-weight='bold' fill='white' "
                                         "text-anchor='middle'>%2</text></svg>")
                              .arg(color, bundle.name.left(1))
                              .toUtf8());
        }
        mac.addApp(bundle);
    }
    const auto handler = [](const char *type, const char *identifier) {
        return QVariantMap{{QStringLiteral("LSHandlerContentType"), QLatin1String(type)},
                           {QStringLiteral("LSHandlerRoleAll"), QLatin1String(identifier)}};
    };
    mac.writeHomePlist(
        QStringLiteral("Library/Preferences/com.apple.LaunchServices/"
                       "com.apple.launchservices.secure.plist"),
        QVariantMap{{QStringLiteral("LSHandlers"),
                     QVariantList{handler("com.adobe.pdf", "com.adobe.Reader"),
                                  handler("public.plain-text", "com.barebones.bbedit"),
                                  handler("public.mpeg-4", "com.colliderli.iina")}}},
        KSTFixtureMac::PlistFormat::Binary);

    const QString project = mac.homePath(QStringLiteral(".Trash/Old Project.zip"));
    const QString invoice = mac.writeSizedHomeFile(QStringLiteral(".Trash/Invoice 0423.pdf"),
                                                   220 * 1024, QDateTime::currentDateTime());
    if (!setMacAttribute(project, "com.apple.metadata:kMDItemWhereFroms",
                         KSTPropertyList::toBinary(QVariantList{QStringLiteral(
                             "https://github.com/alice/old-project/archive/main.zip")})) ||
        !setMacAttribute(project, "com.apple.quarantine", "0083;66500000;Safari;") ||
        !setMacAttribute(invoice, "com.apple.metadata:kMDItemWhereFroms",
                         KSTPropertyList::toBinary(QVariantList{
                             QStringLiteral("https://billing.example.com/invoices/0423.pdf")})) ||
        !setMacAttribute(invoice, "com.apple.quarantine", "0083;66510000;Mail;"))
        return false;
    mac.makeHomeDirectory(QStringLiteral("Public"));
    mac.linkHostTool(QStringLiteral("/usr/bin/du"));
    return true;
}

// ---- Duplicates ----

quint32 crc32(const QByteArray &bytes)
{
    quint32 crc = 0xffffffffu;
    for (const char byte : bytes) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

QByteArray pngChunk(const char *type, const QByteArray &data)
{
    QByteArray length(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(data.size()), length.data());
    const QByteArray typed = QByteArray(type) + data;
    QByteArray crc(4, Qt::Uninitialized);
    qToBigEndian<quint32>(crc32(typed), crc.data());
    return length + typed + crc;
}

struct Rgb
{
    int r, g, b;
};

// A landscape picture as a PNG: a sky from @p top to @p bottom, a sun and a darker ground.
QByteArray landscapePng(int width, int height, Rgb top, Rgb bottom, Rgb ground)
{
    QByteArray header(13, '\0');
    qToBigEndian<quint32>(quint32(width), header.data());
    qToBigEndian<quint32>(quint32(height), header.data() + 4);
    header[8] = 8; // bits per channel
    header[9] = 2; // RGB
    QByteArray pixels;
    pixels.reserve((width * 3 + 1) * height);
    const int horizon = height * 2 / 3;
    for (int y = 0; y < height; ++y) {
        pixels.append('\0'); // no filter
        for (int x = 0; x < width; ++x) {
            Rgb color;
            const int dx = x - width * 7 / 10;
            const int dy = y - height / 3;
            if (y >= horizon + (x * 13 % 7))
                color = ground;
            else if (dx * dx + dy * dy < (height / 8) * (height / 8))
                color = {255, 236, 170};
            else {
                const double t = double(y) / horizon;
                color = {int(top.r * (1 - t) + bottom.r * t), int(top.g * (1 - t) + bottom.g * t),
                         int(top.b * (1 - t) + bottom.b * t)};
            }
            pixels.append(char(color.r)).append(char(color.g)).append(char(color.b));
        }
    }
    // qCompress writes the length first, then the zlib stream a PNG holds.
    const QByteArray compressed = qCompress(pixels, 9).mid(4);
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + pngChunk("IHDR", header) +
           pngChunk("IDAT", compressed) + pngChunk("IEND", {});
}

// @p size bytes of their own for each @p seed.
QByteArray seededBytes(qint64 size, quint32 seed)
{
    QByteArray data(size, Qt::Uninitialized);
    quint64 state = 0x9e3779b97f4a7c15ull * (seed + 1);
    for (qint64 index = 0; index < size; ++index) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        data[index] = char(state >> 56);
    }
    return data;
}

void addDuplicates(KSTFixtureMac &mac)
{
    const QDateTime now = QDateTime::currentDateTime();
    struct Copies
    {
        QByteArray contents;
        QStringList paths; // newest first
    };
    const QList<Copies> groups = {
        {landscapePng(640, 420, Rgb{64, 132, 214}, Rgb{250, 190, 120}, Rgb{46, 96, 70}),
         {QStringLiteral("Pictures/Trips/Lake Sunset.png"),
          QStringLiteral("Downloads/Lake Sunset.png"),
          QStringLiteral("Desktop/Lake Sunset copy.png")}},
        {landscapePng(560, 380, Rgb{120, 180, 230}, Rgb{220, 236, 250}, Rgb{196, 170, 120}),
         {QStringLiteral("Pictures/Trips/Dunes.png"), QStringLiteral("Downloads/Dunes.png")}},
        {seededBytes(4 * MB, 11),
         {QStringLiteral("Pictures/Imports/IMG_2041.jpg"), QStringLiteral("Desktop/IMG_2041.jpg"),
          QStringLiteral("Downloads/IMG_2041.jpg")}},
        {seededBytes(6 * MB, 12),
         {QStringLiteral("Pictures/Imports/IMG_2107.heic"),
          QStringLiteral("Downloads/IMG_2107.heic")}},
        {seededBytes(18 * MB, 13),
         {QStringLiteral("Movies/Clips/Surf.mp4"), QStringLiteral("Downloads/Surf.mp4")}},
        {seededBytes(3 * MB, 14),
         {QStringLiteral("Documents/Voice Memo.m4a"), QStringLiteral("Downloads/Voice Memo.m4a")}},
        {seededBytes(22 * MB, 15),
         {QStringLiteral("Downloads/Photos Backup.zip"),
          QStringLiteral("Downloads/Photos Backup (1).zip")}},
        {seededBytes(2 * MB, 16),
         {QStringLiteral("Documents/Lease Agreement.pdf"),
          QStringLiteral("Downloads/Lease Agreement.pdf"),
          QStringLiteral("Desktop/Lease Agreement (2).pdf")}},
    };
    int age = 1;
    for (const Copies &group : groups) {
        for (const QString &path : group.paths)
            mac.writeHomeFile(path, group.contents, now.addDays(-age++ * 3));
    }
}

void scanDuplicatesOnOpen(KSTFixtureMac &mac)
{
    QList<KSTDuplicateFolderOption> options = KSTDuplicateFolderOptions::defaultFolderOptions();
    for (KSTDuplicateFolderOption &option : options)
        option.selected = true;
    KSTDuplicateFolderOptions::saveFolderOptions(options);
    KSTDuplicateFolderOptions::setScanOnOpen(true);
    Q_UNUSED(mac);
}

// The real engine, run once on this machine; returns false when it reported nothing.
bool runAutoCleanOnce(KSTFixtureMac &mac)
{
    KSTAutoCleanManager::Options options;
    KSTAutoCleanManager manager(options);
    manager.addWhitelistPath(mac.homePath(QStringLiteral("Downloads/Keep")));
    manager.addWhitelistPath(mac.homePath(QStringLiteral("Documents/Taxes")));
    for (qsizetype rule : {0, 1, 4})
        manager.setRuleEnabled(true, rule);
    manager.setAutomationEnabled(true); // active: runs the enabled rules at once
    manager.waitUntilIdle();
    // Stored as off, the rules, totals and list survive the next start as they are.
    manager.setAutomationEnabled(false);
    manager.waitUntilIdle();
    KSTTestSupport::pumpFor(50);
    return manager.filesRemovedThisMonth() > 0;
}

// Sets the access time of @p path (App Manage's last-opened date), keeping its other times.
bool setAccessed(const QString &path, const QDateTime &accessed)
{
    const struct timespec times[2] = {{time_t(accessed.toSecsSinceEpoch()), 0}, {0, UTIME_OMIT}};
    return ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW) ==
           0;
}

bool addAppLeftovers(KSTFixtureMac &mac)
{
    const QDateTime now = QDateTime::currentDateTime();
    const struct
    {
        const char *bundle;
        const char *category;
        const char *copyright;
        bool universal;
        bool appStore;
        int openedDaysAgo; // -1: today
    } apps[] = {
        {"Applications/Xcode.app", "public.app-category.developer-tools",
         "© 2003–2024 Apple Inc. All rights reserved.", true, true, 2},
        {"Applications/Final Cut Pro.app", "public.app-category.video",
         "© 2011–2024 Apple Inc. All rights reserved.", true, true, 45},
        {"Applications/Logic Pro.app", "public.app-category.music",
         "© 2013–2024 Apple Inc. All rights reserved.", false, true, 12},
        {"Applications/Microsoft Word.app", "public.app-category.productivity",
         "© 2024 Microsoft Corporation. All rights reserved.", true, false, -1},
        {"Applications/Visual Studio Code.app", "public.app-category.developer-tools",
         "© 2015 Microsoft Corporation", false, false, -1},
        {"Applications/Slack.app", "public.app-category.business",
         "© 2014–2024 Slack Technologies, LLC. All rights reserved.", true, false, 1},
        {"Applications/Pixelmator Pro.app", "public.app-category.graphics-design",
         "© 2017–2024 Pixelmator Team. All rights reserved.", false, true, 120},
        {"System/Applications/Safari.app", "public.app-category.productivity", "", true, false, -1},
        {"System/Applications/Notes.app", "public.app-category.productivity", "", true, false, 6},
        {"System/Applications/Calendar.app", "public.app-category.productivity", "", true, false,
         9},
    };
    for (const auto &app : apps) {
        const QString bundle = QLatin1String(app.bundle);
        const QString infoPath = mac.path(bundle + QStringLiteral("/Contents/Info.plist"));
        QVariantMap info = KSTPropertyList::readDictionary(infoPath);
        if (info.isEmpty())
            return false;
        info.insert(QStringLiteral("LSApplicationCategoryType"), QLatin1String(app.category));
        if (*app.copyright)
            info.insert(QStringLiteral("NSHumanReadableCopyright"),
                        QString::fromUtf8(app.copyright));
        mac.writePlist(bundle + QStringLiteral("/Contents/Info.plist"), info);
        if (app.appStore)
            mac.writeFile(bundle + QStringLiteral("/Contents/_MASReceipt/receipt"), "receipt");
        if (app.universal) {
            const QString executable = info.value(QStringLiteral("CFBundleExecutable")).toString();
            mac.writeFile(bundle + QStringLiteral("/Contents/MacOS/") + executable,
                          KSTFixtureMac::machOExecutable(
                              {QStringLiteral("x86_64"), QStringLiteral("arm64")}));
        }
        const QDateTime opened =
            app.openedDaysAgo < 0 ? now.addSecs(-3600) : now.addDays(-app.openedDaysAgo);
        if (!setAccessed(mac.path(bundle), opened))
            return false;
    }

    const struct
    {
        const char *path;
        qint64 kilobytes;
    } leftovers[] = {
        {"Library/Caches/com.apple.dt.Xcode/Cache.db", 18 * 1024},
        {"Library/Application Support/Xcode/DeviceSupport/17.5/Symbols.bin", 6 * 1024},
        {"Library/Preferences/com.apple.dt.Xcode.plist", 64},
        {"Library/Saved Application State/com.apple.dt.Xcode.savedState/windows.plist", 256},
        {"Library/Logs/DiagnosticReports/Xcode-2024-06-02-101512.ips", 300},
    };
    for (const auto &leftover : leftovers)
        mac.writeSizedHomeFile(QLatin1String(leftover.path), leftover.kilobytes * 1024);
    mac.writeFile(QStringLiteral("Users/Shared/Xcode Projects/Playground/main.swift"),
                  QByteArray(48 * 1024, 'x'));
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    QTextStream err(stderr);
    const QStringList options = {
        QStringLiteral("--no-full-disk-access"), QStringLiteral("--autoclean-history"),
        QStringLiteral("--reporter-week"),       QStringLiteral("--utilities"),
        QStringLiteral("--duplicates"),          QStringLiteral("--scan-duplicates-on-open"),
        QStringLiteral("--app-leftovers"),       QStringLiteral("--report-tools"),
    };
    for (const QString &argument : arguments) {
        if (!options.contains(argument)) {
            err << "usage: kst_fixture_mac [" << options.join(QStringLiteral("] [")) << "]\n";
            return 2;
        }
    }

    KSTFixtureMac mac;
    if (!mac.isValid()) {
        err << "kst_fixture_mac: could not create a temporary folder\n";
        return 1;
    }
    mac.addRecordedTool(QStringLiteral("/usr/sbin/system_profiler"),
                        QStringLiteral("system_profiler-SPHardware.apple-M3-Mac15,3.txt"));
    if (arguments.contains(QLatin1String("--report-tools"))) {
        KSTRecordedReportTools::install(mac);
        mac.setSystemVersion(QStringLiteral("13.1"), QStringLiteral("macOS"),
                             QStringLiteral("22C65"));
        mac.makeDirectory(QStringLiteral("Volumes/Macintosh HD"));
    }
    addApplications(mac);
    addHomeContents(mac);
    if (!addCleanUpHome(mac)) {
        err << "kst_fixture_mac: could not write the Clean Up home\n";
        return 1;
    }
    if (arguments.contains(QLatin1String("--utilities")) && !addUtilitiesMac(mac)) {
        err << "kst_fixture_mac: could not write the Utilities' places\n";
        return 1;
    }
    if (arguments.contains(QLatin1String("--app-leftovers")) && !addAppLeftovers(mac)) {
        err << "kst_fixture_mac: could not write the App Manage leftovers\n";
        return 1;
    }
    if (!arguments.contains(QLatin1String("--no-full-disk-access"))) {
        mac.writePrivacyDatabase({{KSTApplicationInfo::bundleIdentifier(), 2}});
    }
    if (arguments.contains(QLatin1String("--autoclean-history"))) {
        mac.activate();
        KSTPermissionChecker::resetForTesting();
        if (!runAutoCleanOnce(mac)) {
            err << "kst_fixture_mac: Auto Clean removed nothing\n";
            return 1;
        }
    }
    if (arguments.contains(QLatin1String("--reporter-week")) && !addReporterWeek(mac)) {
        err << "kst_fixture_mac: could not write the Reporter's week\n";
        return 1;
    }
    if (arguments.contains(QLatin1String("--duplicates")))
        addDuplicates(mac);
    if (arguments.contains(QLatin1String("--scan-duplicates-on-open"))) {
        // The folders offered are those of this machine's home.
        mac.activate();
        KSTPermissionChecker::resetForTesting();
        scanDuplicatesOnOpen(mac);
    }
    QTextStream(stdout) << mac.keep() << '\n';
    return 0;
}
