// The System Report screen on fixture Macs, driving the real report service: the placeholder
// at once, then the final report with its cards, sections and coloured values; export through
// the save dialog's answer, limited to the format's extension, and the failure alert; the
// fetch that goes on while the screen is away; the window opening it from the Reporter and the
// Overview, and its back control.
#include "KSTShellTestFixture.h"

#include "KSTContentShellViewController.h"
#include "KSTObjectLookup.h"
#include "KSTPalette.h"
#include "KSTReporterEngine.h"
#include "KSTSidebarViewController.h"
#include "KSTSystemReportLocations.h"
#include "KSTSystemReportScreen.h"
#include "KSTSystemReportService.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QSet>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

using KSTObjectLookup::childNamed;
using KSTObjectLookup::textNamed;
using Format = KSTSystemReportExport::Format;
namespace L = KSTSystemReportLocations;

const QString Loading = QStringLiteral("Loading\u2026");
constexpr int FetchTimeoutMs = 60'000;

struct SaveRequest
{
    QString title;
    QString fileName;
    QString extension;
};

struct Alert
{
    QString title;
    QString text;
};

class SystemReportScreenTest : public ShellTest
{
protected:
    void SetUp() override
    {
        ShellTest::SetUp();
        grantFullDiskAccess();
        KSTReporterEngine::install(systemInfo);
        // Security states that give the report rows of every colour.
        mac.addToolScript(L::Csrutil, "echo 'System Integrity Protection status: enabled.'\n");
        mac.addToolScript(L::Spctl, "echo 'assessments disabled'\n");
        mac.addToolScript(L::Fdesetup, "echo 'FileVault is Off.'\n");
        mac.addToolScript(L::SystemProfiler,
                          "printf 'Hardware:\\n\\n    Model Name: MacBook Air\\n'\n");
        service = std::make_unique<KSTSystemReportService>(systemInfo);
    }

    void TearDown() override
    {
        service->cancelProgressiveFetch();
        screen.reset();
        service.reset();
        KSTTestSupport::pumpFor(20);
        ShellTest::TearDown();
    }

    KSTSystemReportScreen *makeScreen()
    {
        screen = std::make_unique<KSTSystemReportScreen>(*service);
        screen->resize(1200, 800);
        screen->setExportPresenters(
            [this](QWidget *, const QString &title, const QString &fileName,
                   const QString &extension) {
                saveRequests.append({title, fileName, extension});
                return savePathAnswer;
            },
            [this](QWidget *, const QString &title, const QString &text) {
                alerts.append({title, text});
            });
        return screen.get();
    }

    bool waitForFinal(KSTSystemReportScreen *shown)
    {
        return KSTTestSupport::pumpUntil([shown] { return shown->isContentReady(); },
                                         FetchTimeoutMs);
    }

    static QList<QLabel *> valueLabels(const QWidget *root)
    {
        return root->findChildren<QLabel *>(QStringLiteral("rowValue"));
    }

    KSTShellEngines enginesWithReport()
    {
        KSTShellEngines result = engines();
        result.systemReportService = service.get();
        return result;
    }

    std::unique_ptr<KSTSystemReportService> service;
    std::unique_ptr<KSTSystemReportScreen> screen;
    QString savePathAnswer;
    QList<SaveRequest> saveRequests;
    QList<Alert> alerts;
};

} // namespace

