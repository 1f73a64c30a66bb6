#include "KSTToolRunner.h"

#include "KSTEnvironment.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// A machine root in a temporary folder whose tools are small shell scripts.
class KSTToolRunnerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_root.isValid());
        KSTEnvironment environment;
        environment.setRoot(m_root.path());
        environment.setHome(m_root.path());
        m_scope = std::make_unique<KSTScopedEnvironment>(environment);
    }

    void TearDown() override { m_scope.reset(); }

    QString rootPath(const QString &path) const { return m_root.path() + path; }

    void addTool(const QString &path, const QByteArray &script)
    {
        const QString file = rootPath(path);
        ASSERT_TRUE(KSTTestSupport::writeFile(file, "#!/bin/sh\n" + script));
        ASSERT_EQ(::chmod(QFile::encodeName(file).constData(), 0755), 0);
    }

    QTemporaryDir m_root;
    std::unique_ptr<KSTScopedEnvironment> m_scope;
};

int openDescriptorCount()
{
    return int(QDir(QStringLiteral("/proc/self/fd"))
                   .entryList(QDir::AllEntries | QDir::NoDotAndDotDot)
                   .size());
}

// Alive means running: a zombie left to its new parent (the container's init may not reap)
// has finished all the same.
bool processIsRunning(pid_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype afterName = line.lastIndexOf(')');
    return afterName > 0 && afterName + 2 < line.size() && line.at(afterName + 2) != 'Z' &&
           line.at(afterName + 2) != 'X';
}

pid_t readPid(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? pid_t(file.readAll().trimmed().toInt()) : 0;
}

TEST_F(KSTToolRunnerTest, KeepsChannelsApartOrMergesThem)
{
    addTool(QStringLiteral("/usr/bin/both"), "echo out1\necho err1 >&2\necho out2\n");
    const struct
    {
        KSTToolRunner::Channels channels;
        QByteArray output;
        QByteArray error;
    } rows[] = {
        {KSTToolRunner::Channels::Separate, "out1\nout2\n", "err1\n"},
        {KSTToolRunner::Channels::Merged, "out1\nerr1\nout2\n", ""},
    };
    for (const auto &row : rows) {
        const KSTToolResult result =
            KSTToolRunner::run(QStringLiteral("/usr/bin/both"), {}, row.channels);
        EXPECT_TRUE(result.succeeded());
        EXPECT_EQ(result.standardOutput, row.output);
        EXPECT_EQ(result.standardError, row.error);
    }
}

TEST_F(KSTToolRunnerTest, ReportsExitStatusesAndCrashes)
{
    addTool(QStringLiteral("/usr/bin/status"), "exit \"$1\"\n");
    addTool(QStringLiteral("/usr/bin/crash"), "kill -SEGV $$\n");
    const struct
    {
        QString tool;
        QStringList arguments;
        int exitCode;
        bool succeeded;
    } rows[] = {
        {QStringLiteral("/usr/bin/status"), {QStringLiteral("0")}, 0, true},
        {QStringLiteral("/usr/bin/status"), {QStringLiteral("1")}, 1, false},
        {QStringLiteral("/usr/bin/status"), {QStringLiteral("77")}, 77, false},
        {QStringLiteral("/usr/bin/crash"), {}, -1, false},
    };
    for (const auto &row : rows) {
        const KSTToolResult result = KSTToolRunner::run(row.tool, row.arguments);
        EXPECT_TRUE(result.started) << qPrintable(row.tool);
        EXPECT_FALSE(result.timedOut);
        EXPECT_EQ(result.exitCode, row.exitCode) << qPrintable(row.arguments.join(' '));
        EXPECT_EQ(result.succeeded(), row.succeeded);
    }
}

TEST_F(KSTToolRunnerTest, PassesArgumentsIntactAndClosesStandardInput)
{
    addTool(QStringLiteral("/usr/bin/args"),
            "for a in \"$@\"; do printf '[%s]\\n' \"$a\"; done\n"
            "if read line; then echo stdin-had-data; else echo stdin-empty; fi\n");
    const QStringList arguments{QStringLiteral("two words"),
                                QStringLiteral("\"double\""),
                                QStringLiteral("'single'"),
                                QStringLiteral("$HOME;`id`"),
                                QString(),
                                QStringLiteral("Grüße")};
    const KSTToolResult result = KSTToolRunner::run(QStringLiteral("/usr/bin/args"), arguments);
    ASSERT_TRUE(result.succeeded());
    EXPECT_EQ(QString::fromUtf8(result.standardOutput),
              QStringLiteral("[two words]\n[\"double\"]\n['single']\n[$HOME;`id`]\n[]\n"
                             "[Grüße]\nstdin-empty\n"));
}

