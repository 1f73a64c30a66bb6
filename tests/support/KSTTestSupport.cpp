#include "KSTTestSupport.h"

#include "KSTEnvironment.h"
#include "KSTToolRunner.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonParseError>
#include <QStandardPaths>
#include <QThread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

QJsonDocument KSTProgramRun::json() const
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(out.toUtf8(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << out.toStdString();
    return document;
}

namespace KSTTestSupport {

bool pumpUntil(const std::function<bool()> &done, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return done();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents();
        QThread::msleep(1);
    }
    return true;
}

void pumpFor(int milliseconds)
{
    pumpUntil([] { return false; }, milliseconds);
}

QString testDataPath(const QString &relativePath)
{
    return QStringLiteral(KESTREL_TEST_DATA_DIR "/") + relativePath;
}

QString recordedMacFile(const QString &name)
{
    return testDataPath(QStringLiteral("macos/") + name);
}

bool writeFile(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(contents) == contents.size();
}

int runHostTool(const QString &name, const QStringList &arguments, QByteArray *output)
{
    const QString program = QStandardPaths::findExecutable(name);
    if (program.isEmpty())
        return -1;
    // The host's own tool, whatever machine the test has made current.
    const KSTScopedEnvironment host(KSTEnvironment::hostDefault());
    const KSTToolResult result =
        KSTToolRunner::run(program, arguments, KSTToolRunner::Channels::Separate, 60'000);
    if (output)
        *output = result.standardOutput;
    return result.started && !result.timedOut ? result.exitCode : -1;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

quint64 allocatedBytesOf(const QString &path)
{
    struct stat info;
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? quint64(info.st_blocks) * 512u
                                                                    : 0;
}

bool setModificationTime(const QString &path, qint64 secondsSinceEpoch)
{
    timespec times[2];
    times[0].tv_sec = times[1].tv_sec = secondsSinceEpoch;
    times[0].tv_nsec = times[1].tv_nsec = 0;
    return utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW) ==
           0;
}

} // namespace KSTTestSupport
