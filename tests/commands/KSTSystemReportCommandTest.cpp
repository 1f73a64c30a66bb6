// `kestrel --root R report` run as the real program against a fixture Mac: the JSON snapshot,
// saving as text and PDF, never overwriting without --force, folders, and usage errors found
// before anything is collected.
#include "KSTFixtureMac.h"
#include "KSTTestSupport.h"
#include "KSTToolRunner.h"

#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

const QString Profiler = QStringLiteral("/usr/sbin/system_profiler");

// Through the tool runner rather than QProcess: QProcess starts children in a way that
// ThreadSanitizer cannot follow.
KSTProgramRun runReportCommand(const QStringList &arguments)
{
    KSTScopedEnvironment host(KSTEnvironment::hostDefault());
    const KSTToolResult result = KSTToolRunner::run(QStringLiteral(KESTREL_EXECUTABLE), arguments,
                                                    KSTToolRunner::Channels::Separate, 120'000);
    return {result.started && !result.timedOut ? result.exitCode : -1,
            QString::fromUtf8(result.standardOutput), QString::fromUtf8(result.standardError)};
}

class SystemReportCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.addRecordedTool(Profiler, QStringLiteral("system_profiler-SPHardware.apple-M3-"
                                                     "Mac15,3.txt"));
        mac.addRecordedTool(QStringLiteral("/usr/bin/csrutil"),
                            QStringLiteral("csrutil-status.enabled.drduh.txt"));
        folder = mac.homePath(QStringLiteral("Reports"));
        ASSERT_TRUE(QDir().mkpath(folder));
    }

    KSTProgramRun report(const QStringList &arguments)
    {
        return runReportCommand(QStringList{"--root", mac.root(), "report"} + arguments);
    }

    static QString todaysName(const char *extension)
    {
        return QStringLiteral("Kestrel-SystemReport-%1.%2")
            .arg(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd")),
                 QString::fromUtf8(extension));
    }

    static int pdfPages(const QByteArray &pdf)
    {
        static const QRegularExpression page(QStringLiteral("/Type\\s*/Page(?![a-zA-Z])"));
        return int(QString::fromLatin1(pdf).count(page));
    }

    KSTFixtureMac mac;
    QString folder;
};

} // namespace