TEST_F(KSTToolRunnerTest, NeverFallsBackToTheHostsToolOfTheSameName)
{
    ASSERT_TRUE(QFile::exists(QStringLiteral("/bin/echo")));
    ASSERT_TRUE(QFile::exists(QStringLiteral("/usr/bin/find")));
    KSTTestSupport::writeFile(rootPath(QStringLiteral("/usr/bin/notexec")), "#!/bin/sh\necho x\n");
    for (const QString &tool : {QStringLiteral("/bin/echo"), QStringLiteral("/usr/bin/find"),
                                QStringLiteral("/usr/bin/notexec"), QStringLiteral("echo")}) {
        EXPECT_TRUE(KSTToolRunner::resolvedToolPath(tool).isEmpty()) << qPrintable(tool);
        const KSTToolResult result = KSTToolRunner::run(tool, {QStringLiteral("hello")});
        EXPECT_FALSE(result.started) << qPrintable(tool);
        EXPECT_FALSE(result.succeeded());
        EXPECT_EQ(result.exitCode, -1);
        EXPECT_TRUE(result.standardOutput.isEmpty());
        EXPECT_TRUE(result.standardError.isEmpty());
    }
    addTool(QStringLiteral("/bin/echo"), "echo from-the-root\n");
    EXPECT_EQ(KSTToolRunner::resolvedToolPath(QStringLiteral("/bin/echo")),
              rootPath(QStringLiteral("/bin/echo")));
    EXPECT_EQ(KSTToolRunner::run(QStringLiteral("/bin/echo"), {}).standardOutput,
              QByteArray("from-the-root\n"));
}

