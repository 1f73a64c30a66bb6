// The progressive fetch on a fixture Mac whose tools are scripts answering by their arguments
// with recordings of real Macs (hand-written where none exists): the rows each tool feeds, one
// profiler run, the refusal of a second fetch, a hanging tool cut at its time-out, and a cancel
// while the third stage runs.
#include "KSTSystemReportService.h"

#include "KSTMachineTest.h"
#include "KSTRecordedReportTools.h"
#include "KSTReporterEngine.h"
#include "KSTSystemInfo.h"
#include "KSTSystemReportLocations.h"
#include "KSTSystemReportModel.h"
#include "KSTSystemSnapshot.h"
#include "KSTTestSupport.h"

#include <QFileInfo>
#include <QTemporaryDir>

#include <cerrno>
#include <csignal>

namespace {

namespace L = KSTSystemReportLocations;
using Service = KSTSystemReportService;

QByteArray quoted(const QString &path)
{
    return "'" + path.toUtf8() + "'";
}

class SystemReportServiceTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        KSTReporterEngine::install(info);
        KSTRecordedReportTools::install(mac);
    }

    struct Run
    {
        QList<Service::SnapshotPtr> updates;
        QList<int> kinds;
        Service::SnapshotPtr final;
    };

    bool start(Service &service, Run &run)
    {
        return service.fetchReportProgressive(
            [&run](Service::SnapshotPtr snapshot, Service::UpdateKind kind) {
                run.updates.append(snapshot);
                run.kinds.append(kind);
            },
            [&run](Service::SnapshotPtr snapshot) { run.final = snapshot; });
    }

    static QString value(const Service::SnapshotPtr &snapshot, const char *section,
                         const char *label)
    {
        for (const KSTReportSection &candidate : snapshot->sections)
            if (candidate.title == QString::fromUtf8(section))
                for (const KSTReportRow &row : candidate.rows)
                    if (row.label() == QString::fromUtf8(label))
                        return row.value();
        return QStringLiteral("<no row>");
    }

    KSTSystemInfo info;
};

} // namespace

