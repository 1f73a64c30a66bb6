#include "KSTTerminalText.h"

namespace {

bool isReorderingOrSeparator(char16_t c)
{
    return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069) || c == 0x2028 || c == 0x2029;
}

QString hex(char16_t c, int digits)
{
    return QString::number(c, 16).toUpper().rightJustified(digits, QLatin1Char('0'));
}

} // namespace

namespace KSTTerminalText {

QString escaped(const QString &text)
{
    QString out;
    out.reserve(text.size());
    for (qsizetype index = 0; index < text.size(); ++index) {
        const QChar character = text.at(index);
        const char16_t c = character.unicode();
        // A byte of a name that is not UTF-8 (KSTFileName keeps it as a lone surrogate).
        const bool escapedByte =
            c >= 0xDC80 && c <= 0xDCFF && !(index > 0 && text.at(index - 1).isHighSurrogate());
        if (escapedByte)
            out += QLatin1String("\\x") + hex(char16_t(c - 0xDC00), 2);
        else if (c == u'\\')
            out += QLatin1String("\\\\");
        else if (c == u'\n')
            out += QLatin1String("\\n");
        else if (c == u'\r')
            out += QLatin1String("\\r");
        else if (c == u'\t')
            out += QLatin1String("\\t");
        else if (c < 0x20 || (c >= 0x7F && c <= 0x9F))
            out += QLatin1String("\\x") + hex(c, 2);
        else if (isReorderingOrSeparator(c))
            out += QLatin1String("\\u") + hex(c, 4);
        else
            out += character;
    }
    return out;
}

} // namespace KSTTerminalText
