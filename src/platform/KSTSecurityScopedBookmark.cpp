#include "KSTSecurityScopedBookmark.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#ifdef Q_OS_MACOS
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <map>
#include <mutex>
#endif

#ifdef Q_OS_MACOS

namespace {

// startAccessing() receives a path, but the sandbox grants access through the URL that
// resolving the bookmark produced; keep that URL per path until the process ends.
struct ResolvedURLs
{
    std::mutex mutex;
    std::map<QString, CFURLRef> byPath;
};

ResolvedURLs &resolvedURLs()
{
    static ResolvedURLs urls;
    return urls;
}

void rememberResolvedURL(const QString &path, CFURLRef url)
{
    ResolvedURLs &urls = resolvedURLs();
    std::lock_guard lock(urls.mutex);
    CFRetain(url);
    auto [it, inserted] = urls.byPath.try_emplace(path, url);
    if (!inserted) {
        CFRelease(it->second);
        it->second = url;
    }
}

// Returned retained, or nullptr when the path did not come from a bookmark.
CFURLRef copyResolvedURL(const QString &path)
{
    ResolvedURLs &urls = resolvedURLs();
    std::lock_guard lock(urls.mutex);
    const auto it = urls.byPath.find(path);
    if (it == urls.byPath.end())
        return nullptr;
    CFRetain(it->second);
    return it->second;
}

QString pathOfURL(CFURLRef url)
{
    QString path;
    if (CFStringRef string = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)) {
        path = QString::fromCFString(string);
        CFRelease(string);
    }
    return path;
}

} // namespace

QByteArray KSTSecurityScopedBookmark::create(const QString &path)
{
    if (path.isEmpty())
        return {};
    const QFileInfo info(path);
    const QByteArray encoded = QFile::encodeName(info.absoluteFilePath());
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8 *>(encoded.constData()), encoded.size(),
        info.isDir());
    if (!url)
        return {};
    CFDataRef data =
        CFURLCreateBookmarkData(kCFAllocatorDefault, url, kCFURLBookmarkCreationWithSecurityScope,
                                nullptr, nullptr, nullptr);
    CFRelease(url);
    if (!data)
        return {};
    const QByteArray bookmark(reinterpret_cast<const char *>(CFDataGetBytePtr(data)),
                              CFDataGetLength(data));
    CFRelease(data);
    return bookmark;
}

QString KSTSecurityScopedBookmark::resolve(const QByteArray &data, bool *stale)
{
    if (stale)
        *stale = false;
    if (data.isEmpty())
        return {};
    CFDataRef bookmark = CFDataCreate(
        kCFAllocatorDefault, reinterpret_cast<const UInt8 *>(data.constData()), data.size());
    if (!bookmark)
        return {};
    Boolean isStale = false;
    CFURLRef url = CFURLCreateByResolvingBookmarkData(kCFAllocatorDefault, bookmark,
                                                      kCFURLBookmarkResolutionWithSecurityScope,
                                                      nullptr, nullptr, &isStale, nullptr);
    CFRelease(bookmark);
    if (!url)
        return {};
    const QString path = pathOfURL(url);
    if (!path.isEmpty())
        rememberResolvedURL(path, url);
    CFRelease(url);
    if (stale)
        *stale = isStale;
    return path;
}

bool KSTSecurityScopedBookmark::startAccessing(const QString &path)
{
    CFURLRef url = copyResolvedURL(path);
    if (!url)
        return QFileInfo::exists(path); // outside a sandbox every readable path is open
    const bool started = CFURLStartAccessingSecurityScopedResource(url);
    CFRelease(url);
    // Unsandboxed, starting reports false although access is there.
    return started || QFileInfo::exists(path);
}

void KSTSecurityScopedBookmark::stopAccessing(const QString &path)
{
    if (CFURLRef url = copyResolvedURL(path)) {
        CFURLStopAccessingSecurityScopedResource(url);
        CFRelease(url);
    }
}

bool kstOpenSystemSettingsURL(const QString &url)
{
    const QByteArray encoded = url.toUtf8();
    CFURLRef target = CFURLCreateWithBytes(kCFAllocatorDefault,
                                           reinterpret_cast<const UInt8 *>(encoded.constData()),
                                           encoded.size(), kCFStringEncodingUTF8, nullptr);
    if (!target)
        return false;
    const OSStatus status = LSOpenCFURLRef(target, nullptr);
    CFRelease(target);
    return status == noErr;
}

#else

namespace {

// Without a sandbox the bookmark only has to carry the path; the prefix tells our data
// apart from bytes saved by another build or another program.
constexpr char BookmarkPrefix[] = "kst-bookmark:";

} // namespace

QByteArray KSTSecurityScopedBookmark::create(const QString &path)
{
    // As on macOS, there is no bookmark of something that does not exist.
    if (path.isEmpty() || !QFileInfo::exists(path))
        return {};
    return QByteArray(BookmarkPrefix) +
           QDir::cleanPath(QFileInfo(path).absoluteFilePath()).toUtf8();
}

QString KSTSecurityScopedBookmark::resolve(const QByteArray &data, bool *stale)
{
    if (stale)
        *stale = false;
    if (!data.startsWith(BookmarkPrefix))
        return {};
    const QString path = QString::fromUtf8(data.mid(qsizetype(sizeof BookmarkPrefix) - 1));
    if (!QDir::isAbsolutePath(path) || !QFileInfo::exists(path))
        return {};
    return path;
}

bool KSTSecurityScopedBookmark::startAccessing(const QString &path)
{
    return !path.isEmpty() && QFileInfo::exists(path);
}

void KSTSecurityScopedBookmark::stopAccessing(const QString &) {}

bool kstOpenSystemSettingsURL(const QString &)
{
    return false;
}

#endif
