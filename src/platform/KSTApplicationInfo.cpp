#include "KSTApplicationInfo.h"

#include <QCoreApplication>
#include <QFileInfo>

#ifdef Q_OS_MACOS
#include <CoreFoundation/CoreFoundation.h>
#endif

// The build number comes from the packaging pipeline as a string literal, like
// KESTREL_VERSION; a developer build is build "1".
#ifndef KESTREL_BUILD
#define KESTREL_BUILD "1"
#endif

namespace {

QString fixedBundleIdentifier()
{
    return QStringLiteral("com.kestrel.Kestrel");
}

QString fixedCopyright()
{
    return QStringLiteral("Copyright © 2026 Kestrel contributors");
}

#ifdef Q_OS_MACOS
// A string of the main bundle's Info.plist (localized where the bundle localizes it);
// empty when the key is absent or is not a string.
QString infoString(CFStringRef key)
{
    CFBundleRef bundle = CFBundleGetMainBundle();
    if (!bundle)
        return {};
    CFTypeRef value = CFBundleGetValueForInfoDictionaryKey(bundle, key);
    if (!value || CFGetTypeID(value) != CFStringGetTypeID())
        return {};
    return QString::fromCFString(static_cast<CFStringRef>(value));
}

// A file URL the bundle owns, as a POSIX path; the Copy rule makes us release it.
QString pathOfOwnedURL(CFURLRef url)
{
    if (!url)
        return {};
    QString path;
    if (CFStringRef string = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)) {
        path = QString::fromCFString(string);
        CFRelease(string);
    }
    CFRelease(url);
    return path;
}

QString bundleFolder()
{
    CFBundleRef bundle = CFBundleGetMainBundle();
    const QString path = bundle ? pathOfOwnedURL(CFBundleCopyBundleURL(bundle)) : QString();
    // An unbundled executable (a test, the command line run from the build tree) has its
    // own folder as "bundle"; only a real .app counts.
    return path.endsWith(QLatin1String(".app")) ? path : QString();
}

QString withFallback(const QString &value, const QString &fallback)
{
    return value.isEmpty() ? fallback : value;
}
#endif

} // namespace

QString KSTApplicationInfo::bundleIdentifier()
{
#ifdef Q_OS_MACOS
    if (CFBundleRef bundle = CFBundleGetMainBundle()) {
        if (CFStringRef identifier = CFBundleGetIdentifier(bundle))
            return QString::fromCFString(identifier);
    }
#endif
    return fixedBundleIdentifier();
}

QString KSTApplicationInfo::bundlePath()
{
#ifdef Q_OS_MACOS
    return bundleFolder();
#else
    return {};
#endif
}

QString KSTApplicationInfo::executablePath()
{
    // applicationFilePath() warns and answers nothing without an application object, which
    // the command line creates only after parsing.
    if (QCoreApplication::instance())
        return QCoreApplication::applicationFilePath();
#ifdef Q_OS_MACOS
    if (CFBundleRef bundle = CFBundleGetMainBundle())
        return pathOfOwnedURL(CFBundleCopyExecutableURL(bundle));
    return {};
#else
    return QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
#endif
}

QString KSTApplicationInfo::bundleName()
{
#ifdef Q_OS_MACOS
    return infoString(kCFBundleNameKey);
#else
    return {};
#endif
}

QString KSTApplicationInfo::bundleDisplayName()
{
#ifdef Q_OS_MACOS
    return infoString(CFSTR("CFBundleDisplayName"));
#else
    return {};
#endif
}

QString KSTApplicationInfo::shortVersion()
{
#ifdef Q_OS_MACOS
    return withFallback(infoString(CFSTR("CFBundleShortVersionString")),
                        QStringLiteral(KESTREL_VERSION));
#else
    return QStringLiteral(KESTREL_VERSION);
#endif
}

QString KSTApplicationInfo::buildVersion()
{
#ifdef Q_OS_MACOS
    return withFallback(infoString(kCFBundleVersionKey), QStringLiteral(KESTREL_BUILD));
#else
    return QStringLiteral(KESTREL_BUILD);
#endif
}

QString KSTApplicationInfo::copyright()
{
#ifdef Q_OS_MACOS
    return withFallback(infoString(CFSTR("NSHumanReadableCopyright")), fixedCopyright());
#else
    return fixedCopyright();
#endif
}
