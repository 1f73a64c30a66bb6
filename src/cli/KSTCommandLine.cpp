#include "KSTCommandLine.h"

#include "KSTCliCommand.h"
#include "KSTEnvironment.h"
#include "KSTOptionArgument.h"

#include <QCoreApplication>

namespace {

struct GlobalOptions
{
    KSTEnvironment::Options environment;
    bool json = false;
    bool help = false;
    bool version = false;
    QStringList rest; // the command and its own arguments
    QString error;
};

// Global options may stand before or after the command; everything else is passed on.
GlobalOptions parseGlobalOptions(const QStringList &arguments)
{
    GlobalOptions options;
    const QStringList valued = {QStringLiteral("--root"), QStringLiteral("--home"),
                                QStringLiteral("--user"), QStringLiteral("--layout")};
    for (qsizetype index = 0; index < arguments.size(); ++index) {
        const QString &argument = arguments.at(index);
        const KSTOptionArgument option = KSTOptionArgument::split(argument);
        const QString &name = option.name;
        if (valued.contains(name)) {
            const std::optional<QString> value = option.valueOrNext(arguments, index);
            if (!value) {
                options.error = QStringLiteral("%1 needs a value").arg(name);
                return options;
            }
            if (name == QLatin1String("--root")) {
                options.environment.root = *value;
            } else if (name == QLatin1String("--home")) {
                options.environment.home = *value;
            } else if (name == QLatin1String("--user")) {
                options.environment.user = *value;
            } else {
                options.environment.layout = KSTEnvironment::layoutFromString(*value);
                if (!options.environment.layout) {
                    options.error =
                        QStringLiteral("--layout must be mac or linux, not '%1'").arg(*value);
                    return options;
                }
            }
        } else if (argument == QLatin1String("--json")) {
            options.json = true;
        } else if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
            options.help = true;
        } else if (argument == QLatin1String("--version")) {
            options.version = true;
        } else {
            options.rest << argument;
        }
    }
    return options;
}

const KSTCliCommand *findCommand(const QString &name)
{
    for (const KSTCliCommand &command : kstCliCommands()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

} // namespace

QString KSTCommandLine::helpText()
{
    QString text = QStringLiteral(
        "Usage: kestrel [global options] [command [arguments]]\n"
        "\n"
        "Kestrel looks after one Mac: an overview of the machine, storage clean-up, duplicates,\n"
        "applications, automatic clean-up rules and utilities. Without a command it opens the\n"
        "window.\n"
        "\n"
        "Global options:\n"
        "  --root DIR            analyse the machine whose file system is at DIR (default /)\n"
        "  --home DIR            the user's home folder (default: the user's, under the root)\n"
        "  --user NAME           the user to analyse (default: the only user under the root)\n"
        "  --layout mac|linux    the machine's conventions (default: detected)\n"
        "  --json                print one JSON document instead of a summary\n"
        "  --help, -h            show this help\n"
        "  --version             show the version\n"
        "\n"
        "Window options (without a command):\n"
        "  --screenshot FILE     save a PNG picture of the window instead of opening it\n"
        "  --section N           the tool to show: 0 Mac Overview, 1 Mac Reporter, 2 Clean Up,\n"
        "                        3 Duplicate Files, 4 Auto Clean, 5 App Manage, 6 Utilities\n"
        "  --size WxH            the window's size (default 1280x800, at least 960x600)\n"
        "  --appearance MODE     light or dark (default: the system's)\n"
        "  --system-report       show the System Report opened over the tool\n"
        "  --after MS            take the picture MS milliseconds after showing the tool, ready\n"
        "                        or not (work in progress)\n"
        "\n"
        "Commands:\n");
    for (const KSTCliCommand &command : kstCliCommands())
        text += QStringLiteral("  %1\n      %2\n").arg(command.synopsis, command.summary);
    text += QStringLiteral("\nExit status: 0 done, 1 the operation failed, 2 bad usage.\n");
    return text;
}

std::optional<KSTEnvironment> KSTCommandLine::environmentFromArguments(const QStringList &arguments,
                                                                       QString *error)
{
    const GlobalOptions options = parseGlobalOptions(arguments);
    if (!options.error.isEmpty()) {
        if (error)
            *error = options.error;
        return std::nullopt;
    }
    return KSTEnvironment::fromOptions(options.environment, error);
}

bool KSTCommandLine::wantsCommandLine(const QStringList &arguments)
{
    const GlobalOptions options = parseGlobalOptions(arguments);
    return options.help || options.version || !options.rest.isEmpty() || !options.error.isEmpty();
}

QString KSTCommandLine::commandName(const QStringList &arguments)
{
    return parseGlobalOptions(arguments).rest.value(0);
}

int KSTCommandLine::run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    GlobalOptions options = parseGlobalOptions(arguments);
    KSTCliContext bare({}, options.json, out, err);
    if (!options.error.isEmpty())
        return bare.usageError(options.error);
    if (options.version) {
        out << "kestrel " << QStringLiteral(KESTREL_VERSION) << '\n';
        return KSTCliContext::Success;
    }
    if (options.help || options.rest.isEmpty()) {
        out << helpText();
        return KSTCliContext::Success;
    }

    const QString name = options.rest.takeFirst();
    const KSTCliCommand *command = findCommand(name);
    if (!command)
        return bare.usageError(QStringLiteral("unknown command '%1'").arg(name));

    QString environmentError;
    const std::optional<KSTEnvironment> environment =
        KSTEnvironment::fromOptions(options.environment, &environmentError);
    if (!environment)
        return bare.usageError(environmentError);
    KSTEnvironment::setCurrent(*environment);

    KSTCliContext context(options.rest, options.json, out, err);
    const int status = command->run(context);
    out.flush();
    err.flush();
    return status;
}
