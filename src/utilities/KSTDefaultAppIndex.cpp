#include "KSTDefaultAppIndex.h"

#include "KSTApplicationBundleCatalog.h"
#include "KSTApplicationIconFile.h"
#include "KSTEnvironment.h"
#include "KSTLaunchServicesHandlers.h"
#include "KSTPropertyList.h"
#include "KSTUtilitiesLocations.h"

#include <QHash>

namespace {

// The extensions of common system types, which no application declares because macOS
// itself does.
const QHash<QString, QStringList> &builtInExtensions()
{
    static const QHash<QString, QStringList> table = {
        {QStringLiteral("com.adobe.pdf"), {QStringLiteral("pdf")}},
        {QStringLiteral("public.jpeg"), {QStringLiteral("jpeg"), QStringLiteral("jpg")}},
        {QStringLiteral("public.png"), {QStringLiteral("png")}},
        {QStringLiteral("com.compuserve.gif"), {QStringLiteral("gif")}},
        {QStringLiteral("public.tiff"), {QStringLiteral("tiff"), QStringLiteral("tif")}},
        {QStringLiteral("public.heic"), {QStringLiteral("heic")}},
        {QStringLiteral("com.microsoft.bmp"), {QStringLiteral("bmp")}},
        {QStringLiteral("public.svg-image"), {QStringLiteral("svg")}},
        {QStringLiteral("public.zip-archive"), {QStringLiteral("zip")}},
        {QStringLiteral("public.tar-archive"), {QStringLiteral("tar")}},
        {QStringLiteral("org.gnu.gnu-zip-archive"), {QStringLiteral("gz")}},
        {QStringLiteral("com.apple.disk-image-udif"), {QStringLiteral("dmg")}},
        {QStringLiteral("public.mpeg-4"), {QStringLiteral("mp4")}},
        {QStringLiteral("com.apple.quicktime-movie"), {QStringLiteral("mov")}},
        {QStringLiteral("public.avi"), {QStringLiteral("avi")}},
        {QStringLiteral("public.mp3"), {QStringLiteral("mp3")}},
        {QStringLiteral("public.mpeg-4-audio"), {QStringLiteral("m4a")}},
        {QStringLiteral("com.microsoft.waveform-audio"), {QStringLiteral("wav")}},
        {QStringLiteral("public.plain-text"), {QStringLiteral("txt")}},
        {QStringLiteral("public.html"), {QStringLiteral("html"), QStringLiteral("htm")}},
        {QStringLiteral("public.xml"), {QStringLiteral("xml")}},
        {QStringLiteral("public.json"), {QStringLiteral("json")}},
        {QStringLiteral("public.rtf"), {QStringLiteral("rtf")}},
        {QStringLiteral("public.comma-separated-values-text"), {QStringLiteral("csv")}},
        {QStringLiteral("net.daringfireball.markdown"), {QStringLiteral("md")}},
        {QStringLiteral("public.css"), {QStringLiteral("css")}},
        {QStringLiteral("com.netscape.javascript-source"), {QStringLiteral("js")}},
        {QStringLiteral("public.python-script"), {QStringLiteral("py")}},
        {QStringLiteral("public.shell-script"), {QStringLiteral("sh")}},
        {QStringLiteral("public.c-source"), {QStringLiteral("c")}},
        {QStringLiteral("public.c-header"), {QStringLiteral("h")}},
        {QStringLiteral("public.c-plus-plus-source"), {QStringLiteral("cpp")}},
        {QStringLiteral("public.swift-source"), {QStringLiteral("swift")}},
        {QStringLiteral("com.apple.property-list"), {QStringLiteral("plist")}},
        {QStringLiteral("public.log"), {QStringLiteral("log")}},
        {QStringLiteral("public.vcard"), {QStringLiteral("vcf")}},
        {QStringLiteral("com.apple.ical.ics"), {QStringLiteral("ics")}},
        {QStringLiteral("org.idpf.epub-container"), {QStringLiteral("epub")}},
        {QStringLiteral("com.microsoft.word.doc"), {QStringLiteral("doc")}},
        {QStringLiteral("com.microsoft.excel.xls"), {QStringLiteral("xls")}},
        {QStringLiteral("com.microsoft.powerpoint.ppt"), {QStringLiteral("ppt")}},
        {QStringLiteral("org.openxmlformats.wordprocessingml.document"), {QStringLiteral("docx")}},
        {QStringLiteral("org.openxmlformats.spreadsheetml.sheet"), {QStringLiteral("xlsx")}},
        {QStringLiteral("org.openxmlformats.presentationml.presentation"),
         {QStringLiteral("pptx")}},
    };
    return table;
}

} // namespace

