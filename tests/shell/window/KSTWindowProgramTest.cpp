// The program around the window: its options, the screenshot, the machine without a display,
// and the symbols every screen draws.
#include "KSTAutoCleanManager.h"
#include "KSTFixtureMac.h"
#include "KSTSectionCatalog.h"
#include "KSTSymbolImage.h"
#include "KSTSystemReportService.h"
#include "KSTTestSupport.h"
#include "KSTWindowOptions.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

struct OptionsCase
{
    QStringList arguments;
    QStringList rest;  // what is left for the command line
    QString errorPart; // empty: no error
    QString screenshot;
    int section = 0;
    QSize size{1280, 800};
};

class WindowOptionsTest : public ::testing::TestWithParam<OptionsCase>
{
};

TEST_P(WindowOptionsTest, TakesItsOptionsAndLeavesTheRest)
{
    const OptionsCase &c = GetParam();
    QStringList arguments = c.arguments;
    QString error;
    const KSTWindowOptions options = KSTWindowOptions::take(arguments, &error);
    EXPECT_EQ(arguments, c.rest);
    if (c.errorPart.isEmpty()) {
        EXPECT_TRUE(error.isEmpty()) << error.toStdString();
        EXPECT_EQ(options.screenshotPath, c.screenshot);
        EXPECT_EQ(options.section, c.section);
        EXPECT_EQ(options.size, c.size);
    } else {
        EXPECT_TRUE(error.contains(c.errorPart)) << error.toStdString();
    }
}

OptionsCase accepted(QStringList arguments, QStringList rest, QString screenshot = {},
                     int section = 0, QSize size = {1280, 800})
{
    return {std::move(arguments), std::move(rest), {}, std::move(screenshot), section, size};
}

OptionsCase refused(QStringList arguments, QString errorPart)
{
    return {std::move(arguments), {}, std::move(errorPart), {}, 0, {}};
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, WindowOptionsTest,
    ::testing::Values(accepted({"--root", "/mnt/mac"}, {"--root", "/mnt/mac"}),
                      accepted({"--screenshot", "a.png", "--section=4", "--size", "1440x900",
                                "--root", "/r"},
                               {"--root", "/r"}, "a.png", 4, {1440, 900}),
                      accepted({"overview", "--json"}, {"overview", "--json"}),
                      refused({"--screenshot", "a.png", "--section", "7"}, "0 to 6"),
                      refused({"--screenshot", "a.png", "--size", "800x600"}, "at least 960x600"),
                      refused({"--screenshot", "a.png", "--appearance", "sepia"}, "light or dark"),
                      refused({"--section", "2"}, "go with --screenshot"),
                      refused({"--system-report"}, "go with --screenshot"),
                      refused({"--after", "500"}, "go with --screenshot"),
                      refused({"--screenshot", "a.png", "--after", "-1"}, "0 to 60000"),
                      refused({"--screenshot", "a.png", "--after", "soon"}, "0 to 60000"),
                      refused({"--screenshot", "a.png", "--after", "60001"}, "0 to 60000"),
                      refused({"--screenshot"}, "needs a value")));

// --system-report is a flag: it takes no value, so what follows stays for the command line.
TEST(WindowOptionsFlagTest, SystemReportTakesNoValue)
{
    QStringList arguments = {"--screenshot", "a.png", "--system-report", "--root", "/r"};
    QString error;
    const KSTWindowOptions options = KSTWindowOptions::take(arguments, &error);
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    EXPECT_TRUE(options.systemReport);
    EXPECT_EQ(arguments, QStringList({"--root", "/r"}));

    QStringList plain = {"--screenshot", "a.png"};
    const KSTWindowOptions plainOptions = KSTWindowOptions::take(plain, &error);
    EXPECT_FALSE(plainOptions.systemReport);
    EXPECT_FALSE(plainOptions.afterMs.has_value());
}

// A picture of work in progress: the delay reaches the options, 0 included.
TEST(WindowOptionsFlagTest, AfterTakesMilliseconds)
{
    for (const int milliseconds : {0, 750, 60000}) {
        QStringList arguments = {"--screenshot", "a.png", "--after", QString::number(milliseconds)};
        QString error;
        const KSTWindowOptions options = KSTWindowOptions::take(arguments, &error);
        EXPECT_TRUE(error.isEmpty()) << error.toStdString();
        EXPECT_EQ(options.afterMs, milliseconds);
        EXPECT_TRUE(arguments.isEmpty());
    }
}

