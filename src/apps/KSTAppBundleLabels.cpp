#include "KSTAppBundleLabels.h"

#include <QHash>
#include <QRegularExpression>
#include <QStringList>

namespace {

const QString CategoryPrefix = QStringLiteral("public.app-category.");

const QHash<QString, QString> &categoryTable()
{
    static const QHash<QString, QString> table = {
        {QStringLiteral("public.app-category.business"), QStringLiteral("Business")},
        {QStringLiteral("public.app-category.developer-tools"), QStringLiteral("Developer Tools")},
        {QStringLiteral("public.app-category.education"), QStringLiteral("Education")},
        {QStringLiteral("public.app-category.entertainment"), QStringLiteral("Entertainment")},
        {QStringLiteral("public.app-category.finance"), QStringLiteral("Finance")},
        {QStringLiteral("public.app-category.games"), QStringLiteral("Games")},
        {QStringLiteral("public.app-category.graphics-design"), QStringLiteral("Design")},
        {QStringLiteral("public.app-category.music"), QStringLiteral("Audio")},
        {QStringLiteral("public.app-category.news"), QStringLiteral("News")},
        {QStringLiteral("public.app-category.photography"), QStringLiteral("Photography")},
        {QStringLiteral("public.app-category.productivity"), QStringLiteral("Productivity")},
        {QStringLiteral("public.app-category.reference"), QStringLiteral("Reference")},
        {QStringLiteral("public.app-category.social-networking"), QStringLiteral("Social")},
        {QStringLiteral("public.app-category.utilities"), QStringLiteral("Utilities")},
        {QStringLiteral("public.app-category.video"), QStringLiteral("Video")},
    };
    return table;
}

// Each word's first letter upper case and the rest lower case, words split at white space.
QString capitalisedWords(const QString &text)
{
    QString result = text.toLower();
    bool atWordStart = true;
    for (QChar &character : result) {
        if (character.isSpace()) {
            atWordStart = true;
        } else if (atWordStart) {
            character = character.toUpper();
            atWordStart = false;
        }
    }
    return result;
}

// "\s" and "\d" in the Unicode sense, as macOS's regular expressions read them; "." stops at
// every line terminator and "$" matches at the end or before one final terminator, as there.
const QRegularExpression &copyrightPattern()
{
    static const QRegularExpression pattern(
        QStringLiteral("©\\s*\\d{4}(?:[-–]\\d{4})?\\s+([^\\n\\r\\x{85}\\x{2028}\\x{2029}]+?)"
                       "(?:\\.|(?=(?:\\r\\n|[\\n\\r\\x{85}\\x{2028}\\x{2029}])?\\z))"),
        QRegularExpression::UseUnicodePropertiesOption);
    return pattern;
}

} // namespace

QString KSTAppBundleLabels::categoryLabelForPlistValue(const QString &value)
{
    if (value.isEmpty())
        return QStringLiteral("Other");
    const auto known = categoryTable().constFind(value);
    if (known != categoryTable().cend())
        return known.value();
    if (value.startsWith(CategoryPrefix) && value.size() > CategoryPrefix.size()) {
        QString remainder = value.mid(CategoryPrefix.size());
        remainder.replace(QLatin1Char('-'), QLatin1Char(' '));
        return capitalisedWords(remainder);
    }
    return QStringLiteral("Other");
}

QString KSTAppBundleLabels::developerFromCopyright(const QString &copyright,
                                                   const QString &fallback)
{
    if (!copyright.isEmpty()) {
        const QRegularExpressionMatch match = copyrightPattern().match(copyright);
        if (match.hasMatch()) {
            const QString developer = match.captured(1).trimmed();
            if (!developer.isEmpty())
                return developer;
        }
    }
    return fallback.isEmpty() ? QStringLiteral("Unknown") : fallback;
}
