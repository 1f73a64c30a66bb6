#include "KSTSystemReportPdfWriter.h"

#include "KSTSystemReportExport.h"
#include "KSTSystemReportSnapshot.h"

#include <QBuffer>
#include <QFont>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>

namespace {

KSTError writeError(const QString &description)
{
    return KSTError{QStringLiteral("NSCocoaErrorDomain"),
                    KSTSystemReportExport::FileWriteUnknownErrorCode,
                    description,
                    {}};
}

QFont reportFont(bool bold)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setStyleHint(QFont::SansSerif);
    font.setPointSizeF(KSTSystemReportPdfWriter::FontPoints);
    font.setWeight(bold ? QFont::Bold : QFont::Normal);
    return font;
}

} // namespace

QByteArray KSTSystemReportPdfWriter::pdfData(const KSTSystemReportSnapshot &snapshot,
                                             KSTError *error)
{
    // Without a Gui application there are no fonts to draw with.
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        if (error)
            *error = writeError(QStringLiteral("Could not create PDF."));
        return {};
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QPdfWriter writer(&buffer);
    // At 72 dots per inch one device unit is one PDF point.
    writer.setResolution(72);
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::Letter), QPageLayout::Portrait,
                                     QMarginsF(0, 0, 0, 0), QPageLayout::Point));
    writer.setCreator(QStringLiteral("Kestrel"));
    writer.setTitle(QStringLiteral("System Report"));

    QPainter painter;
    if (!painter.begin(&writer)) {
        if (error)
            *error = writeError(QStringLiteral("Could not create PDF."));
        return {};
    }
    const QFont regular = reportFont(false);
    const QFont bold = reportFont(true);
    painter.setPen(Qt::black);

    double baseline = FirstBaselinePoints; // measured from the bottom, as PDF does
    const QStringList lines = snapshot.plainTextExport().split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (baseline < LowestBaselinePoints) {
            writer.newPage();
            baseline = FirstBaselinePoints;
        }
        const bool isHeading =
            line.startsWith(QLatin1String("Kestrel")) || line.startsWith(QLatin1String("==="));
        painter.setFont(isHeading ? bold : regular);
        painter.drawText(QPointF(LeftPoints, PageHeightPoints - baseline), line);
        baseline -= LineStepPoints;
    }
    painter.end();
    return bytes;
}

bool KSTSystemReportPdfWriter::writePDFToURL(const KSTSystemReportSnapshot &snapshot,
                                             const QString &path, KSTError *error)
{
    const QByteArray bytes = pdfData(snapshot, error);
    if (bytes.isEmpty())
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        if (error)
            *error = writeError(
                QStringLiteral("%1 could not be written: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}
