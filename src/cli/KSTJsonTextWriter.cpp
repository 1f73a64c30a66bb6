#include "KSTJsonTextWriter.h"

#include "KSTFileName.h"

#include <QLocale>

#include <algorithm>

void KSTJsonTextWriter::indent()
{
    for (std::size_t level = 0; level < m_hasItems.size(); ++level)
        m_out << "    ";
}

void KSTJsonTextWriter::beforeValue()
{
    if (m_afterKey) {
        m_afterKey = false;
        return;
    }
    if (m_hasItems.empty())
        return;
    if (m_hasItems.back())
        m_out << ',';
    m_out << '\n';
    m_hasItems.back() = true;
    indent();
}

void KSTJsonTextWriter::key(const QString &name)
{
    beforeValue();
    m_out << quoted(name) << ": ";
    m_afterKey = true;
}

void KSTJsonTextWriter::beginObject()
{
    beforeValue();
    m_out << '{';
    m_hasItems.push_back(false);
}

void KSTJsonTextWriter::endObject()
{
    const bool hadItems = m_hasItems.back();
    m_hasItems.pop_back();
    if (hadItems) {
        m_out << '\n';
        indent();
    }
    m_out << '}';
    if (m_hasItems.empty())
        m_out << '\n';
}

void KSTJsonTextWriter::beginArray()
{
    beforeValue();
    m_out << '[';
    m_hasItems.push_back(false);
}

void KSTJsonTextWriter::endArray()
{
    const bool hadItems = m_hasItems.back();
    m_hasItems.pop_back();
    if (hadItems) {
        m_out << '\n';
        indent();
    }
    m_out << ']';
    if (m_hasItems.empty())
        m_out << '\n';
}

void KSTJsonTextWriter::value(const QString &text)
{
    beforeValue();
    m_out << quoted(text);
}

void KSTJsonTextWriter::value(quint64 number)
{
    beforeValue();
    m_out << number;
}

void KSTJsonTextWriter::value(double number)
{
    beforeValue();
    m_out << QString::number(number, 'g', QLocale::FloatingPointShortest);
}

void KSTJsonTextWriter::value(bool flag)
{
    beforeValue();
    m_out << (flag ? "true" : "false");
}

void KSTJsonTextWriter::nullValue()
{
    beforeValue();
    m_out << "null";
}

QString KSTJsonTextWriter::escapedByte(int byte)
{
    return QStringLiteral("\\udc") + QString::number(byte & 0xff, 16).rightJustified(2, u'0');
}

QString KSTJsonTextWriter::quoted(const QString &text)
{
    // Most strings (paths, keys) need no escape at all.
    const bool plain = std::none_of(text.cbegin(), text.cend(), [](QChar character) {
        const char16_t code = character.unicode();
        return code < 0x20 || code == u'"' || code == u'\\' || (code >= 0xDC80 && code <= 0xDCFF);
    });
    if (plain)
        return QLatin1Char('"') + text + QLatin1Char('"');
    QString result;
    result.reserve(text.size() + 2);
    result += QLatin1Char('"');
    for (qsizetype index = 0; index < text.size(); ++index) {
        const QChar character = text.at(index);
        const char16_t code = character.unicode();
        if (const int byte = KSTFileName::escapedByteAt(text, index); byte >= 0) {
            result += escapedByte(byte);
            continue;
        }
        switch (code) {
        case u'"':
            result += QLatin1String("\\\"");
            break;
        case u'\\':
            result += QLatin1String("\\\\");
            break;
        case u'\b':
            result += QLatin1String("\\b");
            break;
        case u'\f':
            result += QLatin1String("\\f");
            break;
        case u'\n':
            result += QLatin1String("\\n");
            break;
        case u'\r':
            result += QLatin1String("\\r");
            break;
        case u'\t':
            result += QLatin1String("\\t");
            break;
        default:
            if (code < 0x20)
                result += QStringLiteral("\\u%1").arg(uint(code), 4, 16, QLatin1Char('0'));
            else
                result += character;
        }
    }
    result += QLatin1Char('"');
    return result;
}
