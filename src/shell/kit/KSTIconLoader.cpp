#include "KSTIconLoader.h"

#include "KSTDispatch.h"
#include "KSTPalette.h"
#include "KSTReadOnlyFile.h"
#include "KSTSymbolImage.h"

#include <QBuffer>
#include <QHash>
#include <QImageReader>
#include <QPixmap>

namespace {

// The whole file when it is a regular file within the cap; nothing otherwise.
QByteArray readBounded(const QString &path)
{
    QByteArray contents;
    return KSTReadOnlyFile::readWholeFileWithoutLinks(path, KSTIconLoader::MaximumFileBytes,
                                                      &contents) == KSTReadOnlyFile::Status::Read
               ? contents
               : QByteArray();
}

// The pixel width of an icon set's entry by its type; 0 for types without an image of their
// own (masks, the table of contents).
int iconSetEntryWidth(const QByteArray &type)
{
    static const QHash<QByteArray, int> widths = {
        {"is32", 16},  {"icp4", 16},  {"ic04", 16},  {"il32", 32},  {"icp5", 32},  {"ic05", 32},
        {"ic11", 32},  {"ih32", 48},  {"icp6", 64},  {"ic12", 64},  {"it32", 128}, {"ic07", 128},
        {"ic08", 256}, {"ic13", 256}, {"ic09", 512}, {"ic14", 512}, {"ic10", 1024}};
    return widths.value(type);
}

// A Mac icon set holds one picture per size, up to 1024 pixels: the smallest at least
// @p wanted pixels wide is decoded (else the largest), never every one.
void chooseIconSetEntry(QImageReader &reader, int wanted)
{
    int chosen = -1;
    int chosenWidth = 0;
    for (int index = 0; index < reader.imageCount(); ++index) {
        if (!reader.jumpToImage(index))
            continue;
        const int width = iconSetEntryWidth(reader.subType());
        if (width == 0)
            continue;
        const bool better =
            chosen < 0 ||
            (chosenWidth < wanted ? width > chosenWidth : width >= wanted && width < chosenWidth);
        if (better) {
            chosen = index;
            chosenWidth = width;
        }
    }
    reader.jumpToImage(chosen < 0 ? 0 : chosen);
}

} // namespace

KSTIconLoader &KSTIconLoader::shared()
{
    static KSTIconLoader loader;
    return loader;
}

KSTIconLoader::KSTIconLoader()
{
    // Icon files are small; two readers keep a list's first screen quick without crowding
    // the scans that run at the same time.
    m_readers.setMaxThreadCount(2);
}

KSTIconLoader::~KSTIconLoader()
{
    m_readers.waitForDone();
}

QIcon KSTIconLoader::iconForFile(const QString &path)
{
    if (path.isEmpty())
        return {};
    if (const QIcon *cached = m_icons.object(path))
        return *cached;
    if (m_loading.contains(path))
        return {};
    m_loading.insert(path);
    const quint64 generation = m_generation;
    m_readers.start([this, path, generation] {
        const QImage image = readImage(path);
        // Through the main queue, whose hand-over the thread checker sees (a queued Qt call
        // hands the picture over inside Qt, where it cannot).
        KSTDispatch::mainAsync(
            this, [this, path, generation, image] { finishLoading(path, generation, image); });
    });
    return {};
}

void KSTIconLoader::finishLoading(const QString &path, quint64 generation, const QImage &image)
{
    if (generation != m_generation)
        return;
    m_loading.remove(path);
    m_icons.insert(path, new QIcon(image.isNull() ? QIcon() : QIcon(QPixmap::fromImage(image))));
    Q_EMIT iconLoaded(path);
    if (m_loading.isEmpty())
        Q_EMIT idle();
}

void KSTIconLoader::clear()
{
    ++m_generation;
    m_icons.clear();
    const bool wasLoading = !m_loading.isEmpty();
    m_loading.clear();
    if (wasLoading)
        Q_EMIT idle();
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
    const QByteArray format = reader.format().toLower();
    if (format == "svg" && reader.supportsOption(QImageIOHandler::ScaledSize)) {
        QSize drawn = reader.size();
        if (drawn.isEmpty())
            drawn = QSize(preferredSize, preferredSize);
        reader.setScaledSize(drawn.scaled(preferredSize, preferredSize, Qt::KeepAspectRatio));
    } else if (format == "icns" && reader.imageCount() > 1)
        chooseIconSetEntry(reader, preferredSize);
    const QImage image = reader.read();
    // What is kept is no larger than what is drawn: a cache of full-size pictures would grow
    // by megabytes per app.
    if (image.width() > preferredSize || image.height() > preferredSize)
        return image.scaled(preferredSize, preferredSize, Qt::KeepAspectRatio,
                            Qt::SmoothTransformation);
    return image;
}