TEST_F(SystemReportServiceTest, FillsEveryToolRowFromTheAnalysedMac)
{
    Service service(info);
    Run run;
    ASSERT_TRUE(start(service, run));
    EXPECT_TRUE(service.scanInProgress());
    Run second;
    EXPECT_FALSE(start(service, second)); // refused while one runs, and changes nothing
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return run.final != nullptr; }, 60'000));
    KSTTestSupport::pumpFor(100);
    EXPECT_TRUE(second.updates.isEmpty());
    EXPECT_EQ(second.final, nullptr);
    EXPECT_FALSE(service.scanInProgress());
    EXPECT_EQ(service.cachedReportSnapshotIfComplete(), run.final);

    ASSERT_GE(run.updates.size(), 7); // six stages, at least one weekly answer
    for (qsizetype index = 0; index + 1 < run.kinds.size(); ++index)
        EXPECT_EQ(run.kinds[index], Service::Partial);
    EXPECT_EQ(run.kinds.last(), Service::Final);
    EXPECT_EQ(run.updates.last(), run.final);
    EXPECT_EQ(mac.toolCalls(L::SystemProfiler),
              QStringList{QStringLiteral("SPHardwareDataType SPDisplaysDataType SPMemoryDataType "
                                         "SPNVMeDataType SPUSBDataType SPThunderboltDataType "
                                         "SPiBridgeDataType")});

    const Service::SnapshotPtr &report = run.final;
    EXPECT_EQ(report->machineTitle, QStringLiteral("MacBookPro18,3"));
    EXPECT_EQ(report->summaryCards[0].detail, QStringLiteral("Build 22C65"));
    EXPECT_EQ(report->summaryCards[1].value, QStringLiteral("Apple M1 Pro"));
    EXPECT_EQ(report->summaryCards[1].detail, QStringLiteral("8-core CPU \u00b7 14-core GPU"));
    // Gatekeeper is off: not all protected, but the detail ignores Gatekeeper.
    EXPECT_EQ(report->summaryCards[3].value, QStringLiteral("Review needed"));
    EXPECT_EQ(report->summaryCards[3].detail,
              QStringLiteral("SIP \u00b7 FileVault \u00b7 Gatekeeper"));
    const struct
    {
        const char *section;
        const char *label;
        QString value;
    } rows[] = {
        {"macOS Information", "Boot mode", QStringLiteral("Normal")},
        {"macOS Information", "Secure Boot", QStringLiteral("\u2713 Full Security")},
        {"macOS Information", "SIP status", QStringLiteral("Enabled")},
        {"macOS Information", "FileVault", QStringLiteral("Enabled")},
        {"macOS Information", "Model identifier", QStringLiteral("MacBookPro18,3")},
        {"Hardware Information", "CPU", QStringLiteral("Apple M1 Pro (8-core)")},
        {"Hardware Information", "Memory", QStringLiteral("16 GB LPDDR5")},
        {"Hardware Information", "GPU", QStringLiteral("Apple M1 Pro (14-core)")},
        {"Hardware Information", "SMART status", QStringLiteral("Verified")},
        {"Storage Information", "APFS containers", QStringLiteral("1 (disk4)")},
        {"Background Services", "Running daemons", QStringLiteral("2 running")},
        {"Background Services", "User agents", QStringLiteral("1 running")},
        {"Background Services", "High CPU service", QStringLiteral("mds_stores (37%)")},
        {"Kernel & System Extensions", "Architecture", QStringLiteral("Apple Silicon")},
        {"Kernel & System Extensions", "Legacy kexts", QStringLiteral("1 third-party loaded")},
        {"Kernel & System Extensions", "System Extensions", QStringLiteral("2 active")},
        {"Security", "SIP", QStringLiteral("Enabled")},
        {"Security", "Gatekeeper", QStringLiteral("Disabled")},
        {"Security", "Firewall", QStringLiteral("Blocking all incoming")},
        {"Disk Health", "SMART \u00b7 internal", QStringLiteral("Verified")},
        {"Disk Health", "APFS health", QStringLiteral("No errors")},
        {"Network", "VPN usage", QStringLiteral("None detected")},
        {"Network", "Wi-Fi quality", QStringLiteral("Good \u00b7 -66 dBm")},
    };
    for (const auto &row : rows)
        EXPECT_EQ(value(report, row.section, row.label), row.value) << row.label;

    // The boot metrics were kept for next time.
    EXPECT_TRUE(Service::loadPreviousBootMetrics().contains(QStringLiteral("savedAt")));
}

TEST_F(SystemReportServiceTest, AHangingToolIsCutAtItsTimeOutAndItsRowsFallBack)
{
    const QString pidFile = mac.homePath(QStringLiteral("csrutil.pid"));
    mac.addToolScript(L::Csrutil, "echo $$ > " + quoted(pidFile) + "\nexec sleep 60\n");
    KSTScopedEnvironmentVariable fast("KESTREL_TOOL_TIMEOUT_MS", QByteArray("1500"));
    Service service(info);
    Run run;
    ASSERT_TRUE(start(service, run));
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return run.final != nullptr; }, 60'000));
    const pid_t pid = KSTTestSupport::readFile(pidFile).trimmed().toInt();
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(::kill(pid, 0) == -1 && errno == ESRCH) << "the hanging tool still runs";
    EXPECT_EQ(value(run.final, "Security", "SIP"), QStringLiteral("\u2014"));
    EXPECT_EQ(value(run.final, "macOS Information", "SIP status"), QStringLiteral("\u2014"));
    // SIP unknown is not SIP off; Gatekeeper's answer (off) still asks for review.
    EXPECT_EQ(run.final->summaryCards[3].detail, QStringLiteral("\u2014"));
    EXPECT_EQ(run.final->summaryCards[3].value, QStringLiteral("Review needed"));
    EXPECT_EQ(value(run.final, "Security", "FileVault"), QStringLiteral("Enabled"));
}

