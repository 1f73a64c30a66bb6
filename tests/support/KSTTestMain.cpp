// Shared main of every test executable: a Qt application for the main queue, and settings
// and data folders redirected to a temporary place so no test touches the real ones.
#include <QCoreApplication>
#include <QFile>
#ifdef KESTREL_TESTS_NEED_WIDGETS
#include <QApplication>
#endif
#include <QTemporaryDir>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    QTemporaryDir xdg;
    if (!xdg.isValid())
        return 2;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(xdg.filePath(QStringLiteral("config"))));
    qputenv("XDG_DATA_HOME", QFile::encodeName(xdg.filePath(QStringLiteral("data"))));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(xdg.filePath(QStringLiteral("cache"))));
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    ::testing::InitGoogleTest(&argc, argv);
#ifdef KESTREL_TESTS_NEED_WIDGETS
    QApplication app(argc, argv);
#else
    QCoreApplication app(argc, argv);
#endif
    return RUN_ALL_TESTS();
}
