// The report's records and its two exports on hand-built snapshots: the absent-value rules,
// the exact text layout, and the PDF's pages counted in the file itself.
#include "KSTSystemReportExport.h"
#include "KSTSystemReportPdfWriter.h"
#include "KSTSystemReportSnapshot.h"
#include "KSTTestSupport.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString ExportDash = QStringLiteral("\u2014");

KSTSystemReportSnapshot sampleSnapshot()
{
    KSTSystemReportSnapshot snapshot;
    snapshot.generatedAt = QDateTime(QDate(2026, 11, 14), QTime(9, 30));
    snapshot.machineTitle = QStringLiteral("Mac14,2");
    snapshot.generatedSubtitle = QStringLiteral("Generated Nov 14, 2026 · 9:30 AM · Mac14,2");
    snapshot.summaryCards = {
        KSTReportSummaryCard::summaryCard(QStringLiteral("macOS"), QStringLiteral("display"),
                                          QStringLiteral("blue"), QStringLiteral("macOS 14.5"),
                                          QStringLiteral("Build 23F79")),
        KSTReportSummaryCard::summaryCard(QStringLiteral("Chip"), QStringLiteral("cpu"),
                                          QStringLiteral("purple"), QStringLiteral("Apple M2"),
                                          QStringLiteral("8-core CPU · 10-core GPU")),
    };
    snapshot.sections = {
        {QStringLiteral("Security"),
         QStringLiteral("shield.fill"),
         QStringLiteral("emerald"),
         QString(),
         {KSTReportRow::rowWithLabel(QStringLiteral("SIP"), QStringLiteral("Enabled"), 1),
          KSTReportRow::rowWithLabel(QStringLiteral("Firewall"), QString())}},
        {QStringLiteral("Installed Applications"),
         QStringLiteral("app.fill"),
         QStringLiteral("purple"),
         QStringLiteral("42 apps"),
         {KSTReportRow::rowWithLabel(QString(), QStringLiteral("7 apps"))}},
    };
    return snapshot;
}

QString expectedGeneratedLine(const QDateTime &when)
{
    // Only the line's shape is fixed; the date words are the user's locale's.
    const QString text = KSTSystemReportSnapshot{when, {}, {}, {}, {}}.plainTextExport();
    return text.section(QLatin1Char('\n'), 1, 1);
}

// Every page object of the file (not the page tree node, "/Type /Pages").
int pageCount(const QByteArray &pdf)
{
    static const QRegularExpression page(QStringLiteral("/Type\\s*/Page(?![a-zA-Z])"));
    return int(QString::fromLatin1(pdf).count(page));
}

KSTSystemReportSnapshot snapshotWithExportLines(int lines)
{
    // The export of a snapshot without cards or sections has five pieces when split at its
    // newlines (title, date, blank, blank, the empty piece after the last newline); each row
    // of one section with an empty title adds one, and the section's title and blank line two.
    KSTSystemReportSnapshot snapshot;
    snapshot.generatedAt = QDateTime(QDate(2026, 1, 2), QTime(3, 4));
    if (lines > 5) {
        KSTReportSection section{QStringLiteral("Rows"), {}, {}, {}, {}};
        for (int index = 0; index < lines - 7; ++index)
            section.rows.append(KSTReportRow::rowWithLabel(QStringLiteral("Row %1").arg(index),
                                                           QStringLiteral("x")));
        snapshot.sections.append(section);
    }
    return snapshot;
}

} // namespace

