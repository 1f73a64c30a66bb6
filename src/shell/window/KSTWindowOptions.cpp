#include "KSTWindowOptions.h"

#include "KSTOptionArgument.h"
#include "KSTSectionCatalog.h"

#include <QRegularExpression>

namespace {

// A picture of work in progress is taken within a minute.
constexpr int MaximumAfterMs = 60000;

const QStringList &windowOptionNames()
{
    static const QStringList names = {QStringLiteral("--screenshot"), QStringLiteral("--section"),
                                      QStringLiteral("--size"), QStringLiteral("--appearance"),
                                      QStringLiteral("--after")};
    return names;
}

} // namespace

KSTWindowOptions KSTWindowOptions::take(QStringList &arguments, QString *error)
{
    KSTWindowOptions options;
    QString problem;
    const auto fail = [&problem](const QString &message) {
        if (problem.isEmpty())
            problem = message;
    };
    bool sawDetail = false;
    QStringList rest;
    for (qsizetype index = 0; index < arguments.size(); ++index) {
        const QString &argument = arguments.at(index);
        const KSTOptionArgument option = KSTOptionArgument::split(argument);
        const QString &name = option.name;
        if (argument == QLatin1String("--system-report")) {
            options.given = true;
            options.systemReport = true;
            sawDetail = true;
            continue;
        }
        if (!windowOptionNames().contains(name)) {
            rest << argument;
            continue;
        }
        options.given = true;
        const std::optional<QString> value = option.valueOrNext(arguments, index);
        if (!value) {
            fail(QStringLiteral("%1 needs a value").arg(name));
            continue;
        }
        if (name == QLatin1String("--screenshot")) {
            options.screenshotPath = *value;
            if (value->isEmpty())
                fail(QStringLiteral("--screenshot needs a file name"));
            continue;
        }
        sawDetail = true;
        if (name == QLatin1String("--section")) {
            bool ok = false;
            options.section = value->toInt(&ok);
            if (!ok || !KSTSectionCatalog::isValidSection(options.section))
                fail(QStringLiteral("--section must be a number from 0 to %1, not '%2'")
                         .arg(KSTSectionCatalog::SectionCount - 1)
                         .arg(*value));
        } else if (name == QLatin1String("--size")) {
            static const QRegularExpression pattern(QStringLiteral("^(\\d{3,5})x(\\d{3,5})$"));
            const QRegularExpressionMatch match = pattern.match(*value);
            options.size = match.hasMatch()
                               ? QSize(match.captured(1).toInt(), match.captured(2).toInt())
                               : QSize();
            if (options.size.width() < 960 || options.size.height() < 600)
                fail(QStringLiteral("--size must be WIDTHxHEIGHT, at least 960x600, not '%1'")
                         .arg(*value));
        } else if (name == QLatin1String("--after")) {
            bool ok = false;
            const int milliseconds = value->toInt(&ok);
            if (ok && milliseconds >= 0 && milliseconds <= MaximumAfterMs)
                options.afterMs = milliseconds;
            else
                fail(QStringLiteral("--after must be a number of milliseconds from 0 to %1, not "
                                    "'%2'")
                         .arg(MaximumAfterMs)
                         .arg(*value));
        } else {
            if (*value == QLatin1String("light"))
                options.appearance = KSTPalette::Appearance::Light;
            else if (*value == QLatin1String("dark"))
                options.appearance = KSTPalette::Appearance::Dark;
            else
                fail(QStringLiteral("--appearance must be light or dark, not '%1'").arg(*value));
        }
    }
    if (sawDetail && options.screenshotPath.isEmpty())
        fail(QStringLiteral(
            "--section, --size, --appearance, --system-report and --after go with --screenshot "
            "FILE"));
    arguments = rest;
    if (error)
        *error = problem;
    return options;
}
