// The collectors that walk the user's folders: crash reports and browser extensions.
#include "KSTSystemReportCollectors.h"

#include "KSTEnvironment.h"
#include "KSTLinuxReportParsers.h"
#include "KSTPropertyList.h"
#include "KSTReadOnlyFile.h"
#include "KSTReportFolderListing.h"
#include "KSTSystemReportLinuxCollectors.h"
#include "KSTSystemReportLocations.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <algorithm>

namespace KSTSystemReportCollectors {

namespace {

// A DiagnosticReports folder of a busy Mac holds a few hundred reports; a folder flooded with
// files is read only this far.
constexpr qsizetype MaximumEntries = 10'000;
constexpr qint64 MaximumManifestBytes = 1024 * 1024;
const QString ActivityDash = QStringLiteral("\u2014");

QList<KSTReportFolderEntry> entriesOf(const QString &folder)
{
    return KSTReportFolderListing::entries(folder, MaximumEntries);
}

// "Safari_2026-11-14-101010_Mac.crash" → "Safari"; "kernel-2026-11-14.panic.ips" → "kernel".
QString processName(const QString &fileName)
{
    const qsizetype underscore = fileName.indexOf(QLatin1Char('_'));
    if (underscore > 0)
        return fileName.left(underscore);
    const qsizetype dash = fileName.indexOf(QLatin1Char('-'));
    return dash > 0 ? fileName.left(dash) : QFileInfo(fileName).completeBaseName();
}

QJsonObject jsonFile(const QString &path)
{
    QByteArray bytes;
    if (KSTReadOnlyFile::readWholeFile(path, MaximumManifestBytes, &bytes) !=
        KSTReadOnlyFile::Status::Read)
        return {};
    return QJsonDocument::fromJson(bytes).object();
}

// A Chrome name "__MSG_key__" is looked up in the default locale's messages (keys ignore case).
QString chromeExtensionName(const QString &versionFolder)
{
    const QJsonObject manifest = jsonFile(versionFolder + QLatin1String("/manifest.json"));
    const QString name = manifest.value(QLatin1String("name")).toString().trimmed();
    if (!name.startsWith(QLatin1String("__MSG_")) || !name.endsWith(QLatin1String("__")))
        return name;
    const QString key = name.mid(6, name.size() - 8);
    const QString locale = manifest.value(QLatin1String("default_locale")).toString();
    if (key.isEmpty() || locale.isEmpty() || locale.contains(QLatin1Char('/')) ||
        locale.startsWith(QLatin1Char('.')))
        return {};
    const QJsonObject messages =
        jsonFile(versionFolder + QStringLiteral("/_locales/%1/messages.json").arg(locale));
    for (auto it = messages.begin(); it != messages.end(); ++it)
        if (it.key().compare(key, Qt::CaseInsensitive) == 0)
            return it.value().toObject().value(QLatin1String("message")).toString().trimmed();
    return {};
}

// Chrome's profiles, as many on Linux as on a Mac.
const char *const ChromeProfiles[] = {"Default", "Profile 1", "Profile 2"};

// The extensions of Chrome-like profiles under @p chromeRoot: names, and those unnamed.
void chromeExtensions(const QString &chromeRoot, QStringList *names, qint64 *unknown)
{
    for (const char *profile : ChromeProfiles)
        for (const KSTReportFolderEntry &extension :
             entriesOf(chromeRoot + QLatin1Char('/') + QLatin1String(profile) + "/Extensions")) {
            if (!extension.isFolder)
                continue;
            for (const KSTReportFolderEntry &version : entriesOf(extension.path)) {
                if (!version.isFolder)
                    continue;
                const QString name = chromeExtensionName(version.path);
                if (name.isEmpty())
                    ++*unknown;
                else
                    names->append(name);
                break; // one version of an extension is enough
            }
        }
}

QString joinedNames(QStringList names)
{
    names.removeDuplicates();
    std::sort(names.begin(), names.end(), [](const QString &a, const QString &b) {
        return a.compare(b, Qt::CaseInsensitive) < 0;
    });
    return names.isEmpty() ? QStringLiteral("None") : names.join(u", ");
}

// Firefox's profiles hold their extensions' names in extensions.json; Chromium and Chrome
// keep Chrome's own layout under ~/.config. A browser that was never run has no row value.
void collectLinuxBrowserExtensions(KSTReportContext &context, const KSTEnvironment &environment)
{
    namespace L = KSTSystemReportLocations;
    const QString firefoxRoot = environment.homePath(L::FirefoxProfiles);
    QStringList firefox;
    for (const KSTReportFolderEntry &profile : entriesOf(firefoxRoot)) {
        if (!profile.isFolder)
            continue;
        QByteArray bytes;
        if (KSTReadOnlyFile::readWholeFileWithoutLinks(
                profile.path + QLatin1String("/extensions.json"), MaximumManifestBytes, &bytes) ==
            KSTReadOnlyFile::Status::Read)
            firefox += KSTLinuxReportParsers::firefoxExtensions(bytes);
    }
    QStringList chrome;
    qint64 unknown = 0;
    bool chromeThere = false;
    for (const QString &root : L::ChromiumProfiles) {
        chromeThere = chromeThere || KSTReportFolderListing::isFolder(environment.homePath(root));
        chromeExtensions(environment.homePath(root), &chrome, &unknown);
    }
    const bool firefoxThere = KSTReportFolderListing::isFolder(firefoxRoot);
    if (!firefoxThere && !chromeThere)
        return;
    context.browserExtensions = {{QStringLiteral("suspicious"), unknown}};
    if (firefoxThere)
        context.browserExtensions.insert(QStringLiteral("safari"), joinedNames(firefox));
    if (chromeThere)
        context.browserExtensions.insert(QStringLiteral("chrome"), joinedNames(chrome));
}

} // namespace

void collectCrashStats(KSTReportContext &context, const QDateTime &now)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Linux)
        return KSTSystemReportLinuxCollectors::collectCrashStats(context, now);
    struct Report
    {
        QString name;
        QDateTime modified;
    };
    QList<Report> reports;
    for (const QString &folder :
         {environment.homePath(QStringLiteral("Library/Logs/DiagnosticReports")),
          environment.systemPath(QStringLiteral("/Library/Logs/DiagnosticReports"))})
        for (const KSTReportFolderEntry &entry : entriesOf(folder))
            if (entry.isFile && (entry.name.endsWith(QLatin1String(".crash")) ||
                                 entry.name.endsWith(QLatin1String(".ips"))))
                reports.append({entry.name, entry.modified});
    std::sort(reports.begin(), reports.end(),
              [](const Report &a, const Report &b) { return a.modified > b.modified; });

    QStringList crashNames;
    qint64 crashes = 0, hangs = 0, kernelPanics = 0, sleepPanics = 0, gpuPanics = 0;
    QDateTime lastPanic;
    for (const Report &report : reports) {
        const QString lower = report.name.toLower();
        const qint64 age = report.modified.secsTo(now);
        const bool panic = lower.contains(QLatin1String("panic"));
        const bool sleep = lower.contains(QLatin1String("sleep"));
        const bool gpu = lower.contains(QLatin1String("gpu"));
        if (panic || sleep || gpu) {
            if (age > 90 * 86'400)
                continue;
            (sleep ? sleepPanics : gpu ? gpuPanics : kernelPanics) += 1;
            if (!lastPanic.isValid())
                lastPanic = report.modified;
        } else if (lower.contains(QLatin1String("hang"))) {
            hangs += age <= 7 * 86'400 ? 1 : 0;
        } else if (age <= 7 * 86'400) {
            ++crashes;
            const QString name = processName(report.name);
            if (!crashNames.contains(name))
                crashNames.append(name);
        }
    }
    auto panicText = [](qint64 count) {
        return count ? QString::number(count) : QStringLiteral("None in 90 days");
    };
    context.crashStats = {
        {QStringLiteral("recent"),
         crashes ? QStringLiteral("%1 (%2)").arg(crashes).arg(crashNames.join(u", "))
                 : QStringLiteral("0")},
        {QStringLiteral("hangs"), QString::number(hangs)},
        {QStringLiteral("kernelPanic"), panicText(kernelPanics)},
        {QStringLiteral("kernelPanicStyle"), kernelPanics ? 3 : 1},
        {QStringLiteral("sleepPanic"), panicText(sleepPanics)},
        {QStringLiteral("sleepPanicStyle"), sleepPanics ? 3 : 1},
        {QStringLiteral("gpuPanic"), panicText(gpuPanics)},
        {QStringLiteral("gpuPanicStyle"), gpuPanics ? 3 : 1},
        {QStringLiteral("lastPanic"), lastPanic.isValid()
                                          ? lastPanic.toString(QStringLiteral("yyyy-MM-dd"))
                                          : QStringLiteral("None in 90 days")},
    };
}

