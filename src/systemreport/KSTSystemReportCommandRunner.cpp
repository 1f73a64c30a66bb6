#include "KSTSystemReportCommandRunner.h"

#include "KSTSystemReportLog.h"
#include "KSTToolRunner.h"

#include <QStringDecoder>

QByteArray KSTSystemReportCommandRunner::shellDataWithTimeout(int timeoutSeconds,
                                                              const QString &launchPath,
                                                              const QStringList &arguments)
{
    const KSTToolResult result =
        KSTToolRunner::run(launchPath, arguments, KSTToolRunner::Channels::Merged,
                           timeoutSeconds * 1000, OutputLimitBytes);
    if (!result.started || result.timedOut || result.outputOverflowed) {
        qCInfo(lcSystemReport) << launchPath << "gave no answer; its rows fall back";
        return {};
    }
    return result.standardOutput;
}

QString KSTSystemReportCommandRunner::shellOutputWithTimeout(int timeoutSeconds,
                                                             const QString &launchPath,
                                                             const QStringList &arguments)
{
    const QByteArray bytes = shellDataWithTimeout(timeoutSeconds, launchPath, arguments);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        qCInfo(lcSystemReport) << launchPath << "answered with text that is not UTF-8; dropped";
        return {};
    }
    return text.trimmed();
}

QString KSTSystemReportCommandRunner::shellOutput(const QString &launchPath,
                                                  const QStringList &arguments)
{
    return shellOutputWithTimeout(8, launchPath, arguments);
}

std::optional<QByteArray>
KSTSystemReportCommandRunner::outputIfSucceeded(int timeoutSeconds, const QString &launchPath,
                                                const QStringList &arguments)
{
    const KSTToolResult result =
        KSTToolRunner::run(launchPath, arguments, KSTToolRunner::Channels::Separate,
                           timeoutSeconds * 1000, OutputLimitBytes);
    if (!result.succeeded()) {
        qCInfo(lcSystemReport) << launchPath << "gave no answer; its rows fall back";
        return std::nullopt;
    }
    return result.standardOutput;
}
