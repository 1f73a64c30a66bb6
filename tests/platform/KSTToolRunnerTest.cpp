#include "KSTToolRunner.h"

#include "KSTEnvironment.h"
#include "KSTTestSupport.h"
#include "KSTToolProcessGroups.h"

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

using namespace Qt::StringLiterals;

namespace {

// A machine root in a temporary folder whose tools are small shell scripts. Its name holds
// a space and a quote, which every run and every shell line must cope with.
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

    QString rootPath(const QString &path) const { return m_root.path() + path; }

    void addTool(const QString &path, const QByteArray &script)
    {
        const QString file = rootPath(path);
        ASSERT_TRUE(KSTTestSupport::writeFile(file, "#!/bin/sh\n" + script));
        ASSERT_EQ(::chmod(QFile::encodeName(file).constData(), 0755), 0);
    }

    QTemporaryDir m_root{QDir::tempPath() + u"/it's a root-XXXXXX"_s};
    std::unique_ptr<KSTScopedEnvironment> m_scope;
};

int openDescriptorCount()
{
    return int(QDir(u"/proc/self/fd"_s).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size());
}

// Alive means running: a zombie left to its new parent (the container's init may not reap)
// has finished all the same.
bool processIsRunning(pid_t pid)
{
    QFile stat(u"/proc/%1/stat"_s.arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype state = line.lastIndexOf(')') + 2;
    return state > 1 && state < line.size() && line.at(state) != 'Z' && line.at(state) != 'X';
}

pid_t readPid(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? pid_t(file.readAll().trimmed().toInt()) : 0;
}

TEST_F(KSTToolRunnerTest, ReportsOutputChannelsExitStatusesAndCrashes)
{
    addTool(u"/usr/bin/tool"_s, "echo out1\necho err1 >&2\necho out2\n"
                                "[ \"$1\" = crash ] && kill -SEGV $$\nexit \"$1\"\n");
    using Channels = KSTToolRunner::Channels;
    const struct
    {
        const char *argument;
        Channels channels;
        int exitCode;
        QByteArray output;
        QByteArray error;
    } rows[] = {
        {"0", Channels::Separate, 0, "out1\nout2\n", "err1\n"},
        {"0", Channels::Merged, 0, "out1\nerr1\nout2\n", ""},
        {"77", Channels::Separate, 77, "out1\nout2\n", "err1\n"},
        {"crash", Channels::Separate, -1, "out1\nout2\n", "err1\n"},
    };
    for (const auto &row : rows) {
        const KSTToolResult result = KSTToolRunner::run(
            u"/usr/bin/tool"_s, {QString::fromLatin1(row.argument)}, row.channels);
        EXPECT_TRUE(result.started);
        EXPECT_FALSE(result.timedOut);
        EXPECT_EQ(result.exitCode, row.exitCode) << row.argument;
        EXPECT_EQ(result.succeeded(), row.exitCode == 0) << row.argument;
        EXPECT_EQ(result.standardOutput, row.output) << row.argument;
        EXPECT_EQ(result.standardError, row.error) << row.argument;
    }
}

TEST_F(KSTToolRunnerTest, PassesArgumentsIntactAndClosesStandardInput)
{
    addTool(u"/usr/bin/args"_s,
            "for a in \"$@\"; do printf '[%s]\\n' \"$a\"; done\n"
            "if read line; then echo stdin-had-data; else echo stdin-empty; fi\n");
    const QStringList arguments{u"two words"_s,  u"\"double\""_s, u"'single'"_s,
                                u"$HOME;`id`"_s, QString(),       u"Grüße"_s};
    const KSTToolResult result = KSTToolRunner::run(u"/usr/bin/args"_s, arguments);
    ASSERT_TRUE(result.succeeded());
    EXPECT_EQ(QString::fromUtf8(result.standardOutput),
              u"[two words]\n[\"double\"]\n['single']\n[$HOME;`id`]\n[]\n[Grüße]\nstdin-empty\n"_s);
}

TEST_F(KSTToolRunnerTest, NeverFallsBackToTheHostsToolOfTheSameName)
{
    ASSERT_TRUE(QFile::exists(u"/bin/echo"_s));
    KSTTestSupport::writeFile(rootPath(u"/usr/bin/notexec"_s), "#!/bin/sh\necho x\n");
    for (const QString &tool : {u"/bin/echo"_s, u"/usr/bin/notexec"_s, u"echo"_s}) {
        EXPECT_TRUE(KSTToolRunner::resolvedToolPath(tool).isEmpty()) << qPrintable(tool);
        const KSTToolResult result = KSTToolRunner::run(tool, {u"hello"_s});
        EXPECT_FALSE(result.started) << qPrintable(tool);
        EXPECT_EQ(result.exitCode, -1);
        EXPECT_TRUE(result.standardOutput.isEmpty());
    }
    addTool(u"/bin/echo"_s, "echo from-the-root\n");
    EXPECT_EQ(KSTToolRunner::resolvedToolPath(u"/bin/echo"_s), rootPath(u"/bin/echo"_s));
    EXPECT_EQ(KSTToolRunner::run(u"/bin/echo"_s, {}).standardOutput, QByteArray("from-the-root\n"));
}

TEST_F(KSTToolRunnerTest, TimeOutTerminatesTheToolAndEverythingItStarted)
{
    const QString toolPidFile = rootPath(u"/tool.pid"_s);
    const QString childPidFile = rootPath(u"/child.pid"_s);
    addTool(u"/usr/bin/hang"_s,
            "echo $$ > \"$1\"\nsleep 30 &\necho $! > \"$2\"\necho started\nsleep 30\n");
    const int descriptorsBefore = openDescriptorCount();

    const KSTToolResult result = KSTToolRunner::run(u"/usr/bin/hang"_s, {toolPidFile, childPidFile},
                                                    KSTToolRunner::Channels::Separate, 300);
    EXPECT_TRUE(result.started);
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.exitCode, -1);
    EXPECT_EQ(result.standardOutput, QByteArray("started\n"));

    const pid_t tool = readPid(toolPidFile);
    const pid_t child = readPid(childPidFile);
    ASSERT_GT(tool, 0);
    ASSERT_GT(child, 0);
    // The tool was ours to reap: no zombie of it remains.
    EXPECT_FALSE(QFile::exists(u"/proc/%1"_s.arg(tool)));
    // Its background child got the signal too (it may linger briefly as a zombie of init).
    EXPECT_TRUE(KSTTestSupport::pumpUntil([child] { return !processIsRunning(child); }, 5'000));
    EXPECT_EQ(openDescriptorCount(), descriptorsBefore);

    // A shell line that times out gives nothing, not what it printed so far.
    addTool(u"/usr/bin/slow"_s, "echo partial\nsleep 30\n");
    EXPECT_TRUE(KSTToolRunner::pipeOpen(u"/usr/bin/slow"_s, {u"/usr/bin/slow"_s}, 300).isEmpty());
}

// A tool that prints without end fills no memory: past the limit it has failed and its
// whole group is ended, whichever channel it floods.
TEST_F(KSTToolRunnerTest, EndlessOutputIsCutAtTheLimitAndEndsTheTool)
{
    const QString pidFile = rootPath(u"/yes.pid"_s);
    addTool(
        u"/usr/bin/flood"_s,
        "yes > /dev/null &\necho $! > \"$1\"\nif [ \"$2\" = err ]; then yes >&2; else yes; fi\n");
    using Channels = KSTToolRunner::Channels;
    const struct
    {
        const char *channel;
        Channels channels;
        bool floodsOutput;
    } rows[] = {
        {"out", Channels::Separate, true},
        {"err", Channels::Separate, false},
        {"err", Channels::Merged, true},
    };
    constexpr qsizetype Limit = 64 * 1024;
    for (const auto &row : rows) {
        const KSTToolResult result =
            KSTToolRunner::run(u"/usr/bin/flood"_s, {pidFile, QLatin1String(row.channel)},
                               row.channels, KSTToolRunner::DefaultTimeoutMs, Limit);
        EXPECT_TRUE(result.started);
        EXPECT_TRUE(result.outputOverflowed) << row.channel;
        EXPECT_FALSE(result.timedOut);
        EXPECT_FALSE(result.succeeded());
        EXPECT_EQ(result.exitCode, -1);
        const QByteArray &flooded = row.floodsOutput ? result.standardOutput : result.standardError;
        EXPECT_EQ(flooded.size(), Limit) << row.channel;
        EXPECT_TRUE(flooded.startsWith("y\ny\n"));
        // The background flood was in the tool's group and ended with it.
        const pid_t background = readPid(pidFile);
        ASSERT_GT(background, 0);
        EXPECT_TRUE(KSTTestSupport::pumpUntil(
            [background] { return !processIsRunning(background); }, 5'000));
    }
    // The default limit holds too, and a shell line past it gives nothing.
    EXPECT_TRUE(KSTToolRunner::run(u"/usr/bin/flood"_s, {pidFile, u"out"_s}).outputOverflowed);
    EXPECT_TRUE(
        KSTToolRunner::pipeOpen(u"/usr/bin/flood "_s + pidFile + u" out"_s, {u"/usr/bin/flood"_s})
            .isEmpty());
}

// What the program's termination handlers do: every tool running on any thread is ended.
TEST_F(KSTToolRunnerTest, EndingAllToolsEndsEveryRunningOne)
{
    addTool(u"/usr/bin/hang"_s, "echo $$ > \"$1\"\nsleep 60\n");
    const QStringList pidFiles{rootPath(u"/first.pid"_s), rootPath(u"/second.pid"_s)};
    std::vector<KSTToolResult> results(2);
    std::atomic<int> finished{0};
    std::vector<std::thread> threads;
    for (int index = 0; index < 2; ++index) {
        threads.emplace_back([&results, &pidFiles, &finished, index] {
            results[size_t(index)] = KSTToolRunner::run(u"/usr/bin/hang"_s, {pidFiles.at(index)});
            ++finished;
        });
    }
    const bool bothStarted = KSTTestSupport::pumpUntil(
        [&pidFiles] { return readPid(pidFiles.at(0)) > 0 && readPid(pidFiles.at(1)) > 0; });
    // A tool can write its pid before its runner has recorded its group (the termination
    // handler waits for such spawns; a direct call does not), so ask again until both end.
    KSTTestSupport::pumpUntil([&finished] {
        KSTToolProcessGroups::endAll();
        return finished.load() == 2;
    });
    for (std::thread &thread : threads)
        thread.join();
    ASSERT_TRUE(bothStarted);
    for (const KSTToolResult &result : results) {
        EXPECT_TRUE(result.started);
        EXPECT_FALSE(result.timedOut); // ended, not left to run into its time-out
        EXPECT_FALSE(result.succeeded());
        EXPECT_EQ(result.exitCode, -1);
    }
    // A finished run is forgotten: ending all again touches nothing of it.
    addTool(u"/usr/bin/quick"_s, "echo done\n");
    EXPECT_TRUE(KSTToolRunner::run(u"/usr/bin/quick"_s, {}).succeeded());
    KSTToolProcessGroups::endAll();
}

TEST_F(KSTToolRunnerTest, TheTimeOutLimitFromTheEnvironmentOnlyShortens)
{
    const struct
    {
        const char *limit;
        int asked;
        int effective;
    } rows[] = {
        {"500", 60'000, 500},     {"500", 100, 100},    {"0", 60'000, 60'000},
        {"soon", 60'000, 60'000}, {"", 60'000, 60'000},
    };
    for (const auto &row : rows) {
        const KSTScopedEnvironmentVariable limit("KESTREL_TOOL_TIMEOUT_MS", row.limit);
        EXPECT_EQ(KSTToolRunner::effectiveTimeoutMs(row.asked), row.effective) << row.limit;
    }
    const KSTScopedEnvironmentVariable limit("KESTREL_TOOL_TIMEOUT_MS", "300");
    addTool(u"/usr/bin/hang"_s, "sleep 60\n");
    EXPECT_TRUE(KSTToolRunner::run(u"/usr/bin/hang"_s, {}).timedOut);
}

TEST_F(KSTToolRunnerTest, ReturnsWhenTheToolExitsEvenIfABackgroundChildKeepsItsOutput)
{
    const QString childPidFile = rootPath(u"/child.pid"_s);
    addTool(u"/usr/bin/daemonize"_s, "sleep 30 &\necho $! > \"$1\"\necho done\n");
    const KSTToolResult result = KSTToolRunner::run(u"/usr/bin/daemonize"_s, {childPidFile},
                                                    KSTToolRunner::Channels::Separate, 20'000);
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.standardOutput, QByteArray("done\n"));
    if (const pid_t child = readPid(childPidFile); child > 0)
        ::kill(child, SIGKILL);
}

TEST_F(KSTToolRunnerTest, PipeOpenRunsTheLineWithToolsResolvedUnderTheRoot)
{
    addTool(u"/usr/bin/tmutil"_s, "[ \"$1 $2\" = 'listlocalsnapshots /' ] || exit 2\n"
                                  "echo com.apple.TimeMachine.2024-01-01-000000.local\n"
                                  "echo com.apple.TimeMachine.2024-01-02-000000.local\n"
                                  "echo noise >&2\n");
    ASSERT_TRUE(QFile::link(u"/usr/bin/wc"_s, rootPath(u"/usr/bin/wc"_s)));
    const QStringList tools{u"/usr/bin/tmutil"_s, u"/usr/bin/wc"_s};
    // Standard error of the whole line is discarded, not mixed into the output.
    const QString line = u"/usr/bin/tmutil listlocalsnapshots / | /usr/bin/wc -l"_s;
    EXPECT_EQ(KSTToolRunner::pipeOpen(line, tools).trimmed(), QByteArray("2"));
    EXPECT_EQ(KSTToolRunner::pipeOpen(u"/usr/bin/tmutil listlocalsnapshots /"_s, tools.first(1)),
              QByteArray("com.apple.TimeMachine.2024-01-01-000000.local\n"
                         "com.apple.TimeMachine.2024-01-02-000000.local\n"));

    // A long tool path is not mistaken for a shorter one it begins with; an argument naming a
    // tool is replaced too, quoted, since the root may hold spaces.
    addTool(u"/usr/bin/tm"_s, "echo short\n");
    addTool(u"/usr/bin/tmutil"_s, "echo long \"$@\"\n");
    EXPECT_EQ(KSTToolRunner::pipeOpen(u"/usr/bin/tmutil /usr/bin/tm; /usr/bin/tm"_s,
                                      {u"/usr/bin/tm"_s, u"/usr/bin/tmutil"_s}),
              "long " + QFile::encodeName(rootPath(u"/usr/bin/tm"_s)) + "\nshort\n");
}

TEST_F(KSTToolRunnerTest, PipeOpenRunsNothingWhenAToolIsMissingOrUnlisted)
{
    const QString marker = rootPath(u"/ran"_s);
    addTool(u"/usr/bin/present"_s, "echo present\n");
    const QString touch = u"touch \""_s + marker + u"\"; "_s;
    const QStringList both{u"/usr/bin/present"_s, u"/usr/bin/absent"_s};
    // The missing tool comes after a command that would leave a trace if the line ran.
    EXPECT_TRUE(
        KSTToolRunner::pipeOpen(touch + "/usr/bin/present; /usr/bin/absent"_L1, both).isEmpty());
    // A listed tool that the line does not contain is a caller's mistake: nothing runs.
    EXPECT_TRUE(KSTToolRunner::pipeOpen(touch + "echo hi"_L1, both.first(1)).isEmpty());
    EXPECT_FALSE(QFile::exists(marker));
    // The trace itself works: a line whose tools are all there runs.
    EXPECT_EQ(KSTToolRunner::pipeOpen(touch + "/usr/bin/present"_L1, both.first(1)), "present\n");
    EXPECT_TRUE(QFile::exists(marker));
}

TEST_F(KSTToolRunnerTest, RunsFromSeveralThreadsAtOnce)
{
    addTool(u"/usr/bin/count"_s,
            "i=0\nwhile [ $i -lt 200 ]; do echo \"$1 $i\"; i=$((i+1)); done\necho \"$1\" >&2\n");
    const int descriptorsBefore = openDescriptorCount();
    constexpr int Threads = 4;
    constexpr int RunsPerThread = 5;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([t, &failures] {
            for (int run = 0; run < RunsPerThread; ++run) {
                const QByteArray tag = u"t%1r%2"_s.arg(t).arg(run).toUtf8();
                const KSTToolResult result =
                    KSTToolRunner::run(u"/usr/bin/count"_s, {QString::fromUtf8(tag)});
                QByteArray expected;
                for (int i = 0; i < 200; ++i)
                    expected += tag + ' ' + QByteArray::number(i) + '\n';
                const QByteArray piped = KSTToolRunner::pipeOpen(
                    "/usr/bin/count "_L1 + QString::fromUtf8(tag) + " | tail -n 1"_L1,
                    {u"/usr/bin/count"_s});
                if (!result.succeeded() || result.standardOutput != expected ||
                    result.standardError != tag + '\n' || piped != tag + " 199\n")
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