TEST_F(SystemReportScreenTest, ShowsThePlaceholderAtOnceThenTheFinalReport)
{
    KSTSystemReportScreen *shown = makeScreen();
    QSignalSpy ready(shown, &KSTToolScreen::contentReady);
    shown->show();

    // Nothing has been delivered yet: the placeholder, every value still loading.
    EXPECT_FALSE(shown->isContentReady());
    EXPECT_EQ(textNamed<QLabel>(shown, QStringLiteral("reportSubtitle")),
              QStringLiteral("Preparing system report\u2026"));
    const QList<QLabel *> waiting = valueLabels(shown);
    ASSERT_FALSE(waiting.isEmpty());
    for (const QLabel *value : waiting)
        EXPECT_EQ(value->text(), Loading);
    EXPECT_EQ(shown->findChildren<QWidget *>(QStringLiteral("summaryCard")).size(), 4);
    EXPECT_EQ(shown->findChildren<QWidget *>(QStringLiteral("reportSection")).size(), 14);

    ASSERT_TRUE(waitForFinal(shown));
    EXPECT_EQ(ready.count(), 1);
    const KSTSystemReportService::SnapshotPtr final = service->cachedReportSnapshotIfComplete();
    ASSERT_NE(final, nullptr);
    EXPECT_EQ(textNamed<QLabel>(shown, QStringLiteral("reportMachineTitle")), final->machineTitle);
    EXPECT_EQ(textNamed<QLabel>(shown, QStringLiteral("reportSubtitle")), final->generatedSubtitle);

    // What is shown is the final report, card by card and row by row, in order.
    const QList<QLabel *> cardValues =
        shown->findChildren<QLabel *>(QStringLiteral("summaryCardValue"));
    ASSERT_EQ(cardValues.size(), final->summaryCards.size());
    for (int i = 0; i < cardValues.size(); ++i)
        EXPECT_EQ(cardValues.at(i)->text(), final->summaryCards.at(i).value);
    const QList<QLabel *> titles = shown->findChildren<QLabel *>(QStringLiteral("sectionTitle"));
    ASSERT_EQ(titles.size(), final->sections.size());
    QStringList expectedValues;
    for (int i = 0; i < titles.size(); ++i) {
        EXPECT_EQ(titles.at(i)->text(), final->sections.at(i).title);
        for (const KSTReportRow &row : final->sections.at(i).rows)
            expectedValues << row.value();
    }
    QStringList shownValues;
    for (const QLabel *value : valueLabels(shown))
        shownValues << value->text();
    EXPECT_EQ(shownValues, expectedValues);
    EXPECT_FALSE(shownValues.contains(Loading));
}

class SystemReportStyleTest : public SystemReportScreenTest,
                              public ::testing::WithParamInterface<KSTPalette::Appearance>
{
};

TEST_P(SystemReportStyleTest, ValuesTakeTheirStylesColour)
{
    KSTPalette::setAppearance(GetParam());
    KSTSystemReportScreen *shown = makeScreen();
    shown->show();
    ASSERT_TRUE(waitForFinal(shown));
    const KSTSystemReportService::SnapshotPtr final = service->cachedReportSnapshotIfComplete();
    QList<KSTReportRow> rows;
    for (const KSTReportSection &section : final->sections)
        rows << section.rows;
    const QList<QLabel *> values = valueLabels(shown);
    ASSERT_EQ(values.size(), rows.size());

    QSet<int> stylesSeen;
    const QColor normal = childNamed<QLabel>(shown, QStringLiteral("reportSubtitle"))
                              ->palette()
                              .color(QPalette::WindowText);
    for (int i = 0; i < values.size(); ++i) {
        QLabel *value = values.at(i);
        value->ensurePolished();
        const KSTReportRow &row = rows.at(i);
        stylesSeen.insert(int(row.effectiveStyle()));
        const QColor drawn = value->palette().color(QPalette::WindowText);
        if (row.effectiveStyle() == KSTReportRow::Normal) {
            for (const char *hint : {"emerald", "orange", "rose"})
                EXPECT_NE(drawn, KSTPalette::color(QLatin1String(hint)))
                    << row.label().toStdString();
        } else {
            EXPECT_EQ(drawn, KSTPalette::color(row.styleColorName())) << row.label().toStdString();
        }
    }
    EXPECT_NE(normal, QColor());
    // The fixture's security states make good, warning and critical rows.
    EXPECT_TRUE(stylesSeen.contains(KSTReportRow::Good));
    EXPECT_TRUE(stylesSeen.contains(KSTReportRow::Critical) ||
                stylesSeen.contains(KSTReportRow::Warning));
    KSTPalette::setAppearance(KSTPalette::Appearance::System);
}

INSTANTIATE_TEST_SUITE_P(Appearances, SystemReportStyleTest,
                         ::testing::Values(KSTPalette::Appearance::Light,
                                           KSTPalette::Appearance::Dark));

