#include "KSTIconLoader.h"

#include "KSTPalette.h"
#include "KSTSymbolImage.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QPixmap>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The whole file when it is a regular file within the cap; nothing otherwise.
QByteArray readBounded(const QString &path)
{
    const int fd =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return {};
    QByteArray contents;
    struct stat status = {};
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
        status.st_size <= KSTIconLoader::MaximumFileBytes) {
        contents.resize(qsizetype(status.st_size));
        qsizetype done = 0;
        while (done < contents.size()) {
            const ssize_t read = ::read(fd, contents.data() + done, size_t(contents.size() - done));
            if (read < 0 && errno == EINTR)
                continue;
            if (read <= 0)
                break;
            done += read;
        }
        // A file that shrank while read is decoded as far as it went.
        contents.truncate(done);
    }
    ::close(fd);
    return contents;
}

} // namespace

KSTIconLoader &KSTIconLoader::shared()
{
    static KSTIconLoader loader;
    return loader;
}

QIcon KSTIconLoader::iconForFile(const QString &path)
{
    if (path.isEmpty())
        return {};
    if (const QIcon *cached = m_icons.object(path))
        return *cached;
    const QImage image = readImage(path);
    auto *icon = new QIcon(image.isNull() ? QIcon() : QIcon(QPixmap::fromImage(image)));
    const QIcon result = *icon;
    m_icons.insert(path, icon);
    return result;
}

QIcon KSTIconLoader::applicationIcon(const QString &path)
{
    const QIcon icon = iconForFile(path);
    if (!icon.isNull())
        return icon;
    return QIcon(KSTSymbolImage::pixmap(QStringLiteral("app"), KSTPalette::secondaryText(), 48));
}

QImage KSTIconLoader::readImage(const QString &path, int preferredSize)
{
    if (path.isEmpty())
        return {};
    QByteArray contents = readBounded(path);
    if (contents.isEmpty())
        return {};
    QBuffer buffer(&contents);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAllocationLimit(MaximumDecodedMegabytes);
    reader.setDecideFormatFromContent(true);
    if (reader.supportsOption(QImageIOHandler::ScaledSize) &&
        reader.format().compare("svg", Qt::CaseInsensitive) == 0)
        reader.setScaledSize(QSize(preferredSize, preferredSize));
    return reader.read();
}
