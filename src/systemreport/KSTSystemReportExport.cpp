#include "KSTSystemReportExport.h"

#include "KSTSystemReportSnapshot.h"

#include <QSaveFile>

#include <mutex>

namespace {

std::mutex writerMutex;
KSTSystemReportExport::PdfWriter installedWriter;

KSTError writeError(const QString &description)
{
    return KSTError{QStringLiteral("NSCocoaErrorDomain"),
                    KSTSystemReportExport::FileWriteUnknownErrorCode,
                    description,
                    {}};
}

} // namespace

QString KSTSystemReportExport::extension(Format format)
{
    return format == Format::Pdf ? QStringLiteral("pdf") : QStringLiteral("txt");
}

bool KSTSystemReportExport::writeTextToPath(const KSTSystemReportSnapshot &snapshot,
                                            const QString &path, KSTError *error)
{
    const QByteArray bytes = snapshot.plainTextExport().toUtf8();
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        if (error)
            *error = writeError(
                QStringLiteral("%1 could not be written: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}

void KSTSystemReportExport::setPdfWriter(PdfWriter writer)
{
    const std::lock_guard lock(writerMutex);
    installedWriter = std::move(writer);
}

bool KSTSystemReportExport::canWritePdf()
{
    const std::lock_guard lock(writerMutex);
    return bool(installedWriter);
}

bool KSTSystemReportExport::writePdfToPath(const KSTSystemReportSnapshot &snapshot,
                                           const QString &path, KSTError *error)
{
    PdfWriter writer;
    {
        const std::lock_guard lock(writerMutex);
        writer = installedWriter;
    }
    if (!writer) {
        if (error)
            *error = writeError(QStringLiteral("Could not create PDF."));
        return false;
    }
    return writer(snapshot, path, error);
}

QString KSTSystemReportExport::failureText(const KSTError &error, Format format)
{
    if (!error.description.isEmpty())
        return error.description;
    return format == Format::Pdf ? QStringLiteral("Could not write the PDF file.")
                                 : QStringLiteral("Could not write the text file.");
}
