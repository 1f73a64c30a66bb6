#pragma once

#include <QString>
#include <QStringList>

#include <optional>

/// One option of Kestrel's command line, written "--name=value" or "--name value". The
/// global options and the window options are read the same way, each by its own reader.
struct KSTOptionArgument
{
    QString name;                 ///< the whole argument when it carries no "=value"
    std::optional<QString> value; ///< the text after the first "=", when there is one

    static KSTOptionArgument split(const QString &argument)
    {
        const qsizetype equals = argument.indexOf(QLatin1Char('='));
        if (argument.startsWith(QLatin1String("--")) && equals > 0)
            return {argument.left(equals), argument.mid(equals + 1)};
        return {argument, std::nullopt};
    }

    /// The attached value, else the argument after @p index (then @p index moves onto it);
    /// nothing when the option stands last without a value.
    std::optional<QString> valueOrNext(const QStringList &arguments, qsizetype &index) const
    {
        if (value)
            return value;
        if (index + 1 >= arguments.size())
            return std::nullopt;
        return arguments.at(++index);
    }
};