TEST_F(SystemReportScreenTest, ExportsTextAtTheChosenPathWithItsOneExtension)
{
    KSTSystemReportScreen *shown = makeScreen();
    shown->show();
    ASSERT_TRUE(waitForFinal(shown));
    const QByteArray expected =
        service->cachedReportSnapshotIfComplete()->plainTextExport().toUtf8();
    QTemporaryDir folder;

    struct Case
    {
        const char *answer;
        const char *written; // nullptr: refused in the alert
        const char *notWritten;
    };
    // Which names are taken or refused is the model's; here one of each reaches the disk.
    const Case cases[] = {
        {"report", "report.txt", "report"},
        {"report.pdf", nullptr, "report.pdf"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.answer);
        alerts.clear();
        savePathAnswer = folder.filePath(QLatin1String(c.answer));
        QTest::mouseClick(childNamed<QPushButton>(shown, QStringLiteral("exportTextButton")),
                          Qt::LeftButton);
        if (c.written) {
            EXPECT_EQ(KSTTestSupport::readFile(folder.filePath(QLatin1String(c.written))),
                      expected);
            EXPECT_TRUE(alerts.isEmpty());
        } else {
            ASSERT_EQ(alerts.size(), 1);
            EXPECT_EQ(alerts.first().title, QStringLiteral("Export Failed"));
            EXPECT_TRUE(alerts.first().text.contains(QStringLiteral("\u201c.txt\u201d")))
                << alerts.first().text.toStdString();
        }
        if (c.notWritten) {
            EXPECT_FALSE(QFile::exists(folder.filePath(QLatin1String(c.notWritten))));
        }
    }
    alerts.clear();
    ASSERT_EQ(saveRequests.size(), 2);
    const QString today = QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"));
    EXPECT_EQ(saveRequests.first().title, QStringLiteral("Export System Report"));
    EXPECT_EQ(saveRequests.first().fileName,
              QStringLiteral("Kestrel-SystemReport-%1.txt").arg(today));
    EXPECT_EQ(saveRequests.first().extension, QStringLiteral("txt"));

    // The PDF export proposes its own name and extension; cancelling writes nothing.
    savePathAnswer.clear();
    const QStringList before = QDir(folder.path()).entryList(QDir::Files);
    QTest::mouseClick(childNamed<QPushButton>(shown, QStringLiteral("exportPdfButton")),
                      Qt::LeftButton);
    ASSERT_EQ(saveRequests.size(), 3);
    EXPECT_EQ(saveRequests.last().fileName,
              QStringLiteral("Kestrel-SystemReport-%1.pdf").arg(today));
    EXPECT_EQ(saveRequests.last().extension, QStringLiteral("pdf"));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), before);
    EXPECT_TRUE(alerts.isEmpty());
}

TEST_F(SystemReportScreenTest, ExportsThePdfOfTheReportShownThroughTheInstalledWriter)
{
    KSTSystemReportScreen *shown = makeScreen();
    shown->show();
    ASSERT_TRUE(waitForFinal(shown));
    const KSTSystemReportService::SnapshotPtr final = service->cachedReportSnapshotIfComplete();
    QStringList paths;
    QString written;
    bool succeed = true;
    KSTSystemReportExport::setPdfWriter(
        [&](const KSTSystemReportSnapshot &snapshot, const QString &path, KSTError *error) {
            paths << path;
            written = snapshot.plainTextExport();
            if (!succeed && error) {
                error->domain = QStringLiteral("NSCocoaErrorDomain");
                error->code = KSTSystemReportExport::FileWriteUnknownErrorCode;
                error->description = QStringLiteral("The disk is full.");
            }
            return succeed;
        });
    // The writer is the program's; nothing of this test's may stay installed.
    struct WriterReset
    {
        ~WriterReset() { KSTSystemReportExport::setPdfWriter({}); }
    } reset;
    savePathAnswer = QStringLiteral("/somewhere/report");
    shown->exportReport(Format::Pdf);
    // A name with the text extension never reaches the writer.
    savePathAnswer = QStringLiteral("/somewhere/report.txt");
    shown->exportReport(Format::Pdf);
    ASSERT_EQ(alerts.size(), 1);
    EXPECT_TRUE(alerts.first().text.contains(QStringLiteral("\u201c.pdf\u201d")));
    alerts.clear();
    // A failing writer's description is the alert's text.
    savePathAnswer = QStringLiteral("/somewhere/other.PDF");
    succeed = false;
    shown->exportReport(Format::Pdf);

    EXPECT_EQ(paths, QStringList({QStringLiteral("/somewhere/report.pdf"),
                                  QStringLiteral("/somewhere/other.PDF")}));
    EXPECT_EQ(written, final->plainTextExport());
    ASSERT_EQ(alerts.size(), 1);
    EXPECT_EQ(alerts.first().title, QStringLiteral("Export Failed"));
    EXPECT_EQ(alerts.first().text, QStringLiteral("The disk is full."));
}