TEST_F(SystemReportServiceTest, ACancelInTheThirdStageEndsAllUpdates)
{
    // launchctl runs in the third stage; it says when it starts, then takes its time.
    const QString marker = mac.homePath(QStringLiteral("stage3.started"));
    mac.addToolScript(L::Launchctl, "touch " + quoted(marker) + "\nsleep 1\n");
    Service service(info);
    Run run;
    ASSERT_TRUE(start(service, run));
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return QFileInfo::exists(marker); }, 30'000));
    service.cancelProgressiveFetch();
    EXPECT_FALSE(service.scanInProgress());
    const qsizetype seen = run.updates.size();
    EXPECT_LE(seen, 2); // at most the first two stages
    KSTTestSupport::pumpFor(4000);
    EXPECT_EQ(run.updates.size(), seen);
    EXPECT_EQ(run.final, nullptr);
    EXPECT_EQ(service.cachedReportSnapshotIfComplete(), nullptr);

    // After the cancel a new fetch may start and completes.
    mac.addToolScript(L::Launchctl, "exit 0\n");
    Run again;
    ASSERT_TRUE(start(service, again));
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return again.final != nullptr; }, 60'000));
    EXPECT_EQ(run.final, nullptr);
}

TEST_F(SystemReportServiceTest, PrefillTakesTheOverviewsFigures)
{
    Service service(info);
    KSTSystemSnapshot overview;
    overview.macOSVersionLine = QStringLiteral("macOS Sonoma 14.5");
    overview.storageTotalBytes = quint64(500) << 30;
    overview.storageUsedBytes = quint64(200) << 30;
    const Service::SnapshotPtr prefilled = service.prefillSnapshotFromOverview(&overview);
    EXPECT_EQ(prefilled->summaryCards[0].value, QStringLiteral("macOS Sonoma 14.5"));
    EXPECT_EQ(prefilled->summaryCards[0].detail, QStringLiteral("Build 22C65"));
    EXPECT_EQ(prefilled->summaryCards[2].value, QStringLiteral("300 GB free"));
    EXPECT_EQ(prefilled->summaryCards[2].detail, QStringLiteral("of 500 GB total"));

    // Used beyond the total (a stale figure) leaves nothing free rather than wrapping round;
    // without a build number sw_vers' product version stands in.
    overview.storageUsedBytes = quint64(600) << 30;
    mac.addToolScript(L::SwVers, "case \"$1\" in -productVersion) echo 14.5;; esac\n");
    Service::SnapshotPtr later;
    service.prefillSnapshotFromOverviewAsync(std::make_shared<const KSTSystemSnapshot>(overview),
                                             [&later](Service::SnapshotPtr s) { later = s; });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return later != nullptr; }));
    EXPECT_EQ(later->summaryCards[2].value, QStringLiteral("0 B free"));
    EXPECT_EQ(later->summaryCards[0].detail, QStringLiteral("Build 14.5"));
}

