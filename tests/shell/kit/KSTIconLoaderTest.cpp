// The shared icon loader on icon files a machine may hold: images in the formats apps and
// themes use are drawn; links, FIFOs, folders, files past the cap and bytes no reader knows
// give nothing (and the generic symbol where an application icon is asked for).
#include "KSTIconLoader.h"
#include "KSTMachineTest.h"
#include "KSTTestSupport.h"

#include <QBuffer>
#include <QImageReader>
#include <QImageWriter>
#include <QPixmap>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

QByteArray encoded(const QImage &image, const char *format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    return writer.write(image) ? bytes : QByteArray();
}

QImage solid(QColor color, int side)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(color);
    return image;
}

// A Mac icon set of PNG entries: "icns", its length, then each entry's type, length, data.
QByteArray iconSet(const QList<std::pair<QByteArray, QByteArray>> &entries)
{
    const auto bigEndian = [](quint32 value) {
        QByteArray bytes(4, '\0');
        for (int index = 0; index < 4; ++index)
            bytes[index] = char(value >> (24 - 8 * index));
        return bytes;
    };
    QByteArray body;
    for (const auto &[type, data] : entries)
        body += type + bigEndian(quint32(data.size() + 8)) + data;
    return "icns" + bigEndian(quint32(body.size() + 8)) + body;
}

// The icon of @p path once the loader's read of it has ended.
QIcon loadedIcon(const QString &path)
{
    KSTIconLoader &loader = KSTIconLoader::shared();
    loader.iconForFile(path);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !loader.isLoading(path); }, 5000));
    return loader.iconForFile(path);
}

class IconLoaderTest : public KSTMachineTest
{
};

TEST_F(IconLoaderTest, ReadsImagesOnlyFromBoundedRegularFiles)
{
    const QString png = mac.writeFile("icons/red.png", encoded(solid(Qt::red, 32), "png"));
    const QString svg =
        mac.writeFile("icons/blue.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='10' "
                                        "height='10'><rect width='10' height='10' "
                                        "fill='#0000ff'/></svg>");
    mac.makeSymlink("icons/linked.png", png);
    const QString fifo = mac.path("icons/pipe.png");
    ::mkfifo(QFile::encodeName(fifo).constData(), 0644);
    const QString garbage = mac.writeFile("icons/garbage.png", QByteArray(4096, '\x7f'));
    const QString large = mac.writeFile("icons/large.png",
                                        encoded(solid(Qt::red, 8), "png") +
                                            QByteArray(int(KSTIconLoader::MaximumFileBytes), '\0'));
    const QString empty = mac.writeFile("icons/empty.png", "");

    const struct
    {
        QString path;
        QColor centre; ///< invalid when no image is expected
    } cases[] = {
        {png, Qt::red},
        {svg, Qt::blue},
        {mac.path("icons/linked.png"), {}}, // never through a link
        {fifo, {}},                         // never waited on
        {mac.path("icons"), {}},
        {garbage, {}},
        {large, {}}, // a valid image, but past the cap: never read
        {empty, {}},
        {mac.path("icons/missing.png"), {}},
        {QString(), {}},
    };
    for (const auto &row : cases) {
        const QImage image = KSTIconLoader::readImage(row.path, 64);
        EXPECT_EQ(image.isNull(), !row.centre.isValid()) << row.path.toStdString();
        if (!image.isNull()) {
            EXPECT_EQ(image.pixelColor(image.width() / 2, image.height() / 2).rgb(),
                      row.centre.rgb())
                << row.path.toStdString();
        }
        EXPECT_EQ(loadedIcon(row.path).isNull(), !row.centre.isValid()) << row.path.toStdString();
    }
    // A vector icon is drawn at the size asked for; a large picture is kept no larger.
    EXPECT_EQ(KSTIconLoader::readImage(svg, 64).size(), QSize(64, 64));
    QImage wide(1000, 500, QImage::Format_ARGB32);
    wide.fill(Qt::red);
    const QString widePng = mac.writeFile("icons/wide.png", encoded(wide, "png"));
    EXPECT_EQ(KSTIconLoader::readImage(widePng, 128).size(), QSize(128, 64));
    const QString wideSvg =
        mac.writeFile("icons/wide.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='40' "
                                        "height='20'><rect width='40' height='20' "
                                        "fill='#0000ff'/></svg>");
    EXPECT_EQ(KSTIconLoader::readImage(wideSvg, 64).size(), QSize(64, 32));
}

