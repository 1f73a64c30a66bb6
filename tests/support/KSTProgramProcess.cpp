#include "KSTProgramProcess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <sys/stat.h>

namespace KSTTestSupport {

KSTProgramRun runProgram(const QString &program, const QStringList &arguments,
                         const KSTProgramOptions &options)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TZ"), QStringLiteral("UTC"));
    environment.insert(options.environment);
    process.setProcessEnvironment(environment);
    QStringList command = options.prefix;
    command << program << arguments;
    process.start(command.takeFirst(), command);
    if (!process.waitForStarted(10'000))
        return {};

    QByteArray out;
    QByteArray err;
    const QDeadlineTimer deadline(options.timeoutMs);
    if (!options.prompt.isEmpty()) {
        const QByteArray prompt = options.prompt.toUtf8();
        while (!out.contains(prompt) && !err.contains(prompt) && !deadline.hasExpired() &&
               process.state() == QProcess::Running) {
            process.waitForReadyRead(100);
            out += process.readAllStandardOutput();
            err += process.readAllStandardError();
        }
        if (options.beforeAnswer)
            options.beforeAnswer();
    }
    process.write(options.input);
    process.closeWriteChannel();
    if (!process.waitForFinished(int(std::max<qint64>(deadline.remainingTime(), 1)))) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    out += process.readAllStandardOutput();
    err += process.readAllStandardError();
    if (process.exitStatus() != QProcess::NormalExit)
        return {-1, QString::fromUtf8(out), QString::fromUtf8(err)};
    return {process.exitCode(), QString::fromUtf8(out), QString::fromUtf8(err)};
}

KSTProgramForOtherUser programForOtherUser(const QString &program)
{
    KSTProgramForOtherUser copy;
    copy.folder = std::make_unique<QTemporaryDir>();
    if (!copy.folder->isValid())
        return copy;
    // QTemporaryDir makes a private folder; the other user must enter it.
    ::chmod(QFile::encodeName(copy.folder->path()).constData(), 0755);
    const QString target = copy.folder->filePath(QFileInfo(program).fileName());
    if (!QFile::copy(program, target))
        return copy;
    ::chmod(QFile::encodeName(target).constData(), 0755);

    // A sanitizer reads its suppressions as the user it runs as; give it readable copies.
    static const QRegularExpression suppressions(QStringLiteral("suppressions=([^:]+)"));
    for (const char *name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
        QString options = qEnvironmentVariable(name);
        const QRegularExpressionMatch match = suppressions.match(options);
        if (!match.hasMatch())
            continue;
        const QString readable =
            copy.folder->filePath(QString::fromLatin1(name) + QStringLiteral(".supp"));
        QFile::copy(match.captured(1), readable);
        ::chmod(QFile::encodeName(readable).constData(), 0644);
        options.replace(match.capturedStart(1), match.capturedLength(1), readable);
        copy.environment.insert(QString::fromLatin1(name), options);
    }
    copy.program = target;
    return copy;
}

} // namespace KSTTestSupport
