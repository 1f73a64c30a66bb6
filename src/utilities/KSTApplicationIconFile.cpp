#include "KSTApplicationIconFile.h"

#include "KSTEnvironment.h"
#include "KSTNoFollowPath.h"
#include "KSTReadOnlyFile.h"
#include "KSTUtilitiesLocations.h"

#include <QDir>
#include <QStringList>

#include <sys/stat.h>

namespace {

// A regular file with no link on the way below the analysed root or home (strictly, also
// when the root is "/": an author's icon name must not walk off through a link).
bool isPlainRegularFile(const QString &path)
{
    if (!path.startsWith(QLatin1Char('/')))
        return false;
    const std::optional<struct stat> status = KSTNoFollowPath::status(QDir::cleanPath(path), true);
    return status && S_ISREG(status->st_mode);
}

bool isPlainName(const QString &name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") &&
           !name.contains(QLatin1Char('/')) && !name.contains(QChar(0));
}

QString stringValue(const QVariantMap &map, const QString &key)
{
    const QVariant value = map.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QString inTheme(const QString &theme, const QString &name)
{
    for (const QString &size : KSTUtilitiesLocations::IconThemeSizes) {
        for (const QString &extension : KSTUtilitiesLocations::IconFileExtensions) {
            const QString candidate = theme + QLatin1Char('/') + size + QStringLiteral("/apps/") +
                                      name + QLatin1Char('.') + extension;
            if (isPlainRegularFile(candidate))
                return candidate;
        }
    }
    return {};
}

} // namespace

QString KSTApplicationIconFile::forApplication(const QString &path, const QVariantMap &info)
{
    if (path.endsWith(QLatin1String(".desktop")))
        return iconFromDesktopEntry(path);
    return forBundle(path, info);
}

QString KSTApplicationIconFile::forBundle(const QString &bundlePath, const QVariantMap &info)
{
    QString file = stringValue(info, QStringLiteral("CFBundleIconFile"));
    if (bundlePath.isEmpty() || !isPlainName(file))
        return {};
    if (!file.contains(QLatin1Char('.')))
        file += QLatin1String(".icns");
    const QString path = bundlePath + QLatin1Char('/') + KSTUtilitiesLocations::BundleResources +
                         QLatin1Char('/') + file;
    return isPlainRegularFile(path) ? QDir::cleanPath(path) : QString();
}

QString KSTApplicationIconFile::iconValueOfDesktopEntry(const QByteArray &contents)
{
    bool inEntry = false;
    for (const QByteArray &rawLine : contents.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (line.startsWith('[')) {
            inEntry = line == "[Desktop Entry]";
            continue;
        }
        if (!inEntry || line.startsWith('#'))
            continue;
        const qsizetype equals = line.indexOf('=');
        // "Icon[de]" is a translation; the plain key is the icon.
        if (equals > 0 && line.left(equals).trimmed() == "Icon")
            return QString::fromUtf8(line.mid(equals + 1).trimmed());
    }
    return {};
}

QString KSTApplicationIconFile::iconFromDesktopEntry(const QString &path)
{
    KSTReadOnlyFile file;
    if (!file.open(path) || file.identity().size > MaximumDesktopEntryBytes)
        return {};
    QByteArray contents(qsizetype(file.identity().size), '\0');
    const qint64 read = file.read(contents.data(), contents.size());
    if (read < 0)
        return {};
    contents.truncate(qsizetype(read));
    return iconFileForIconValue(iconValueOfDesktopEntry(contents));
}

QString KSTApplicationIconFile::iconFileForIconValue(const QString &value)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (value.startsWith(QLatin1Char('/'))) {
        // The machine's own path: below the analysed root, never the host's by accident.
        const QString clean = QDir::cleanPath(value);
        if (clean.contains(QStringLiteral("/../")) || clean.endsWith(QLatin1String("/..")))
            return {};
        const QString path = environment.systemPath(clean);
        return isPlainRegularFile(path) ? QDir::cleanPath(path) : QString();
    }
    if (!isPlainName(value))
        return {};
    QStringList themes{environment.homePath(KSTUtilitiesLocations::HomeIconTheme)};
    for (const QString &theme : KSTUtilitiesLocations::SystemIconThemes)
        themes << environment.systemPath(theme);
    for (const QString &theme : std::as_const(themes)) {
        const QString found = inTheme(QDir::cleanPath(theme), value);
        if (!found.isEmpty())
            return found;
    }
    // A name that carries its extension is looked for as it stands in pixmaps too.
    const QString pixmaps = QDir::cleanPath(environment.systemPath(KSTUtilitiesLocations::Pixmaps));
    for (const QString &extension : KSTUtilitiesLocations::IconFileExtensions) {
        const QString candidate = pixmaps + QLatin1Char('/') + value + QLatin1Char('.') + extension;
        if (isPlainRegularFile(candidate))
            return candidate;
    }
    const QString asNamed = pixmaps + QLatin1Char('/') + value;
    return isPlainRegularFile(asNamed) ? asNamed : QString();
}
