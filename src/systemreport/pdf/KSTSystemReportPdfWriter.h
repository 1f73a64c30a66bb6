#pragma once

#include "KSTError.h"

#include <QByteArray>
#include <QString>

struct KSTSystemReportSnapshot;

/// The report as a PDF: its plain-text export drawn line by line on US Letter pages
/// (612 × 792 points, portrait), 11-point sans-serif, bold for lines beginning "Kestrel" or
/// "===". The first baseline is 48 points below the top edge and each line (empty ones too)
/// moves it 14 points down; a line whose baseline would be below 62 points from the bottom
/// starts a new page, so a page holds 49 lines. Lines are never wrapped or clipped.
///
/// Needs a QGuiApplication (fonts); a platform such as "offscreen" is enough.
class KSTSystemReportPdfWriter
{
public:
    KSTSystemReportPdfWriter() = delete;

    /// The PDF bytes, or empty (with @p error "Could not create PDF.", code 512) when no
    /// drawing context can be made.
    static QByteArray pdfData(const KSTSystemReportSnapshot &snapshot, KSTError *error);
    /// pdfData written atomically to @p path; false with @p error when either step fails.
    static bool writePDFToURL(const KSTSystemReportSnapshot &snapshot, const QString &path,
                              KSTError *error);

    static constexpr double PageWidthPoints = 612;
    static constexpr double PageHeightPoints = 792;
    static constexpr double LeftPoints = 48;
    static constexpr double FirstBaselinePoints = 744; ///< from the bottom edge
    static constexpr double LowestBaselinePoints = 62;
    static constexpr double LineStepPoints = 14;
    static constexpr double FontPoints = 11;
};