void collectBrowserExtensions(KSTReportContext &context)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Linux)
        return collectLinuxBrowserExtensions(context, environment);
    QStringList safari;
    for (const KSTReportFolderEntry &entry :
         entriesOf(environment.homePath(QStringLiteral("Library/Safari/Extensions"))))
        if ((entry.isFile || entry.isFolder) && !entry.name.endsWith(QLatin1String(".plist")))
            safari.append(QFileInfo(entry.name).completeBaseName());
    const QVariantMap appExtensions = KSTPropertyList::readDictionary(environment.homePath(
        QStringLiteral("Library/Containers/com.apple.Safari/Data/Library/Safari/AppExtensions/"
                       "Extensions.plist")));
    for (auto it = appExtensions.begin(); it != appExtensions.end(); ++it)
        safari.append(it.key().section(QLatin1String(" ("), 0, 0)); // "id (TEAMID)"

    QStringList chrome;
    qint64 unknown = 0;
    chromeExtensions(
        environment.homePath(QStringLiteral("Library/Application Support/Google/Chrome")), &chrome,
        &unknown);
    context.browserExtensions = {{QStringLiteral("safari"), joinedNames(safari)},
                                 {QStringLiteral("chrome"), joinedNames(chrome)},
                                 {QStringLiteral("suspicious"), unknown}};
}

} // namespace KSTSystemReportCollectors