TEST(ReportRowTest, AbsentLabelAndValueAndUnknownStyles)
{
    struct Case
    {
        QString label;
        QString value;
        qint64 style;
        QString shownLabel;
        QString shownValue;
        KSTReportRow::Style drawn;
        const char *color;
    } cases[] = {
        {QString(), QString(), 0, QString(""), ExportDash, KSTReportRow::Normal, "zinc"},
        {QStringLiteral("SIP"), QString(""), 1, QStringLiteral("SIP"), ExportDash,
         KSTReportRow::Good, "emerald"},
        {QStringLiteral("A"), QStringLiteral("b"), 2, QStringLiteral("A"), QStringLiteral("b"),
         KSTReportRow::Warning, "orange"},
        {QStringLiteral("A"), QStringLiteral("b"), 3, QStringLiteral("A"), QStringLiteral("b"),
         KSTReportRow::Critical, "rose"},
        {QStringLiteral("A"), QStringLiteral("b"), 4, QStringLiteral("A"), QStringLiteral("b"),
         KSTReportRow::Normal, "zinc"},
        {QStringLiteral("A"), QStringLiteral("b"), -1, QStringLiteral("A"), QStringLiteral("b"),
         KSTReportRow::Normal, "zinc"},
    };
    for (const Case &c : cases) {
        const KSTReportRow row = KSTReportRow::rowWithLabel(c.label, c.value, c.style);
        EXPECT_FALSE(row.label().isNull());
        EXPECT_EQ(row.label(), c.shownLabel);
        EXPECT_EQ(row.value(), c.shownValue);
        EXPECT_EQ(row.valueStyle(), c.style); // kept as given, only drawn as normal
        EXPECT_EQ(row.effectiveStyle(), c.drawn);
        EXPECT_EQ(row.styleColorName(), QLatin1String(c.color));
    }
    EXPECT_EQ(KSTReportRow::rowWithLabel(QStringLiteral("a"), QStringLiteral("b")).valueStyle(), 0);
}

TEST(SystemReportTextTest, LaysOutHeaderCardsSectionsAndRowsExactly)
{
    const KSTSystemReportSnapshot snapshot = sampleSnapshot();
    const QString expected = QStringLiteral("Kestrel 3 \u2014 System Report\n") +
                             expectedGeneratedLine(snapshot.generatedAt) +
                             QStringLiteral("\n"
                                            "Mac14,2\n"
                                            "Generated Nov 14, 2026 · "
                                            "9:30 AM · Mac14,2\n"
                                            "\n"
                                            "macOS: macOS 14.5 (Build "
                                            "23F79)\n"
                                            "Chip: Apple M2 (8-core CPU "
                                            "· 10-core GPU)\n"
                                            "\n"
                                            "=== Security ===\n"
                                            "  SIP: Enabled\n"
                                            "  Firewall: \u2014\n"
                                            "\n"
                                            "=== Installed Applications "
                                            "===\n"
                                            "42 apps\n"
                                            "  : 7 apps\n"
                                            "\n");
    EXPECT_EQ(snapshot.plainTextExport(), expected);
}

TEST(SystemReportTextTest, EmptyPartsLeaveOnlyTheirBlankLines)
{
    KSTSystemReportSnapshot snapshot;
    snapshot.generatedAt = QDateTime(QDate(2026, 11, 14), QTime(9, 30));
    const QStringList lines = snapshot.plainTextExport().split(QLatin1Char('\n'));
    // Header, date, the blank after the header block, the blank before the sections, end.
    ASSERT_EQ(lines.size(), 5);
    EXPECT_EQ(lines[0], QStringLiteral("Kestrel 3 \u2014 System Report"));
    EXPECT_TRUE(lines[1].startsWith(QLatin1String("Generated ")));
    EXPECT_TRUE(lines[1].contains(QLatin1String("2026")));
    EXPECT_EQ(lines[2], QString());
    EXPECT_EQ(lines[3], QString());
    EXPECT_EQ(lines[4], QString());

    snapshot.sections.append({QStringLiteral("S"), {}, {}, {}, {}});
    EXPECT_TRUE(snapshot.plainTextExport().endsWith(QLatin1String("\n\n=== S ===\n\n")));
}

TEST(SystemReportTextTest, NoDateMeansNow)
{
    KSTSystemReportSnapshot snapshot;
    const QString year = QString::number(QDate::currentDate().year());
    EXPECT_TRUE(snapshot.plainTextExport().section(QLatin1Char('\n'), 1, 1).contains(year));
}

TEST(SystemReportTextTest, WritesUtf8AtomicallyAndFailsWithTheWriteError)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("report.txt"));
    const KSTSystemReportSnapshot snapshot = sampleSnapshot();
    KSTError error;
    ASSERT_TRUE(KSTSystemReportExport::writeTextToPath(snapshot, path, &error));
    EXPECT_EQ(KSTTestSupport::readFile(path), snapshot.plainTextExport().toUtf8());

    const QString missing = folder.filePath(QStringLiteral("no/such/folder/report.txt"));
    EXPECT_FALSE(KSTSystemReportExport::writeTextToPath(snapshot, missing, &error));
    EXPECT_EQ(error.code, 512);
    EXPECT_TRUE(error.description.contains(missing));
    EXPECT_FALSE(QFileInfo::exists(missing));
}