TEST_F(SystemReportCommandTest, JsonIsTheSnapshotOfTheAnalysedMac)
{
    const KSTProgramRun run = report({"--json"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject root = run.json().object();
    for (const char *key :
         {"generatedAt", "machineTitle", "generatedSubtitle", "summaryCards", "sections"})
        EXPECT_TRUE(root.contains(QLatin1String(key))) << key;
    EXPECT_EQ(root.value("machineTitle").toString(), QStringLiteral("Mac15,3"));
    const QJsonArray cards = root.value("summaryCards").toArray();
    ASSERT_EQ(cards.size(), 4);
    EXPECT_EQ(cards[1].toObject().value("value").toString(), QStringLiteral("Apple M3"));
    EXPECT_EQ(cards[1].toObject().value("symbolName").toString(), QStringLiteral("cpu"));
    const QJsonArray sections = root.value("sections").toArray();
    ASSERT_EQ(sections.size(), 14);
    const QJsonObject security = sections[8].toObject();
    EXPECT_EQ(security.value("title").toString(), QStringLiteral("Security"));
    const QJsonObject sip = security.value("rows").toArray()[0].toObject();
    EXPECT_EQ(sip.value("label").toString(), QStringLiteral("SIP"));
    EXPECT_EQ(sip.value("value").toString(), QStringLiteral("Enabled"));
    EXPECT_EQ(sip.value("valueStyle").toInt(), 1);
    // The serial of the recording never appears whole.
    EXPECT_FALSE(run.out.contains(QLatin1String("Serial Number")));
    EXPECT_EQ(mac.toolCalls(Profiler).size(), 1);
}

TEST_F(SystemReportCommandTest, PrintsTheTextWithoutOutput)
{
    const KSTProgramRun run = report({});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith(QStringLiteral("Kestrel 3 \u2014 System Report\nGenerated ")));
    EXPECT_TRUE(run.out.contains(QLatin1String("\n=== Security ===\n  SIP: Enabled\n")));
    EXPECT_TRUE(run.out.endsWith(QLatin1String("\n\n")));
}

// Outside a desktop session (cron, ssh) XDG_RUNTIME_DIR is unset; the off-screen application
// the report starts must not complain about it, while Qt's real start-up warnings still show.
TEST_F(SystemReportCommandTest, NoRuntimeFolderWarningOutsideASession)
{
    KSTScopedEnvironment host(KSTEnvironment::hostDefault());
    auto run = [&](const QStringList &environment, const QStringList &arguments) {
        const KSTToolResult result = KSTToolRunner::run(
            QStringLiteral("/usr/bin/env"),
            environment +
                QStringList{QStringLiteral(KESTREL_EXECUTABLE), "--root", mac.root(), "report"} +
                arguments,
            KSTToolRunner::Channels::Separate, 120'000);
        EXPECT_TRUE(result.started && !result.timedOut);
        return std::pair{result.exitCode, QString::fromUtf8(result.standardError)};
    };
    const QString pdf = folder + QStringLiteral("/quiet.pdf");
    for (const QStringList &arguments : {QStringList{}, QStringList{"--output", pdf}}) {
        const auto [status, err] = run({"-u", "XDG_RUNTIME_DIR"}, arguments);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(err, QString()) << arguments.join(u' ').toStdString();
    }
    EXPECT_TRUE(QFileInfo(pdf).size() > 0);
    const auto [status, err] =
        run({"-u", "XDG_RUNTIME_DIR", "QT_QPA_PLATFORM=no-such-platform"}, {});
    EXPECT_NE(status, 0);
    EXPECT_TRUE(err.contains(QLatin1String("no-such-platform"))) << err.toStdString();
}

TEST_F(SystemReportCommandTest, SavesTextAndPdfAndNeverOverwritesWithoutForce)
{
    const QString text = folder + QStringLiteral("/report.txt");
    KSTProgramRun run = report({"--output", text});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, QStringLiteral("Saved %1\n").arg(text));
    const QByteArray saved = KSTTestSupport::readFile(text);
    EXPECT_TRUE(saved.startsWith("Kestrel 3 \xe2\x80\x94 System Report\n"));

    ASSERT_TRUE(KSTTestSupport::writeFile(text, "mine"));
    run = report({"--output", text});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.contains(QLatin1String("--force")));
    EXPECT_EQ(KSTTestSupport::readFile(text), QByteArray("mine"));
    run = report({"--output", text, "--force"});
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_TRUE(KSTTestSupport::readFile(text).startsWith("Kestrel 3"));

    const QString pdf = folder + QStringLiteral("/report.pdf");
    run = report({"--output", pdf, "--format", "pdf"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QByteArray drawn = KSTTestSupport::readFile(pdf);
    EXPECT_TRUE(drawn.startsWith("%PDF-"));
    // Fourteen sections and their rows take more than one page of 49 lines.
    EXPECT_GE(pdfPages(drawn), 2);
}

TEST_F(SystemReportCommandTest, AFolderGetsTodaysNameInside)
{
    KSTProgramRun run = report({"--output", folder});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QString text = folder + QLatin1Char('/') + todaysName("txt");
    EXPECT_EQ(run.out, QStringLiteral("Saved %1\n").arg(text));
    EXPECT_TRUE(KSTTestSupport::readFile(text).startsWith("Kestrel 3"));

    run = report({"--output", folder, "--format", "pdf", "--json"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QString pdf = folder + QLatin1Char('/') + todaysName("pdf");
    EXPECT_TRUE(KSTTestSupport::readFile(pdf).startsWith("%PDF-"));
    EXPECT_TRUE(run.err.contains(QStringLiteral("Saved %1\n").arg(pdf)));
    EXPECT_EQ(run.json().object().value("sections").toArray().size(), 14);

    run = report({"--output", folder, "--format", "pdf"}); // today's PDF is there now
    EXPECT_EQ(run.status, 1);
}

TEST_F(SystemReportCommandTest, AMissingFolderFailsAndWritesNothing)
{
    const QString missing = mac.homePath(QStringLiteral("Nowhere"));
    for (const QString &output :
         QStringList{missing + QStringLiteral("/r.txt"), missing + QLatin1Char('/'),
                     missing + QStringLiteral("/r.pdf")}) {
        const KSTProgramRun run = report({"--output", output});
        EXPECT_EQ(run.status, 1) << output.toStdString();
        EXPECT_FALSE(run.err.isEmpty());
        EXPECT_FALSE(QFileInfo::exists(missing));
    }
}

TEST_F(SystemReportCommandTest, BadUsageStopsBeforeCollecting)
{
    const QStringList cases[] = {
        {"--output", folder + "/r.doc"},
        {"--output", folder + "/r"},
        {"--output", folder + "/r.txt", "--format", "pdf"},
        {"--output", folder + "/r.pdf", "--format", "txt"},
        {"--output", folder, "--format", "md"},
        {"--format", "pdf"},
        {"--force"},
        {"extra"},
    };
    for (const QStringList &arguments : cases) {
        const KSTProgramRun run = report(arguments);
        EXPECT_EQ(run.status, 2) << arguments.join(' ').toStdString();
    }
    EXPECT_TRUE(mac.toolCalls(Profiler).isEmpty());
    EXPECT_TRUE(QDir(folder).isEmpty());
}
