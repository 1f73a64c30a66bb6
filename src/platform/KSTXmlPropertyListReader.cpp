#include "KSTXmlPropertyListReader.h"

#include "KSTPropertyListBudget.h"

#include <QDateTime>
#include <QXmlStreamReader>

#include <cmath>
#include <limits>
#include <vector>

namespace {

enum class Element { String, Integer, Real, True, False, Date, Data, Unknown };

Element elementNamed(QStringView name)
{
    if (name == u"string")
        return Element::String;
    if (name == u"integer")
        return Element::Integer;
    if (name == u"real")
        return Element::Real;
    if (name == u"true")
        return Element::True;
    if (name == u"false")
        return Element::False;
    if (name == u"date")
        return Element::Date;
    if (name == u"data")
        return Element::Data;
    return Element::Unknown;
}

// Decimal as Apple writes it; hexadecimal ("0x…") as older tools did.
bool integerValue(const QString &text, QVariant *value)
{
    const QString trimmed = text.trimmed();
    bool ok = false;
    const qint64 signedValue = trimmed.toLongLong(&ok, 10);
    if (ok) {
        *value = QVariant::fromValue(signedValue);
        return true;
    }
    quint64 unsignedValue = trimmed.toULongLong(&ok, 10);
    if (!ok && trimmed.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        unsignedValue = QStringView(trimmed).mid(2).toULongLong(&ok, 16);
    if (!ok)
        return false;
    if (unsignedValue > quint64(std::numeric_limits<qint64>::max()))
        *value = QVariant::fromValue(unsignedValue);
    else
        *value = QVariant::fromValue(qint64(unsignedValue));
    return true;
}

bool realValue(const QString &text, QVariant *value)
{
    const QString trimmed = text.trimmed().toLower();
    if (trimmed == QLatin1String("nan")) {
        *value = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    for (const char *infinity : {"inf", "+inf", "infinity", "+infinity", "-inf", "-infinity"}) {
        if (trimmed == QLatin1String(infinity)) {
            const double positive = std::numeric_limits<double>::infinity();
            *value = trimmed.startsWith(QLatin1Char('-')) ? -positive : positive;
            return true;
        }
    }
    bool ok = false;
    const double real = trimmed.toDouble(&ok);
    if (ok)
        *value = real;
    return ok;
}

bool dateValue(const QString &text, QVariant *value)
{
    const QDateTime date = QDateTime::fromString(text.trimmed(), Qt::ISODate);
    if (!date.isValid())
        return false;
    *value = date.toUTC();
    return true;
}

// Base64 with any white space in between, as Apple's writer wraps it.
bool dataValue(const QString &text, QVariant *value)
{
    QByteArray compact;
    compact.reserve(text.size());
    for (const QChar c : text) {
        if (!c.isSpace())
            compact.append(c.unicode() < 0x80 ? char(c.unicode()) : '!');
    }
    const QByteArray::FromBase64Result decoded = QByteArray::fromBase64Encoding(
        compact, QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return false;
    *value = decoded.decoded;
    return true;
}

class XmlParser
{
public:
    explicit XmlParser(const QByteArray &data) : m_xml(data) {}

    QVariant parse();
    const QString &error() const { return m_error; }

private:
    struct Frame
    {
        bool isDictionary = false;
        QVariantList list;
        QVariantMap map;
        QString key;
        bool hasKey = false;
    };

    bool fail(const QString &why)
    {
        if (m_error.isEmpty())
            m_error = why;
        return false;
    }

    bool startElement();
    bool endElement();
    bool readText(QString *text);
    bool leafValue(Element element, QVariant *value);
    bool mayPlace();
    bool place(QVariant value);

    QXmlStreamReader m_xml;
    std::vector<Frame> m_stack;
    QVariant m_root;
    bool m_hasRoot = false;
    bool m_inPlist = false;
    KSTPropertyListBudget m_budget;
    QString m_error;
};

QVariant XmlParser::parse()
{
    while (!m_xml.atEnd()) {
        bool ok = true;
        switch (m_xml.readNext()) {
        case QXmlStreamReader::DTD:
            if (!m_xml.entityDeclarations().isEmpty())
                ok = fail(QStringLiteral("it declares entities of its own"));
            break;
        case QXmlStreamReader::StartElement:
            ok = startElement();
            break;
        case QXmlStreamReader::EndElement:
            ok = endElement();
            break;
        case QXmlStreamReader::Characters:
            if (!m_xml.isWhitespace())
                ok = fail(QStringLiteral("it has text outside a value"));
            break;
        case QXmlStreamReader::EntityReference:
            ok = fail(QStringLiteral("it refers to an entity"));
            break;
        default: // the document's start and end, comments, processing instructions
            break;
        }
        if (!ok)
            return {};
    }
    if (m_xml.hasError())
        fail(m_xml.errorString());
    else if (!m_hasRoot)
        fail(QStringLiteral("it holds no value"));
    return m_error.isEmpty() ? m_root : QVariant();
}

bool XmlParser::startElement()
{
    const QStringView name = m_xml.name();
    if (name == u"plist") {
        if (m_inPlist || m_hasRoot || !m_stack.empty())
            return fail(QStringLiteral("a plist element is not the outermost one"));
        m_inPlist = true;
        return true;
    }
    if (name == u"key") {
        if (m_stack.empty() || !m_stack.back().isDictionary || m_stack.back().hasKey)
            return fail(QStringLiteral("a key stands outside a dictionary or after a key"));
        QString key;
        if (!readText(&key))
            return false;
        m_stack.back().key = std::move(key);
        m_stack.back().hasKey = true;
        return true;
    }
    if (!m_budget.takeValues())
        return fail(m_budget.error());
    if (name == u"dict" || name == u"array") {
        if (!mayPlace() || !m_budget.mayNest(qsizetype(m_stack.size())))
            return fail(m_budget.error());
        Frame frame;
        frame.isDictionary = name == u"dict";
        m_stack.push_back(std::move(frame));
        return true;
    }
    const Element element = elementNamed(name);
    if (element == Element::Unknown)
        return fail(QStringLiteral("it holds an unknown element <%1>").arg(name.left(64)));
    if (!mayPlace())
        return false;
    QVariant value;
    return leafValue(element, &value) && place(std::move(value));
}

bool XmlParser::endElement()
{
    // Leaves and keys are read whole by readText(); only containers and plist end here.
    if (m_xml.name() == u"plist")
        return true;
    if (m_stack.empty())
        return fail(QStringLiteral("an element ends that never started"));
    Frame finished = std::move(m_stack.back());
    m_stack.pop_back();
    if (finished.isDictionary && finished.hasKey)
        return fail(QStringLiteral("a key has no value"));
    return place(finished.isDictionary ? QVariant(std::move(finished.map))
                                       : QVariant(std::move(finished.list)));
}

bool XmlParser::readText(QString *text)
{
    for (;;) {
        switch (m_xml.readNext()) {
        case QXmlStreamReader::Characters: {
            const QStringView chunk = m_xml.text();
            if (!m_budget.takePayload(chunk.size()))
                return fail(m_budget.error());
            text->append(chunk);
            break;
        }
        case QXmlStreamReader::EndElement:
            return true;
        case QXmlStreamReader::Comment:
        case QXmlStreamReader::ProcessingInstruction:
            break;
        case QXmlStreamReader::StartElement:
            return fail(QStringLiteral("a value holds an element"));
        case QXmlStreamReader::EntityReference:
            return fail(QStringLiteral("it refers to an entity"));
        default:
            return fail(m_xml.hasError() ? m_xml.errorString()
                                         : QStringLiteral("it ends inside a value"));
        }
    }
}

bool XmlParser::leafValue(Element element, QVariant *value)
{
    QString text;
    if (!readText(&text))
        return false;
    switch (element) {
    case Element::String:
        *value = std::move(text);
        return true;
    case Element::True:
    case Element::False:
        if (!text.trimmed().isEmpty())
            return fail(QStringLiteral("a boolean holds text"));
        *value = element == Element::True;
        return true;
    case Element::Integer:
        return integerValue(text, value) || fail(QStringLiteral("an integer is not a number"));
    case Element::Real:
        return realValue(text, value) || fail(QStringLiteral("a real is not a number"));
    case Element::Date:
        return dateValue(text, value) || fail(QStringLiteral("a date is not in ISO 8601 form"));
    case Element::Data:
        return dataValue(text, value) || fail(QStringLiteral("data is not Base64"));
    case Element::Unknown:
        break;
    }
    return false;
}

bool XmlParser::mayPlace()
{
    if (m_stack.empty() && m_hasRoot)
        return fail(QStringLiteral("it holds more than one top-level value"));
    if (!m_stack.empty() && m_stack.back().isDictionary && !m_stack.back().hasKey)
        return fail(QStringLiteral("a dictionary value has no key"));
    return true;
}

bool XmlParser::place(QVariant value)
{
    if (!mayPlace())
        return false;
    if (m_stack.empty()) {
        m_root = std::move(value);
        m_hasRoot = true;
        return true;
    }
    Frame &frame = m_stack.back();
    if (frame.isDictionary) {
        frame.map.insert(frame.key, std::move(value));
        frame.hasKey = false;
    } else {
        frame.list.append(std::move(value));
    }
    return true;
}

} // namespace

QVariant KSTXmlPropertyListReader::read(const QByteArray &data, QString *error)
{
    XmlParser parser(data);
    QVariant tree = parser.parse();
    if (!tree.isValid() && error)
        *error =
            QStringLiteral("The data is not a readable XML property list: %1.").arg(parser.error());
    return tree;
}
