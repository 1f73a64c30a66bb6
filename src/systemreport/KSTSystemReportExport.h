#pragma once

#include "KSTError.h"

#include <QString>

#include <functional>

struct KSTSystemReportSnapshot;

/// Saving a report: the plain text here, the PDF through a writer installed by the program
/// (drawing needs Qt Gui, which this library never links).
///
/// Both write atomically: the old file at the path stays whole until the new one is complete.
class KSTSystemReportExport
{
public:
    KSTSystemReportExport() = delete;

    enum class Format { Text, Pdf };

    /// "txt" or "pdf".
    static QString extension(Format format);

    /// Writes snapshot.plainTextExport() as UTF-8 to @p path. False with @p error
    /// (NSCocoaErrorDomain) when it cannot be written.
    static bool writeTextToPath(const KSTSystemReportSnapshot &snapshot, const QString &path,
                                KSTError *error);

    /// Draws the snapshot as a PDF at @p path (see KSTSystemReportPdfWriter).
    using PdfWriter =
        std::function<bool(const KSTSystemReportSnapshot &, const QString &path, KSTError *error)>;
    /// Installs the PDF writer (the program does it at start, before any export).
    static void setPdfWriter(PdfWriter writer);
    /// Whether a PDF writer is installed.
    static bool canWritePdf();
    /// Writes with the installed writer; without one, fails with "Could not create PDF.".
    static bool writePdfToPath(const KSTSystemReportSnapshot &snapshot, const QString &path,
                               KSTError *error);

    /// The text of the "Export Failed" alert: the error's description, else "Could not write
    /// the text file." or "Could not write the PDF file.".
    static QString failureText(const KSTError &error, Format format);

    /// NSFileWriteUnknownError, the code of every export failure.
    static constexpr qint64 FileWriteUnknownErrorCode = 512;
};
