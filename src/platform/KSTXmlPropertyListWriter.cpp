#include "KSTXmlPropertyListWriter.h"

#include "KSTPropertyList.h"
#include "KSTPropertyListValue.h"

#include <QLocale>
#include <QXmlStreamWriter>

#include <cmath>

namespace {

using KSTPropertyListValue::Kind;

const QString Doctype = QStringLiteral("<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                       "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">");

bool isXmlCharacter(char32_t c)
{
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// XML 1.0 has no way to carry U+0000 and most other control characters, not even as
// character references; a reader would refuse the whole document.
QString xmlSafe(const QString &text)
{
    QString safe;
    safe.reserve(text.size());
    for (qsizetype index = 0; index < text.size(); ++index) {
        const QChar c = text.at(index);
        if (c.isHighSurrogate() && index + 1 < text.size() && text.at(index + 1).isLowSurrogate()) {
            safe.append(c);
            safe.append(text.at(++index));
        } else if (!c.isSurrogate() && isXmlCharacter(c.unicode())) {
            safe.append(c);
        } else {
            safe.append(QChar::ReplacementCharacter);
        }
    }
    return safe;
}

QString realText(double value)
{
    if (std::isnan(value))
        return QStringLiteral("nan");
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("+infinity") : QStringLiteral("-infinity");
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

class Writer
{
public:
    explicit Writer(QByteArray *out) : m_xml(out)
    {
        m_xml.setAutoFormatting(true);
        m_xml.setAutoFormattingIndent(-1); // one tab per level, as Apple indents
    }

    void document(const QVariant &value)
    {
        m_xml.writeStartDocument();
        m_xml.writeDTD(Doctype);
        m_xml.writeStartElement(QStringLiteral("plist"));
        m_xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
        write(value, 1);
        m_xml.writeEndElement();
        m_xml.writeEndDocument();
    }

private:
    void write(const QVariant &value, int depth)
    {
        const Kind kind = KSTPropertyListValue::kindOf(value);
        if ((kind == Kind::Dictionary || kind == Kind::Array) &&
            depth > KSTPropertyList::MaximumDepth) {
            m_xml.writeTextElement(QStringLiteral("string"), QString());
            return;
        }
        switch (kind) {
        case Kind::Dictionary:
            return dictionary(value.toMap(), depth);
        case Kind::Array:
            return array(value.toList(), depth);
        case Kind::Boolean:
            m_xml.writeEmptyElement(value.toBool() ? QStringLiteral("true")
                                                   : QStringLiteral("false"));
            return;
        case Kind::Integer:
            return text(QStringLiteral("integer"), QString::number(value.toLongLong()));
        case Kind::Unsigned:
            return text(QStringLiteral("integer"), QString::number(value.toULongLong()));
        case Kind::Real:
            return text(QStringLiteral("real"), realText(value.toDouble()));
        case Kind::Date:
            return text(QStringLiteral("date"), value.toDateTime().toUTC().toString(
                                                    QStringLiteral("yyyy-MM-dd'T'HH:mm:ss'Z'")));
        case Kind::Data:
            return text(QStringLiteral("data"),
                        QString::fromLatin1(value.toByteArray().toBase64()));
        case Kind::String:
            return text(QStringLiteral("string"), xmlSafe(value.toString()));
        }
    }

    void text(const QString &element, const QString &contents)
    {
        m_xml.writeTextElement(element, contents);
    }

    void dictionary(const QVariantMap &map, int depth)
    {
        if (map.isEmpty()) {
            m_xml.writeEmptyElement(QStringLiteral("dict"));
            return;
        }
        m_xml.writeStartElement(QStringLiteral("dict"));
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            m_xml.writeTextElement(QStringLiteral("key"), xmlSafe(it.key()));
            write(it.value(), depth + 1);
        }
        m_xml.writeEndElement();
    }

    void array(const QVariantList &list, int depth)
    {
        if (list.isEmpty()) {
            m_xml.writeEmptyElement(QStringLiteral("array"));
            return;
        }
        m_xml.writeStartElement(QStringLiteral("array"));
        for (const QVariant &item : list)
            write(item, depth + 1);
        m_xml.writeEndElement();
    }

    QXmlStreamWriter m_xml;
};

} // namespace

QByteArray KSTXmlPropertyListWriter::write(const QVariant &value)
{
    QByteArray out;
    Writer(&out).document(value);
    return out;
}