TEST_F(IconLoaderTest, MacIconSetsAreDrawnWhereQtHasTheirReader)
{
    if (!QImageReader::supportedImageFormats().contains("icns"))
        GTEST_SKIP() << "Qt's ICNS reader (qt6-image-formats-plugins) is not installed";
    const QByteArray icns = encoded(solid(Qt::green, 128), "icns");
    ASSERT_FALSE(icns.isEmpty());
    const QString path = mac.writeFile("Applications/A.app/Contents/Resources/A.icns", icns);
    const QImage image = KSTIconLoader::readImage(path);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.pixelColor(image.width() / 2, image.height() / 2).rgb(),
              QColor(Qt::green).rgb());

    // Of a set's pictures the one nearest the size drawn is decoded, not the largest.
    const QByteArray small = encoded(solid(Qt::blue, 32), "png");
    const QByteArray right = encoded(solid(Qt::red, 128), "png");
    const QByteArray large = encoded(solid(Qt::green, 1024), "png");
    const struct
    {
        QList<std::pair<QByteArray, QByteArray>> entries;
        int wanted;
        int width;
        QColor colour;
    } sets[] = {
        {{{"ic10", large}, {"ic07", right}, {"icp5", small}}, 128, 128, Qt::red},
        {{{"icp5", small}, {"ic07", right}, {"ic10", large}}, 128, 128, Qt::red},
        {{{"icp5", small}, {"ic07", right}}, 512, 128, Qt::red}, // none large enough: the largest
        {{{"ic10", large}, {"icp5", small}}, 16, 16, Qt::blue},  // 32 scaled down
    };
    for (const auto &set : sets) {
        const QString file =
            mac.writeFile("Applications/B.app/Contents/Resources/B.icns", iconSet(set.entries));
        const QImage chosen = KSTIconLoader::readImage(file, set.wanted);
        ASSERT_FALSE(chosen.isNull());
        EXPECT_EQ(chosen.width(), set.width) << set.wanted;
        EXPECT_EQ(chosen.pixelColor(chosen.width() / 2, chosen.height() / 2).rgb(),
                  set.colour.rgb());
    }
}

TEST_F(IconLoaderTest, ApplicationIconsFallBackToTheSymbolAndAreCached)
{
    const QString png = mac.writeFile("icons/app.png", encoded(solid(Qt::red, 32), "png"));
    KSTIconLoader &loader = KSTIconLoader::shared();
    // The window's thread never reads the file: the symbol stands in until the read has
    // ended, and then the loader says so.
    QSignalSpy loaded(&loader, &KSTIconLoader::iconLoaded);
    QSignalSpy idle(&loader, &KSTIconLoader::idle);
    EXPECT_NE(loader.applicationIcon(png).pixmap(32, 32).toImage().pixelColor(16, 16).rgb(),
              QColor(Qt::red).rgb());
    EXPECT_TRUE(loader.isLoading(png));
    ASSERT_TRUE(loaded.wait(5000));
    EXPECT_EQ(loaded.first().first().toString(), png);
    EXPECT_FALSE(loader.isLoading());
    EXPECT_EQ(idle.count(), 1);
    const QImage drawn = loader.applicationIcon(png).pixmap(32, 32).toImage();
    EXPECT_EQ(drawn.pixelColor(16, 16).rgb(), QColor(Qt::red).rgb());
    // Kept once read: the file going away does not change what is shown.
    ASSERT_TRUE(QFile::remove(png));
    EXPECT_FALSE(loader.iconForFile(png).isNull());
    loader.clear();
    EXPECT_TRUE(loadedIcon(png).isNull());

    // Without a file: the generic symbol, never an empty icon.
    for (const QString &path : {QString(), mac.path("icons/missing.png")}) {
        const QIcon icon = loader.applicationIcon(path);
        ASSERT_FALSE(icon.isNull());
        const QImage symbol = icon.pixmap(48, 48).toImage();
        EXPECT_NE(symbol.pixelColor(24, 24).rgb(), QColor(Qt::red).rgb());
    }
}

} // namespace
