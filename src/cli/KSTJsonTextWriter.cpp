#include "KSTJsonTextWriter.h"

#include "KSTFileName.h"

#include <QLocale>
#include <QStringView>

#include <algorithm>

namespace {

// Gathered text is handed on in pieces of about this size.
constexpr qsizetype FlushBytes = 1 << 20;

} // namespace

KSTJsonTextWriter::~KSTJsonTextWriter()
{
    flush();
}

void KSTJsonTextWriter::flush()
{
    if (m_buffer.isEmpty())
        return;
    if (QIODevice *device = m_out.device()) {
        // What the stream holds comes first.
        m_out.flush();
        device->write(m_buffer);
    } else {
        m_out << QString::fromUtf8(m_buffer);
    }
    // Keeps its capacity for the next piece.
    m_buffer.resize(0);
}

void KSTJsonTextWriter::appendUtf8(QStringView text)
{
    // Encoded in place: a temporary byte array per string cost more than the encoding.
    const qsizetype start = m_buffer.size();
    m_buffer.resize(start + 3 * text.size());
    const char *end = m_encoder.appendToBuffer(m_buffer.data() + start, text);
    m_buffer.resize(end - m_buffer.constData());
}

void KSTJsonTextWriter::indent()
{
    m_buffer.append(qsizetype(4 * m_hasItems.size()), ' ');
}

void KSTJsonTextWriter::beforeValue()
{
    if (m_afterKey) {
        m_afterKey = false;
        return;
    }
    if (m_hasItems.empty())
        return;
    if (m_buffer.size() >= FlushBytes)
        flush();
    if (m_hasItems.back())
        m_buffer.append(',');
    m_buffer.append('\n');
    m_hasItems.back() = true;
    indent();
}

void KSTJsonTextWriter::key(const QString &name)
{
    beforeValue();
    writeQuoted(name);
    m_buffer.append(": ");
    m_afterKey = true;
}

namespace {

bool needsEscape(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar character) {
        const char16_t code = character.unicode();
        return code < 0x20 || code == u'"' || code == u'\\' || (code >= 0xDC80 && code <= 0xDCFF);
    });
}

// Days since 1970-01-01 to a proleptic Gregorian year, month and day (H. Hinnant's
// civil_from_days).
void civilFromDays(qint64 days, qint64 &year, int &month, int &day)
{
    days += 719468;
    const qint64 era = (days >= 0 ? days : days - 146096) / 146097;
    const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
    const unsigned yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned monthIndex = (5 * dayOfYear + 2) / 153;
    day = int(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    month = int(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    year = qint64(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0);
}

char *writeDigits(char *out, qint64 value, int width)
{
    for (int position = width - 1; position >= 0; --position) {
        out[position] = char('0' + value % 10);
        value /= 10;
    }
    return out + width;
}

} // namespace

void KSTJsonTextWriter::writeQuoted(const QString &text)
{
    if (needsEscape(text)) {
        appendUtf8(quoted(text));
        return;
    }
    m_buffer.append('"');
    appendUtf8(text);
    m_buffer.append('"');
}

QString KSTJsonTextWriter::isoDate(const QDateTime &date)
{
    if (!date.isValid())
        return {};
    constexpr qint64 DayMilliseconds = 86400000;
    const qint64 milliseconds = date.toMSecsSinceEpoch();
    const qint64 days = milliseconds >= 0
                            ? milliseconds / DayMilliseconds
                            : -((-milliseconds + DayMilliseconds - 1) / DayMilliseconds);
    const qint64 ofDay = milliseconds - days * DayMilliseconds;
    qint64 year = 0;
    int month = 0;
    int day = 0;
    civilFromDays(days, year, month, day);
    if (year < 1000 || year > 9999)
        return date.toUTC().toString(Qt::ISODateWithMs);
    char text[24];
    char *out = writeDigits(text, year, 4);
    *out++ = '-';
    out = writeDigits(out, month, 2);
    *out++ = '-';
    out = writeDigits(out, day, 2);
    *out++ = 'T';
    out = writeDigits(out, ofDay / 3600000, 2);
    *out++ = ':';
    out = writeDigits(out, ofDay / 60000 % 60, 2);
    *out++ = ':';
    out = writeDigits(out, ofDay / 1000 % 60, 2);
    *out++ = '.';
    out = writeDigits(out, ofDay % 1000, 3);
    *out = 'Z';
    return QString::fromLatin1(text, sizeof text);
}

void KSTJsonTextWriter::beginObject()
{
    beforeValue();
    m_buffer.append('{');
    m_hasItems.push_back(false);
}

void KSTJsonTextWriter::endObject()
{
    closeContainer('}');
}

void KSTJsonTextWriter::beginArray()
{
    beforeValue();
    m_buffer.append('[');
    m_hasItems.push_back(false);
}

void KSTJsonTextWriter::endArray()
{
    closeContainer(']');
}

void KSTJsonTextWriter::closeContainer(char bracket)
{
    const bool hadItems = m_hasItems.back();
    m_hasItems.pop_back();
    if (hadItems) {
        m_buffer.append('\n');
        indent();
    }
    m_buffer.append(bracket);
    if (m_hasItems.empty()) {
        m_buffer.append('\n');
        flush();
    }
}

void KSTJsonTextWriter::value(const QString &text)
{
    beforeValue();
    writeQuoted(text);
}

void KSTJsonTextWriter::value(quint64 number)
{
    beforeValue();
    m_buffer.append(QByteArray::number(number));
}

void KSTJsonTextWriter::value(double number)
{
    beforeValue();
    m_buffer.append(QByteArray::number(number, 'g', QLocale::FloatingPointShortest));
}

void KSTJsonTextWriter::value(bool flag)
{
    beforeValue();
    m_buffer.append(flag ? "true" : "false");
}

void KSTJsonTextWriter::nullValue()
{
    beforeValue();
    m_buffer.append("null");
}

QString KSTJsonTextWriter::escapedByte(int byte)
{
    return QStringLiteral("\\udc") + QString::number(byte & 0xff, 16).rightJustified(2, u'0');
}

QString KSTJsonTextWriter::quoted(const QString &text)
{
    // Most strings (paths, keys) need no escape at all.
    if (!needsEscape(text))
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