TEST_F(SystemReportScreenTest, TheFetchGoesOnWhileHiddenAndTheCachedReportShowsOnReturn)
{
    KSTSystemReportScreen *shown = makeScreen();
    shown->show();
    shown->hide();
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [this] { return service->cachedReportSnapshotIfComplete() != nullptr; }, FetchTimeoutMs));
    // The fetch ends while the screen is away (Refresh is off until it has).
    QPushButton *refresh = childNamed<QPushButton>(shown, QStringLiteral("refreshButton"));
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [shown, refresh] { return shown->isContentReady() && refresh->isEnabled(); },
        FetchTimeoutMs));
    EXPECT_FALSE(shown->isVisible());
    const int profilerRuns = mac.toolCalls(L::SystemProfiler).size();
    shown->show();
    EXPECT_TRUE(shown->isContentReady());
    EXPECT_NE(textNamed<QLabel>(shown, QStringLiteral("reportSubtitle")),
              QStringLiteral("Preparing system report\u2026"));
    KSTTestSupport::pumpFor(50);
    EXPECT_EQ(mac.toolCalls(L::SystemProfiler).size(), profilerRuns);

    // Refresh drops the cache and fetches anew.
    QTest::mouseClick(refresh, Qt::LeftButton);
    EXPECT_FALSE(shown->isContentReady());
    EXPECT_FALSE(refresh->isEnabled());
    EXPECT_EQ(service->cachedReportSnapshotIfComplete(), nullptr);
    ASSERT_TRUE(waitForFinal(shown));
    EXPECT_EQ(mac.toolCalls(L::SystemProfiler).size(), profilerRuns + 1);
}

// Where the report is opened from, and the screen its back control returns to.
struct Opening
{
    const char *name;
    int section;
    const char *buttonName;
};

class SystemReportWindowTest : public SystemReportScreenTest,
                               public ::testing::WithParamInterface<Opening>
{
};

TEST_P(SystemReportWindowTest, OpensInTheContentShellAndGoesBack)
{
    const Opening opening = GetParam();
    auto controller = std::make_unique<KSTMainWindowController>(enginesWithReport());
    controller->showWindow();
    controller->sidebar()->selectSection(opening.section);
    controller->showSection(opening.section);
    KSTToolScreen *from = controller->screenForSection(opening.section);
    ASSERT_EQ(controller->currentShell()->childController(), from);

    QTest::mouseClick(childNamed<QPushButton>(from, QLatin1String(opening.buttonName)),
                      Qt::LeftButton);
    KSTSystemReportScreen *report = controller->systemReportScreen();
    ASSERT_NE(report, nullptr);
    ASSERT_NE(controller->currentShell(), nullptr);
    EXPECT_EQ(controller->currentShell()->childController(), report);
    EXPECT_EQ(controller->currentShell()->toolbarTitle(), QStringLiteral("System Report"));
    EXPECT_TRUE(report->isVisible());

    QTest::mouseClick(childNamed<QPushButton>(report, QStringLiteral("backButton")),
                      Qt::LeftButton);
    EXPECT_EQ(controller->currentShell()->childController(), from);
    EXPECT_EQ(controller->currentSection(), opening.section);
    EXPECT_FALSE(report->isVisible());
    // Leaving mid-fetch does not stop it.
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [this] { return service->cachedReportSnapshotIfComplete() != nullptr; }, FetchTimeoutMs));
    controller.reset();
}

INSTANTIATE_TEST_SUITE_P(
    From, SystemReportWindowTest,
    ::testing::Values(Opening{"Reporter", Section::Reporter, "systemReportButton"},
                      Opening{"Overview", Section::Overview, "shortcutSystemReport"}),
    [](const ::testing::TestParamInfo<Opening> &info) { return std::string(info.param.name); });
