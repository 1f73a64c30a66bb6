#include "KSTEncryptCommand.h"

#include "KSTDispatch.h"
#include "KSTEncryptionModel.h"
#include "KSTTerminalText.h"
#include "KSTUtilitiesCommandSupport.h"
#include "KSTUtilitiesManager.h"

#include <QJsonObject>

#include <cstdio>
#include <cstring>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace KSTUtilitiesCommandSupport;

constexpr int EncryptTimeoutMs = 24 * 60 * 60 * 1000;
constexpr int MaximumPasswordBytes = 4096;

// One line of standard input without its line end; nothing at the end of input. With
// @p hidden and a terminal, what is typed is not echoed.
std::optional<QString> readLine(bool hidden)
{
    struct termios saved = {};
    const bool terminal =
        hidden && ::isatty(STDIN_FILENO) && ::tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        struct termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    char buffer[MaximumPasswordBytes] = {};
    const bool read = std::fgets(buffer, sizeof buffer, stdin) != nullptr;
    if (terminal) {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        std::fputc('\n', stderr);
    }
    if (!read)
        return std::nullopt;
    std::size_t length = std::strlen(buffer);
    while (length > 0 && (buffer[length - 1] == '\n' || buffer[length - 1] == '\r'))
        --length;
    const QString line = QString::fromLocal8Bit(buffer, qsizetype(length));
    std::memset(buffer, 0, sizeof buffer);
    return line;
}

} // namespace

int kstRunEncryptCommand(KSTCliContext &context)
{
    const bool fromStandardInput = context.takeFlag(QStringLiteral("--password-stdin"));
    const bool yes = context.takeFlag(QStringLiteral("--yes"));
    QStringList paths;
    for (const QString &argument : context.arguments()) {
        if (argument.startsWith(QLatin1String("--")))
            return context.usageError(
                QStringLiteral("encrypt takes no option '%1' (the password is asked for, or "
                               "read with --password-stdin)")
                    .arg(argument.section(QLatin1Char('='), 0, 0)));
        paths << absolutePath(argument);
    }
    if (paths.isEmpty())
        return context.usageError(QStringLiteral("encrypt needs at least one PATH"));

    QString password;
    QString confirmation;
    if (fromStandardInput) {
        password = readLine(false).value_or(QString());
        confirmation = password;
    } else {
        context.err() << "Password: ";
        context.err().flush();
        password = readLine(true).value_or(QString());
        context.err() << "Verify password: ";
        context.err().flush();
        confirmation = readLine(true).value_or(QString());
    }
    if (const std::optional<QString> refusal =
            KSTEncryptionModel::passwordRefusal(password, confirmation)) {
        context.err() << "kestrel: " << *refusal << '\n';
        context.err().flush();
        return KSTCliContext::Usage;
    }
    confirmation.fill(QChar(0));

    QTextStream &stream = context.talk();
    stream << KSTEncryptionModel::confirmationMessage() << '\n'
           << KSTEncryptionModel::confirmationInformativeText() << '\n';
    for (const QString &path : std::as_const(paths))
        stream << "  " << KSTTerminalText::escaped(path) << '\n';
    if (!context.confirm(KSTEncryptionModel::encryptButtonTitle() + QLatin1Char('?'), yes)) {
        password.fill(QChar(0));
        return KSTCliContext::Failure;
    }

    KSTEncryptionModel model(KSTUtilitiesManager::sharedManager());
    std::optional<std::pair<quint64, std::optional<KSTError>>> outcome;
    model.start(
        paths, password,
        [&stream](const QString &text) {
            stream << KSTTerminalText::escaped(text) << '\n';
            stream.flush();
        },
        [&outcome](quint64 created, const std::optional<KSTError> &error) {
            outcome = std::make_pair(created, error);
        });
    password.fill(QChar(0));
    if (!KSTDispatch::runMainLoopUntil([&outcome] { return outcome.has_value(); },
                                       EncryptTimeoutMs))
        return context.failure(
            KSTUtilitiesManager::makeError(KSTUtilitiesManager::ArchiveWritingFailed,
                                           QStringLiteral("The encryption did not finish.")));
    const auto &[created, error] = *outcome;
    if (context.json())
        context.printJson(QJsonObject{{QStringLiteral("archivesCreated"), qint64(created)},
                                      {QStringLiteral("error"), errorJson(error)}});
    const KSTEncryptionModel::Result result = KSTEncryptionModel::result(created, error);
    stream << KSTTerminalText::escaped(result.message) << '\n';
    if (!result.informativeText.isEmpty())
        stream << result.informativeText << '\n';
    stream.flush();
    if (created == quint64(paths.size()) && !error)
        return KSTCliContext::Success;
    if (error)
        return context.failure(*error);
    return KSTCliContext::Failure;
}