TEST_F(KSTToolRunnerTest, TimeOutTerminatesTheToolAndEverythingItStarted)
{
    const QString childPidFile = rootPath(QStringLiteral("/child.pid"));
    const QString toolPidFile = rootPath(QStringLiteral("/tool.pid"));
    addTool(QStringLiteral("/usr/bin/hang"),
            "echo $$ > '" + QFile::encodeName(toolPidFile) + "'\n" + "sleep 30 &\necho $! > '" +
                QFile::encodeName(childPidFile) + "'\necho started\nsleep 30\n");
    const int descriptorsBefore = openDescriptorCount();

    const KSTToolResult result = KSTToolRunner::run(QStringLiteral("/usr/bin/hang"), {},
                                                    KSTToolRunner::Channels::Separate, 300);
    EXPECT_TRUE(result.started);
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.exitCode, -1);
    EXPECT_FALSE(result.succeeded());
    EXPECT_EQ(result.standardOutput, QByteArray("started\n"));

    const pid_t tool = readPid(toolPidFile);
    const pid_t child = readPid(childPidFile);
    ASSERT_GT(tool, 0);
    ASSERT_GT(child, 0);
    // The tool was ours to reap: no zombie of it remains.
    EXPECT_FALSE(QFile::exists(QStringLiteral("/proc/%1").arg(tool)));
    // Its background child got the signal too (it may linger briefly as a zombie of init).
    EXPECT_TRUE(KSTTestSupport::pumpUntil([child] { return !processIsRunning(child); }, 5'000));
    EXPECT_EQ(openDescriptorCount(), descriptorsBefore);
}

TEST_F(KSTToolRunnerTest, ReturnsWhenTheToolExitsEvenIfABackgroundChildKeepsItsOutput)
{
    const QString childPidFile = rootPath(QStringLiteral("/child.pid"));
    addTool(QStringLiteral("/usr/bin/daemonize"),
            "sleep 30 &\necho $! > '" + QFile::encodeName(childPidFile) + "'\necho done\n");
    const KSTToolResult result = KSTToolRunner::run(QStringLiteral("/usr/bin/daemonize"), {},
                                                    KSTToolRunner::Channels::Separate, 20'000);
    EXPECT_TRUE(result.succeeded());
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.standardOutput, QByteArray("done\n"));
    const pid_t child = readPid(childPidFile);
    if (child > 0)
        ::kill(child, SIGKILL);
}

TEST_F(KSTToolRunnerTest, PipeOpenRunsTheLineWithToolsResolvedUnderTheRoot)
{
    addTool(QStringLiteral("/usr/bin/tmutil"),
            "[ \"$1 $2\" = 'listlocalsnapshots /' ] || exit 2\n"
            "echo com.apple.TimeMachine.2024-01-01-000000.local\n"
            "echo com.apple.TimeMachine.2024-01-02-000000.local\n"
            "echo com.apple.TimeMachine.2024-01-03-000000.local\n"
            "echo noise >&2\n");
    ASSERT_TRUE(
        QFile::link(QStringLiteral("/usr/bin/wc"), rootPath(QStringLiteral("/usr/bin/wc"))));
    const QString line =
        QStringLiteral("/usr/bin/tmutil listlocalsnapshots / 2>/dev/null | /usr/bin/wc -l");
    const QStringList tools{QStringLiteral("/usr/bin/tmutil"), QStringLiteral("/usr/bin/wc")};

    EXPECT_EQ(KSTToolRunner::pipeOpen(line, tools).trimmed(), QByteArray("3"));
    // Standard error of the whole line is discarded, not mixed into the output.
    EXPECT_EQ(KSTToolRunner::pipeOpen(QStringLiteral("/usr/bin/tmutil listlocalsnapshots / | "
                                                     "/usr/bin/wc -l"),
                                      tools)
                  .trimmed(),
              QByteArray("3"));

    ASSERT_TRUE(QFile::remove(rootPath(QStringLiteral("/usr/bin/tmutil"))));
    EXPECT_TRUE(KSTToolRunner::pipeOpen(line, tools).isEmpty());
}

TEST_F(KSTToolRunnerTest, PipeOpenRunsNothingWhenAToolIsMissingOrUnlisted)
{
    const QString marker = rootPath(QStringLiteral("/ran"));
    addTool(QStringLiteral("/usr/bin/present"), "echo present\n");
    const QString touch = QStringLiteral("touch '") + marker + QStringLiteral("'; ");
    // The missing tool comes after a command that would leave a trace if the line ran.
    EXPECT_TRUE(KSTToolRunner::pipeOpen(
                    touch + QStringLiteral("/usr/bin/present; /usr/bin/absent"),
                    {QStringLiteral("/usr/bin/present"), QStringLiteral("/usr/bin/absent")})
                    .isEmpty());
    // A listed tool that the line does not contain is a caller's mistake: nothing runs.
    EXPECT_TRUE(KSTToolRunner::pipeOpen(touch + QStringLiteral("echo hi"),
                                        {QStringLiteral("/usr/bin/present")})
                    .isEmpty());
    EXPECT_FALSE(QFile::exists(marker));
}

TEST_F(KSTToolRunnerTest, PipeOpenReplacesOnlyWholeToolPaths)
{
    addTool(QStringLiteral("/usr/bin/tm"), "echo short\n");
    addTool(QStringLiteral("/usr/bin/tmutil"), "echo long \"$@\"\n");
    const QByteArray output =
        KSTToolRunner::pipeOpen(QStringLiteral("/usr/bin/tmutil /usr/bin/tm; /usr/bin/tm"),
                                {QStringLiteral("/usr/bin/tm"), QStringLiteral("/usr/bin/tmutil")});
    // The argument names a root-resolved path, quoted, since the root may hold spaces.
    EXPECT_EQ(output,
              "long " + QFile::encodeName(rootPath(QStringLiteral("/usr/bin/tm"))) + "\nshort\n");
}

TEST_F(KSTToolRunnerTest, PipeOpenGivesNothingOnTimeOut)
{
    addTool(QStringLiteral("/usr/bin/slow"), "echo partial\nsleep 30\n");
    EXPECT_TRUE(KSTToolRunner::pipeOpen(QStringLiteral("/usr/bin/slow"),
                                        {QStringLiteral("/usr/bin/slow")}, 300)
                    .isEmpty());
}

TEST_F(KSTToolRunnerTest, RootWithSpacesAndQuotes)
{
    QTemporaryDir awkward(QDir::tempPath() + QStringLiteral("/it's a root-XXXXXX"));
    ASSERT_TRUE(awkward.isValid());
    KSTEnvironment environment;
    environment.setRoot(awkward.path());
    KSTScopedEnvironment scope(environment);
    const QString tool = awkward.path() + QStringLiteral("/usr/bin/hello");
    ASSERT_TRUE(KSTTestSupport::writeFile(tool, "#!/bin/sh\necho hello \"$1\"\n"));
    ASSERT_EQ(::chmod(QFile::encodeName(tool).constData(), 0755), 0);
    EXPECT_EQ(
        KSTToolRunner::run(QStringLiteral("/usr/bin/hello"), {QStringLiteral("x")}).standardOutput,
        QByteArray("hello x\n"));
    EXPECT_EQ(KSTToolRunner::pipeOpen(QStringLiteral("/usr/bin/hello y"),
                                      {QStringLiteral("/usr/bin/hello")}),
              QByteArray("hello y\n"));
}

TEST_F(KSTToolRunnerTest, RunsFromSeveralThreadsAtOnce)
{
    addTool(QStringLiteral("/usr/bin/count"),
            "i=0\nwhile [ $i -lt 200 ]; do echo \"$1 $i\"; i=$((i+1)); done\necho \"$1\" >&2\n");
    const int descriptorsBefore = openDescriptorCount();
    constexpr int Threads = 4;
    constexpr int RunsPerThread = 8;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([t, &failures] {
            for (int run = 0; run < RunsPerThread; ++run) {
                const QString tag = QStringLiteral("t%1r%2").arg(t).arg(run);
                const KSTToolResult result =
                    KSTToolRunner::run(QStringLiteral("/usr/bin/count"), {tag});
                QByteArray expected;
                for (int i = 0; i < 200; ++i)
                    expected += tag.toUtf8() + ' ' + QByteArray::number(i) + '\n';
                if (!result.succeeded() || result.standardOutput != expected ||
                    result.standardError != tag.toUtf8() + '\n') {
                    ++failures;
                }
                const QByteArray piped = KSTToolRunner::pipeOpen(
                    QStringLiteral("/usr/bin/count %1 | tail -n 1").arg(tag),
                    {QStringLiteral("/usr/bin/count")});
                if (piped != tag.toUtf8() + " 199\n")
                    ++failures;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(openDescriptorCount(), descriptorsBefore);
}

} // namespace