// Every symbol a screen draws has a bundled icon (a missing one would fall back to a circle).
TEST(SymbolImageTest, EverySymbolInUseHasItsOwnIcon)
{
    QStringList symbols;
    for (int section = 0; section < KSTSectionCatalog::SectionCount; ++section)
        symbols << KSTSectionCatalog::symbolName(section);
    KSTAutoCleanManager::Options options;
    options.suiteName = QStringLiteral("com.kestrel.autoclean.symboltest");
    for (const KSTAutoCleanRuleDefinition &rule : KSTAutoCleanManager(options).rules())
        symbols << rule.symbolName;
    symbols << QStringLiteral("shield.fill");
    // The System Report's sections and cards (the placeholder has them all).
    const KSTSystemReportSnapshot report = KSTSystemReportService::placeholderSnapshot();
    for (const KSTReportSummaryCard &card : report.summaryCards)
        symbols << card.symbolName;
    for (const KSTReportSection &section : report.sections)
        symbols << section.symbolName;
    symbols << QStringLiteral("doc.text.fill");

    const QString circle = KSTSymbolImage::resourcePathForSymbol(QStringLiteral("circle"));
    for (const QString &symbol : std::as_const(symbols)) {
        EXPECT_TRUE(KSTSymbolImage::knownSymbolNames().contains(symbol)) << symbol.toStdString();
        EXPECT_NE(KSTSymbolImage::resourcePathForSymbol(symbol), circle) << symbol.toStdString();
    }
    for (const QString &symbol : KSTSymbolImage::knownSymbolNames()) {
        EXPECT_TRUE(QFile::exists(KSTSymbolImage::resourcePathForSymbol(symbol)))
            << symbol.toStdString();
        const QImage image = KSTSymbolImage::pixmap(symbol, QColor(0x10, 0xb9, 0x81), 24).toImage();
        bool drawn = false;
        for (int y = 0; y < image.height() && !drawn; ++y) {
            for (int x = 0; x < image.width() && !drawn; ++x)
                drawn = qAlpha(image.pixel(x, y)) > 128 && qGreen(image.pixel(x, y)) > 150;
        }
        EXPECT_TRUE(drawn) << symbol.toStdString() << " is not drawn in the colour asked for";
    }
    EXPECT_EQ(KSTSectionCatalog::symbolName(9), QStringLiteral("circle"));
    EXPECT_TRUE(KSTSectionCatalog::contentTitle(-1).isEmpty());
}

// The real program, on a fixture Mac, with a settings folder of its own.
class ProgramTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid() && scratch.isValid());
        mac.addRecordedTool(QStringLiteral("/usr/sbin/system_profiler"),
                            QStringLiteral("system_profiler-SPHardware.apple-M3-Mac15,3.txt"));
        KSTFixtureMac::App app;
        app.name = QStringLiteral("Pages");
        app.bundleIdentifier = QStringLiteral("com.apple.iWork.Pages");
        mac.addApp(app);
    }

    int run(const QStringList &arguments, const QStringList &unset = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), scratch.filePath("config"));
        for (const QString &name : unset)
            environment.remove(name);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(KESTREL_EXECUTABLE),
                      QStringList({"--root", mac.root()}) + arguments);
        if (!process.waitForFinished(120'000)) {
            process.kill();
            process.waitForFinished();
            return -1;
        }
        out = QString::fromUtf8(process.readAllStandardOutput());
        err = QString::fromUtf8(process.readAllStandardError());
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    KSTFixtureMac mac;
    QTemporaryDir scratch;
    QString out;
    QString err;
};

TEST_F(ProgramTest, ScreenshotSavesThePictureOnceTheDataHasArrived)
{
    const QString picture = scratch.filePath(QStringLiteral("overview.png"));
    ASSERT_EQ(run({"--screenshot", picture, "--size", "1024x700", "--appearance", "dark"}), 0)
        << err.toStdString();
    const QImage image(picture);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(1024, 700));
    // Dark appearance: the content background is dark.
    EXPECT_LT(qGray(image.pixel(900, 690)), 60);
    EXPECT_TRUE(out.contains(QStringLiteral("Saved"))) << out.toStdString();
}

TEST_F(ProgramTest, WithoutADisplayItPrintsTheOverviewAndHowToOpenTheWindow)
{
    ASSERT_EQ(run({}, {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}), 0) << err.toStdString();
    EXPECT_TRUE(out.startsWith(QStringLiteral("MacBook Pro · Apple M3\n"))) << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("Applications  1 installed")));
    EXPECT_TRUE(err.contains(QStringLiteral("xvfb-run ./scripts/run")));
    EXPECT_TRUE(err.contains(QStringLiteral("--screenshot")));
}

TEST_F(ProgramTest, ACommandStillRunsTheCommandLine)
{
    EXPECT_EQ(run({"access", "--json"}), 0);
    EXPECT_TRUE(out.contains(QStringLiteral("\"hasFullDiskAccess\": false"))) << out.toStdString();
    EXPECT_EQ(run({"--section", "2"}), 2);
    EXPECT_TRUE(err.contains(QStringLiteral("go with --screenshot")));
}

} // namespace
