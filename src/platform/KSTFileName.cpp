#include "KSTFileName.h"

namespace {

constexpr char16_t EscapeBase = 0xDC00; // + byte, for bytes 0x80–0xFF

bool isEscape(char16_t unit)
{
    return unit >= 0xDC80 && unit <= 0xDCFF;
}

// Length of the valid UTF-8 sequence starting at @p data[0], or 0 when it is not one
// (overlong forms, surrogates and values past U+10FFFF are invalid, as in Unicode's rules).
int validSequenceLength(const unsigned char *data, qsizetype available, char32_t *codePoint)
{
    const unsigned char lead = data[0];
    int length = 0;
    char32_t value = 0;
    char32_t minimum = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1F;
        minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0F;
        minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07;
        minimum = 0x10000;
    } else {
        return 0;
    }
    if (available < length)
        return 0;
    for (int index = 1; index < length; ++index) {
        if ((data[index] & 0xC0) != 0x80)
            return 0;
        value = (value << 6) | (data[index] & 0x3F);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return 0;
    *codePoint = value;
    return length;
}

void appendUtf8(QByteArray &out, char32_t value)
{
    if (value < 0x80) {
        out.append(char(value));
    } else if (value < 0x800) {
        out.append(char(0xC0 | (value >> 6)));
        out.append(char(0x80 | (value & 0x3F)));
    } else if (value < 0x10000) {
        out.append(char(0xE0 | (value >> 12)));
        out.append(char(0x80 | ((value >> 6) & 0x3F)));
        out.append(char(0x80 | (value & 0x3F)));
    } else {
        out.append(char(0xF0 | (value >> 18)));
        out.append(char(0x80 | ((value >> 12) & 0x3F)));
        out.append(char(0x80 | ((value >> 6) & 0x3F)));
        out.append(char(0x80 | (value & 0x3F)));
    }
}

} // namespace

namespace KSTFileName {

QByteArray encoded(const QString &name)
{
    const char16_t *units = reinterpret_cast<const char16_t *>(name.utf16());
    const qsizetype size = name.size();
    QByteArray out;
    out.reserve(size);
    for (qsizetype index = 0; index < size; ++index) {
        const char16_t unit = units[index];
        if (unit < 0x80) {
            out.append(char(unit));
        } else if (unit >= 0xD800 && unit <= 0xDBFF && index + 1 < size &&
                   units[index + 1] >= 0xDC00 && units[index + 1] <= 0xDFFF) {
            const char32_t value =
                0x10000 + ((char32_t(unit) - 0xD800) << 10) + (units[index + 1] - 0xDC00);
            appendUtf8(out, value);
            ++index;
        } else if (isEscape(unit)) {
            out.append(char(unit - EscapeBase));
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            appendUtf8(out, 0xFFFD); // a lone surrogate no name decodes to
        } else {
            appendUtf8(out, unit);
        }
    }
    return out;
}

QString decoded(const char *bytes, qsizetype length)
{
    const auto *data = reinterpret_cast<const unsigned char *>(bytes);
    QString out;
    out.reserve(length);
    qsizetype index = 0;
    while (index < length) {
        const unsigned char byte = data[index];
        if (byte < 0x80) {
            out.append(QChar(char16_t(byte)));
            ++index;
            continue;
        }
        char32_t value = 0;
        const int sequence = validSequenceLength(data + index, length - index, &value);
        if (sequence == 0) {
            out.append(QChar(char16_t(EscapeBase + byte)));
            ++index;
            continue;
        }
        if (value >= 0x10000) {
            out.append(QChar(char16_t(0xD800 + ((value - 0x10000) >> 10))));
            out.append(QChar(char16_t(0xDC00 + ((value - 0x10000) & 0x3FF))));
        } else {
            out.append(QChar(char16_t(value)));
        }
        index += sequence;
    }
    return out;
}

QString decoded(const QByteArray &bytes)
{
    return decoded(bytes.constData(), bytes.size());
}

QString decoded(const char *bytes)
{
    return bytes ? decoded(bytes, qsizetype(std::char_traits<char>::length(bytes))) : QString();
}

bool hasEscapedBytes(const QString &name)
{
    for (qsizetype index = 0; index < name.size(); ++index) {
        if (escapedByteAt(name, index) >= 0)
            return true;
    }
    return false;
}

int escapedByteAt(const QString &name, qsizetype index)
{
    if (index < 0 || index >= name.size())
        return -1;
    const char16_t *units = reinterpret_cast<const char16_t *>(name.utf16());
    const char16_t unit = units[index];
    if (!isEscape(unit))
        return -1;
    // The low half of a real pair is not an escape.
    if (index > 0 && units[index - 1] >= 0xD800 && units[index - 1] <= 0xDBFF)
        return -1;
    return int(unit - EscapeBase);
}

} // namespace KSTFileName