KSTDefaultAppIndex::KSTDefaultAppIndex(QList<App> apps, QVariantMap preferences,
                                       QMap<QString, QStringList> extensions)
    : m_apps(std::move(apps)), m_preferences(std::move(preferences)),
      m_extensions(std::move(extensions))
{
}

KSTDefaultAppIndex
KSTDefaultAppIndex::load(const KSTApplicationBundleCatalog::PathCache &bundlePaths)
{
    QList<App> apps;
    for (const QString &path : KSTApplicationBundleCatalog(bundlePaths).applicationBundlePaths()) {
        const QVariantMap info = KSTPropertyList::readDictionary(path + QLatin1Char('/') +
                                                                 KSTUtilitiesLocations::InfoPlist);
        apps.append({path, KSTApplicationTypes::fromInfoPlist(info),
                     KSTApplicationIconFile::forApplication(path, info)});
    }
    const QVariantMap preferences = KSTPropertyList::readDictionary(
        KSTEnvironment::current().homePath(KSTUtilitiesLocations::LaunchServicesPlist));
    return KSTDefaultAppIndex(std::move(apps), preferences);
}

const KSTDefaultAppIndex::App *
KSTDefaultAppIndex::appWithIdentifier(const QString &bundleIdentifier) const
{
    if (bundleIdentifier.isEmpty())
        return nullptr;
    for (const App &app : m_apps) {
        if (app.types.bundleIdentifier.compare(bundleIdentifier, Qt::CaseInsensitive) == 0)
            return &app;
    }
    return nullptr;
}

QStringList KSTDefaultAppIndex::handlersForType(const QString &uti) const
{
    QStringList handlers;
    for (const App &app : m_apps) {
        if (app.types.bundleIdentifier.isEmpty() || handlers.contains(app.types.bundleIdentifier))
            continue;
        for (const KSTApplicationTypes::DocumentType &type : app.types.documentTypes) {
            if (type.contentType.compare(uti, Qt::CaseInsensitive) == 0 &&
                type.rank != QLatin1String("None")) {
                handlers << app.types.bundleIdentifier;
                break;
            }
        }
    }
    return handlers;
}

QString KSTDefaultAppIndex::defaultHandlerForType(const QString &uti) const
{
    using namespace KSTLaunchServicesHandlers;
    for (const QString &role : {RoleAll, RoleViewer}) {
        const QString chosen = handlerForContentType(m_preferences, uti, role);
        if (!chosen.isEmpty())
            return chosen;
    }
    const QStringList handlers = handlersForType(uti);
    for (const QString &identifier : handlers) {
        const App *app = appWithIdentifier(identifier);
        for (const KSTApplicationTypes::DocumentType &type : app->types.documentTypes) {
            if (type.contentType.compare(uti, Qt::CaseInsensitive) == 0 &&
                type.rank == QLatin1String("Owner"))
                return identifier;
        }
    }
    return handlers.isEmpty() ? QString() : handlers.first();
}

QStringList KSTDefaultAppIndex::extensionsForType(const QString &uti) const
{
    const QString key = uti.toLower();
    for (const App &app : m_apps) {
        const auto found = app.types.declaredExtensions.constFind(key);
        if (found != app.types.declaredExtensions.cend())
            return *found;
    }
    const auto system = m_extensions.constFind(key);
    if (system != m_extensions.cend())
        return *system;
    return builtInExtensions().value(key);
}