TEST_F(SystemReportServiceTest, TheScreensModelShowsPlaceholderThenReportThenTheCache)
{
    Service service(info);
    KSTSystemReportModel model(service);
    int completed = 0;
    int updates = 0;
    QObject::connect(&model, &KSTSystemReportModel::reportCompleted, &model,
                     [&completed] { ++completed; });
    QObject::connect(&model, &KSTSystemReportModel::updateArrived, &model,
                     [&updates] { ++updates; });
    model.show();
    EXPECT_EQ(model.snapshot()->generatedSubtitle, QStringLiteral("Preparing system report\u2026"));
    EXPECT_FALSE(model.isComplete());
    model.show(); // a second visit while fetching starts nothing new
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return model.isComplete(); }, 60'000));
    EXPECT_EQ(completed, 1);
    EXPECT_GE(updates, 7); // six stages, then the weekly answers
    EXPECT_EQ(model.updateCount(), updates);
    EXPECT_EQ(model.snapshot(), service.cachedReportSnapshotIfComplete());
    EXPECT_EQ(mac.toolCalls(L::SystemProfiler).size(), 1);

    // Coming back shows the cached report at once; refresh fetches anew.
    KSTSystemReportModel again(service);
    again.show();
    EXPECT_TRUE(again.isComplete());
    EXPECT_EQ(again.snapshot(), model.snapshot());
    const int firstFetchUpdates = updates;
    model.refresh();
    EXPECT_FALSE(model.isComplete());
    EXPECT_EQ(model.updateCount(), 0); // counted afresh for each fetch
    EXPECT_EQ(service.cachedReportSnapshotIfComplete(), nullptr);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return !model.isFetching(); }, 60'000));
    EXPECT_TRUE(model.isComplete());
    EXPECT_EQ(model.updateCount(), updates - firstFetchUpdates);
    EXPECT_EQ(mac.toolCalls(L::SystemProfiler).size(), 2);

    QTemporaryDir folder;
    using Format = KSTSystemReportExport::Format;
    const QString name = KSTSystemReportModel::suggestedFileName(Format::Text, QDate(2026, 11, 14));
    EXPECT_EQ(name, QStringLiteral("Kestrel-SystemReport-2026-11-14.txt"));
    EXPECT_EQ(model.exportToPath(folder.filePath(name), Format::Text), std::nullopt) << "";
    EXPECT_EQ(KSTTestSupport::readFile(folder.filePath(name)),
              model.snapshot()->plainTextExport().toUtf8());
    const std::optional<QString> failure =
        model.exportToPath(folder.filePath(QStringLiteral("gone/r.txt")), Format::Text);
    ASSERT_TRUE(failure.has_value());
    EXPECT_TRUE(failure->contains(QLatin1String("gone/r.txt")));
}

TEST(SystemReportModelExportNames, OnlyTheFormatsOwnExtension)
{
    using Format = KSTSystemReportExport::Format;
    struct Case
    {
        const char *chosen;
        Format format;
        const char *expected; // nullptr: refused
    };
    const Case cases[] = {
        {"/a/report.txt", Format::Text, "/a/report.txt"},
        {"/a/report.PDF", Format::Pdf, "/a/report.PDF"},
        {"/a/report", Format::Pdf, "/a/report.pdf"},
        {"/a/report.", Format::Text, "/a/report.txt"},
        {"/a/txt", Format::Text, "/a/txt.txt"},
        {"/a.pdf/report", Format::Text, "/a.pdf/report.txt"}, // a folder's dot is no extension
        {"/a/report.txt", Format::Pdf, nullptr},
        {"/a/report.pdf", Format::Text, nullptr},
        {"/a/report.txt.md", Format::Text, nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.chosen);
        QString refusal;
        const std::optional<QString> path = KSTSystemReportModel::exportPathForChosenName(
            QString::fromUtf8(c.chosen), c.format, &refusal);
        if (c.expected) {
            EXPECT_EQ(path, std::optional<QString>(QString::fromUtf8(c.expected)));
            EXPECT_TRUE(refusal.isEmpty());
        } else {
            EXPECT_EQ(path, std::nullopt);
            const QString own = KSTSystemReportExport::extension(c.format);
            EXPECT_TRUE(refusal.contains(QStringLiteral("\u201c.%1\u201d").arg(own)))
                << refusal.toStdString();
        }
    }
    EXPECT_EQ(KSTSystemReportModel::formatForExtension(QStringLiteral("pdf")), Format::Pdf);
    EXPECT_EQ(KSTSystemReportModel::formatForExtension(QStringLiteral("txt")), Format::Text);
    EXPECT_EQ(KSTSystemReportModel::formatForExtension(QStringLiteral("TXT")), std::nullopt);
    EXPECT_EQ(KSTSystemReportModel::formatForExtension(QString()), std::nullopt);
}
