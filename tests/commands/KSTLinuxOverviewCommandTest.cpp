// `kestrel --root R --layout linux overview` run as the real program against the fixture
// Debian desktop: its applications, their payloads and the machine's own description.
#include "KSTDebianDesktop.h"
#include "KSTFixtureLinux.h"
#include "KSTTestSupport.h"
#include "KSTToolRunner.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

KSTProgramRun runProgram(const QStringList &arguments)
{
    KSTScopedEnvironment host(KSTEnvironment::hostDefault());
    const KSTToolResult result = KSTToolRunner::run(QStringLiteral(KESTREL_EXECUTABLE), arguments,
                                                    KSTToolRunner::Channels::Separate, 120'000);
    return {result.started && !result.timedOut ? result.exitCode : -1,
            QString::fromUtf8(result.standardOutput), QString::fromUtf8(result.standardError)};
}

qint64 allocatedBelow(const QString &path)
{
    if (QFileInfo(path).isFile())
        return qint64(KSTTestSupport::allocatedBytesOf(path));
    qint64 total = 0;
    QDirIterator it(path, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        total += qint64(KSTTestSupport::allocatedBytesOf(it.next()));
    return total;
}

TEST(KSTLinuxOverviewCommandTest, JsonListsTheDesktopsApplicationsAndVersion)
{
    KSTFixtureLinux machine;
    ASSERT_TRUE(machine.isValid());
    QList<QPair<qint64, QString>> expected; // size, name
    for (const KSTDebianDesktop::VisibleApp &app : KSTDebianDesktop::populate(machine))
        expected.append({app.installedSizeKiB > 0 ? app.installedSizeKiB * 1024
                                                  : allocatedBelow(app.payloadPath),
                         app.name});
    std::sort(expected.begin(), expected.end(),
              [](const auto &a, const auto &b) { return a.first > b.first; });
    qint64 applicationBytes = 0; // every visible application has its own payload here
    for (const auto &[size, name] : std::as_const(expected))
        applicationBytes += size;

    const KSTProgramRun run =
        runProgram({"--root", machine.root(), "--layout", "linux", "overview", "--json"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject snapshot = run.json().object();
    EXPECT_EQ(snapshot.value("installedAppCount").toInteger(), 10);
    EXPECT_EQ(snapshot.value("macOSVersionLine").toString(), u"Debian GNU/Linux 12 (bookworm)"_s);
    EXPECT_EQ(snapshot.value("machineTitle").toString(),
              u"XPS 13 9320 · 12th Gen Intel(R) Core(TM) i7-1260P"_s);
    const QJsonArray top = snapshot.value("topApps").toArray();
    ASSERT_EQ(top.size(), 5);
    for (qsizetype index = 0; index < 5; ++index) {
        const QJsonObject app = top[index].toObject();
        EXPECT_EQ(app.value("name").toString(), expected[index].second) << index;
        EXPECT_EQ(app.value("sizeBytes").toInteger(), expected[index].first) << index;
        EXPECT_TRUE(app.value("bundlePath").toString().startsWith(machine.root() + u'/'));
    }
    // The user's own copy of Firefox's entry is the one listed, sized by its package.
    EXPECT_TRUE(top[0]
                    .toObject()
                    .value("bundlePath")
                    .toString()
                    .endsWith(u"/home/alice/.local/share/applications/firefox-esr.desktop"_s));
    const QJsonObject apps = snapshot.value("storageCategories").toArray()[0].toObject();
    EXPECT_EQ(apps.value("name").toString(), u"Apps"_s);
    EXPECT_EQ(apps.value("bytes").toInteger(), applicationBytes);

    const KSTProgramRun summary = runProgram({"--root", machine.root(), "overview"});
    ASSERT_EQ(summary.status, 0) << summary.err.toStdString();
    EXPECT_TRUE(summary.out.startsWith(u"XPS 13 9320 · 12th Gen Intel(R) Core(TM) i7-1260P\n"
                                       "Debian GNU/Linux 12 (bookworm) · "_s))
        << summary.out.toStdString();
    EXPECT_TRUE(summary.out.contains(u"Applications  10 installed; the largest:"_s));
}

} // namespace