TEST(SystemReportTextTest, FailureTextsFallBackPerFormat)
{
    using Export = KSTSystemReportExport;
    EXPECT_EQ(Export::failureText({}, Export::Format::Text),
              QStringLiteral("Could not write the text file."));
    EXPECT_EQ(Export::failureText({}, Export::Format::Pdf),
              QStringLiteral("Could not write the PDF file."));
    EXPECT_EQ(Export::failureText({QStringLiteral("d"), 512, QStringLiteral("Disk full"), {}},
                                  Export::Format::Pdf),
              QStringLiteral("Disk full"));
}

TEST(SystemReportPdfTest, FortyNineLinesFillOnePageTheFiftiethStartsTheNext)
{
    for (const auto &[lines, pages] : {std::pair{5, 1}, {49, 1}, {50, 2}, {98, 2}, {99, 3}}) {
        const KSTSystemReportSnapshot snapshot = snapshotWithExportLines(lines);
        ASSERT_EQ(snapshot.plainTextExport().split(QLatin1Char('\n')).size(), lines);
        KSTError error;
        const QByteArray pdf = KSTSystemReportPdfWriter::pdfData(snapshot, &error);
        ASSERT_TRUE(pdf.startsWith("%PDF-")) << lines;
        EXPECT_EQ(pageCount(pdf), pages) << lines << " lines";
    }
}

TEST(SystemReportPdfTest, PagesAreUsLetterPortrait)
{
    const QByteArray pdf = KSTSystemReportPdfWriter::pdfData(snapshotWithExportLines(50), nullptr);
    static const QRegularExpression mediaBox(
        QStringLiteral("/MediaBox\\s*\\[\\s*0\\s+0\\s+([0-9.]+)\\s+([0-9.]+)\\s*\\]"));
    auto match = mediaBox.globalMatch(QString::fromLatin1(pdf));
    int boxes = 0;
    while (match.hasNext()) {
        const QRegularExpressionMatch box = match.next();
        EXPECT_DOUBLE_EQ(box.captured(1).toDouble(), 612);
        EXPECT_DOUBLE_EQ(box.captured(2).toDouble(), 792);
        ++boxes;
    }
    EXPECT_GE(boxes, 1);
}

TEST(SystemReportPdfTest, WritesTheFileOrLeavesNothing)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("report.pdf"));
    KSTError error;
    ASSERT_TRUE(KSTSystemReportPdfWriter::writePDFToURL(sampleSnapshot(), path, &error));
    const QByteArray written = KSTTestSupport::readFile(path);
    EXPECT_TRUE(written.startsWith("%PDF-"));
    EXPECT_EQ(pageCount(written), 1);

    const QString missing = folder.filePath(QStringLiteral("gone/report.pdf"));
    EXPECT_FALSE(KSTSystemReportPdfWriter::writePDFToURL(sampleSnapshot(), missing, &error));
    EXPECT_EQ(error.code, 512);
    EXPECT_FALSE(QFileInfo::exists(missing));
}

TEST(SystemReportPdfTest, ExportGoesThroughTheInstalledWriter)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("r.pdf"));
    KSTError error;
    KSTSystemReportExport::setPdfWriter({});
    EXPECT_FALSE(KSTSystemReportExport::canWritePdf());
    EXPECT_FALSE(KSTSystemReportExport::writePdfToPath(sampleSnapshot(), path, &error));
    EXPECT_EQ(error.description, QStringLiteral("Could not create PDF."));
    EXPECT_FALSE(QFileInfo::exists(path));

    KSTSystemReportExport::setPdfWriter(&KSTSystemReportPdfWriter::writePDFToURL);
    EXPECT_TRUE(KSTSystemReportExport::writePdfToPath(sampleSnapshot(), path, &error));
    EXPECT_TRUE(KSTTestSupport::readFile(path).startsWith("%PDF-"));
    KSTSystemReportExport::setPdfWriter({});
}
