#include "KSTSymbolImage.h"

#include <QFile>
#include <QHash>
#include <QPainter>
#include <QSvgRenderer>

#include <utility>

namespace {

// Symbol name → icon file in :/icons. Keep resources/icons/README.md in step.
const QList<std::pair<QString, QString>> &symbolTable()
{
    static const QList<std::pair<QString, QString>> table = {
        // Sidebar
        {QStringLiteral("gauge.with.dots.needle.67percent"), QStringLiteral("gauge")},
        {QStringLiteral("chart.line.uptrend.xyaxis"), QStringLiteral("chart-line")},
        {QStringLiteral("sparkles"), QStringLiteral("sparkles")},
        {QStringLiteral("doc.on.doc.fill"), QStringLiteral("copy")},
        {QStringLiteral("gearshape.2.fill"), QStringLiteral("cog")},
        {QStringLiteral("square.grid.2x2.fill"), QStringLiteral("layout-grid")},
        {QStringLiteral("wrench.and.screwdriver.fill"), QStringLiteral("wrench")},
        {QStringLiteral("circle"), QStringLiteral("circle")},
        {QStringLiteral("shield.fill"), QStringLiteral("shield-check")},
        // Auto Clean rules
        {QStringLiteral("arrow.down.circle.fill"), QStringLiteral("circle-arrow-down")},
        {QStringLiteral("trash.fill"), QStringLiteral("trash-2")},
        {QStringLiteral("photo.fill"), QStringLiteral("image")},
        {QStringLiteral("globe"), QStringLiteral("globe")},
        {QStringLiteral("doc.text.fill"), QStringLiteral("file-text")},
        {QStringLiteral("archivebox.fill"), QStringLiteral("archive")},
        // Overview
        {QStringLiteral("laptopcomputer"), QStringLiteral("laptop")},
        {QStringLiteral("clock"), QStringLiteral("clock")},
        {QStringLiteral("battery.100"), QStringLiteral("battery")},
        {QStringLiteral("internaldrive"), QStringLiteral("hard-drive")},
        {QStringLiteral("memorychip"), QStringLiteral("memory-stick")},
        {QStringLiteral("cpu"), QStringLiteral("cpu")},
        {QStringLiteral("wifi"), QStringLiteral("wifi")},
        {QStringLiteral("arrow.down"), QStringLiteral("arrow-down")},
        {QStringLiteral("arrow.up"), QStringLiteral("arrow-up")},
        {QStringLiteral("app"), QStringLiteral("app-window")},
        {QStringLiteral("chevron.right"), QStringLiteral("chevron-right")},
        // Full Disk Access and Auto Clean
        {QStringLiteral("lock.shield"), QStringLiteral("shield-alert")},
        {QStringLiteral("folder"), QStringLiteral("folder")},
        {QStringLiteral("xmark"), QStringLiteral("x")},
        {QStringLiteral("calendar"), QStringLiteral("calendar")},
        // Clean Up
        {QStringLiteral("folder.badge.gearshape"), QStringLiteral("folder-cog")},
        {QStringLiteral("square.stack.3d.up.fill"), QStringLiteral("layers")},
        {QStringLiteral("shippingbox.fill"), QStringLiteral("package-open")},
        {QStringLiteral("checkmark"), QStringLiteral("check")},
        {QStringLiteral("minus"), QStringLiteral("minus")},
        {QStringLiteral("chevron.down"), QStringLiteral("chevron-down")},
        {QStringLiteral("photo"), QStringLiteral("image")},
        {QStringLiteral("photo.on.rectangle"), QStringLiteral("images")},
        {QStringLiteral("film"), QStringLiteral("film")},
        {QStringLiteral("music.note"), QStringLiteral("music")},
        {QStringLiteral("doc.zipper"), QStringLiteral("file-archive")},
        {QStringLiteral("doc"), QStringLiteral("file")},
        {QStringLiteral("folder.badge.plus"), QStringLiteral("folder-plus")},
        // The System Report's sections and cards.
        {QStringLiteral("apple.logo"), QStringLiteral("laptop")},
        {QStringLiteral("app.fill"), QStringLiteral("app-window")},
        {QStringLiteral("cpu.fill"), QStringLiteral("cpu")},
        {QStringLiteral("display"), QStringLiteral("laptop")},
        {QStringLiteral("exclamationmark.triangle.fill"), QStringLiteral("shield-alert")},
        {QStringLiteral("externaldrive.fill"), QStringLiteral("hard-drive")},
        {QStringLiteral("heart.fill"), QStringLiteral("gauge")},
        {QStringLiteral("memorychip.fill"), QStringLiteral("memory-stick")},
        {QStringLiteral("power.circle"), QStringLiteral("battery")},
        {QStringLiteral("puzzlepiece.extension.fill"), QStringLiteral("layers")},
        {QStringLiteral("stopwatch.fill"), QStringLiteral("clock")},
    };
    return table;
}

QString iconPath(const QString &file)
{
    return QStringLiteral(":/icons/") + file + QStringLiteral(".svg");
}

} // namespace

QStringList KSTSymbolImage::knownSymbolNames()
{
    QStringList names;
    for (const auto &[symbol, file] : symbolTable())
        names << symbol;
    return names;
}

QString KSTSymbolImage::resourcePathForSymbol(const QString &symbolName)
{
    for (const auto &[symbol, file] : symbolTable()) {
        if (symbol == symbolName)
            return iconPath(file);
    }
    return iconPath(QStringLiteral("circle"));
}

QByteArray KSTSymbolImage::recoloredSvg(const QString &symbolName, const QColor &color)
{
    QFile file(resourcePathForSymbol(symbolName));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray svg = file.readAll();
    svg.replace("currentColor", color.name(QColor::HexRgb).toLatin1());
    return svg;
}

QPixmap KSTSymbolImage::pixmap(const QString &symbolName, const QColor &color, int logicalSize,
                               qreal devicePixelRatio)
{
    static QHash<QString, QPixmap> cache;
    const QString key = symbolName + QLatin1Char('|') + color.name(QColor::HexArgb) +
                        QLatin1Char('|') + QString::number(logicalSize) + QLatin1Char('|') +
                        QString::number(devicePixelRatio);
    if (const auto found = cache.constFind(key); found != cache.constEnd())
        return *found;

    const int pixels = qMax(1, qRound(logicalSize * devicePixelRatio));
    QPixmap image(pixels, pixels);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(recoloredSvg(symbolName, color));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    // The icons draw their lines at full opacity; a translucent colour fades the whole glyph.
    painter.setOpacity(color.alphaF());
    renderer.render(&painter, QRectF(0, 0, pixels, pixels));
    painter.end();
    image.setDevicePixelRatio(devicePixelRatio);
    cache.insert(key, image);
    return image;
}

QIcon KSTSymbolImage::applicationIcon()
{
    return QIcon(iconPath(QStringLiteral("kestrel-app")));
}
