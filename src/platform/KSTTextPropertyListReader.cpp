#include "KSTTextPropertyListReader.h"

#include "KSTPropertyListBudget.h"

#include <QStringDecoder>

#include <vector>

namespace {

bool isUnquotedCharacter(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_' ||
           u == '$' || u == '+' || u == '/' || u == ':' || u == '.' || u == '-';
}

int hexDigit(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'a' && u <= 'f')
        return u - 'a' + 10;
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    return -1;
}

class Parser
{
public:
    explicit Parser(QString text) : m_text(std::move(text)) {}

    QVariant parse();
    const QString &error() const { return m_error; }

private:
    struct Frame
    {
        bool isDictionary = false;
        bool withoutBraces = false; // a ".strings" file's dictionary, ended by the text's end
        QVariantList list;
        QVariantMap map;
        QString key;
    };

    enum class State { Value, Produced, ArrayElement, DictionaryEntry };

    bool fail(const QString &why)
    {
        if (m_error.isEmpty())
            m_error = QStringLiteral("%1 (at character %2)").arg(why).arg(m_position);
        return false;
    }

    bool atEnd() const { return m_position >= m_text.size(); }
    QChar peek() const { return atEnd() ? QChar() : m_text.at(m_position); }
    bool skipSpace();
    bool parseValue(bool withoutBraces, QVariant *result);
    bool step(State *state, QVariant *produced);
    bool openContainer(bool isDictionary, State *state);
    bool closeContainer(State *state, QVariant *produced);
    bool readLeaf(QVariant *value);
    bool readKey(QString *key);
    bool readQuoted(QString *text);
    bool readEscape(QString *text);
    bool readUnquoted(QString *text);
    bool readData(QByteArray *data);

    QString m_text;
    qsizetype m_position = 0;
    std::vector<Frame> m_stack;
    KSTPropertyListBudget m_budget;
    QString m_error;
};

QVariant Parser::parse()
{
    if (!skipSpace())
        return {};
    if (atEnd())
        return QVariantMap(); // an empty ".strings" file
    QVariant value;
    if (!parseValue(false, &value))
        return {};
    if (!skipSpace())
        return {};
    if (atEnd())
        return value;
    // A string followed by "=": the text is a dictionary without braces. Parse it again as
    // one, from the start and with a fresh budget.
    if (value.typeId() == QMetaType::QString && peek() == QLatin1Char('=')) {
        m_position = 0;
        m_budget = KSTPropertyListBudget();
        return parseValue(true, &value) ? value : QVariant();
    }
    fail(QStringLiteral("there is more text after the value"));
    return {};
}

bool Parser::skipSpace()
{
    while (!atEnd()) {
        const QChar c = peek();
        if (c.isSpace()) {
            ++m_position;
            continue;
        }
        if (c != QLatin1Char('/') || m_position + 1 >= m_text.size())
            return true;
        const QChar next = m_text.at(m_position + 1);
        if (next == QLatin1Char('/')) {
            while (!atEnd() && peek() != QLatin1Char('\n') && peek() != QLatin1Char('\r'))
                ++m_position;
        } else if (next == QLatin1Char('*')) {
            const qsizetype end = m_text.indexOf(QLatin1String("*/"), m_position + 2);
            if (end < 0)
                return fail(QStringLiteral("a comment never ends"));
            m_position = end + 2;
        } else {
            return true;
        }
    }
    return true;
}

// Containers are opened and closed on an explicit stack, so nesting costs heap, not stack.
bool Parser::parseValue(bool withoutBraces, QVariant *result)
{
    m_stack.clear();
    State state = State::Value;
    if (withoutBraces) {
        Frame frame;
        frame.isDictionary = true;
        frame.withoutBraces = true;
        m_stack.push_back(std::move(frame));
        state = State::DictionaryEntry;
    }
    QVariant produced;
    for (;;) {
        if (state == State::Produced && m_stack.empty()) {
            *result = std::move(produced);
            return true;
        }
        if (!step(&state, &produced))
            return false;
    }
}

bool Parser::step(State *state, QVariant *produced)
{
    if (!skipSpace())
        return false;
    switch (*state) {
    case State::Value: {
        if (atEnd())
            return fail(QStringLiteral("the text ends where a value should be"));
        if (!m_budget.takeValues())
            return fail(m_budget.error());
        const QChar c = peek();
        if (c == QLatin1Char('{') || c == QLatin1Char('('))
            return openContainer(c == QLatin1Char('{'), state);
        if (!readLeaf(produced))
            return false;
        *state = State::Produced;
        return true;
    }
    case State::Produced: {
        Frame &frame = m_stack.back();
        if (frame.isDictionary) {
            frame.map.insert(frame.key, std::move(*produced));
            if (peek() != QLatin1Char(';'))
                return fail(QStringLiteral("a dictionary entry does not end with ';'"));
            ++m_position;
            *state = State::DictionaryEntry;
            return true;
        }
        frame.list.append(std::move(*produced));
        if (peek() == QLatin1Char(')'))
            return closeContainer(state, produced);
        if (peek() != QLatin1Char(','))
            return fail(QStringLiteral("array elements are not separated by ','"));
        ++m_position;
        *state = State::ArrayElement;
        return true;
    }
    case State::ArrayElement:
        // Right after "(" or ",": the array may end here (a trailing comma is allowed).
        if (peek() == QLatin1Char(')'))
            return closeContainer(state, produced);
        *state = State::Value;
        return true;
    case State::DictionaryEntry: {
        Frame &frame = m_stack.back();
        if (frame.withoutBraces ? atEnd() : peek() == QLatin1Char('}'))
            return closeContainer(state, produced);
        QString key;
        if (!readKey(&key) || !skipSpace())
            return false;
        Frame &current = m_stack.back();
        if (current.withoutBraces && peek() == QLatin1Char(';')) {
            // A ".strings" entry of a key alone stands for itself.
            ++m_position;
            if (!m_budget.takeValues())
                return fail(m_budget.error());
            current.map.insert(key, key);
            return true;
        }
        if (peek() != QLatin1Char('='))
            return fail(QStringLiteral("a dictionary key is not followed by '='"));
        ++m_position;
        current.key = std::move(key);
        *state = State::Value;
        return true;
    }
    }
    return false;
}

bool Parser::openContainer(bool isDictionary, State *state)
{
    if (!m_budget.mayNest(qsizetype(m_stack.size())))
        return fail(m_budget.error());
    ++m_position;
    Frame frame;
    frame.isDictionary = isDictionary;
    m_stack.push_back(std::move(frame));
    *state = isDictionary ? State::DictionaryEntry : State::ArrayElement;
    return true;
}

bool Parser::closeContainer(State *state, QVariant *produced)
{
    Frame finished = std::move(m_stack.back());
    m_stack.pop_back();
    if (!finished.withoutBraces)
        ++m_position; // the closing brace or parenthesis
    *produced = finished.isDictionary ? QVariant(std::move(finished.map))
                                      : QVariant(std::move(finished.list));
    *state = State::Produced;
    return true;
}

bool Parser::readLeaf(QVariant *value)
{
    const QChar c = peek();
    if (c == QLatin1Char('<')) {
        QByteArray data;
        if (!readData(&data))
            return false;
        *value = std::move(data);
        return true;
    }
    QString text;
    if (!readKey(&text))
        return false;
    *value = std::move(text);
    return true;
}

bool Parser::readKey(QString *key)
{
    const QChar c = peek();
    if (c == QLatin1Char('"') || c == QLatin1Char('\''))
        return readQuoted(key);
    if (isUnquotedCharacter(c))
        return readUnquoted(key);
    return fail(QStringLiteral("a string was expected"));
}

bool Parser::readQuoted(QString *text)
{
    const QChar quote = m_text.at(m_position++);
    for (;;) {
        if (atEnd())
            return fail(QStringLiteral("a quoted string never ends"));
        const QChar c = m_text.at(m_position++);
        if (c == quote)
            break;
        if (c == QLatin1Char('\\')) {
            if (!readEscape(text))
                return false;
        } else {
            text->append(c);
        }
    }
    return m_budget.takePayload(text->size()) || fail(m_budget.error());
}

bool Parser::readEscape(QString *text)
{
    if (atEnd())
        return fail(QStringLiteral("a quoted string never ends"));
    const QChar c = m_text.at(m_position++);
    switch (c.unicode()) {
    case 'a':
        text->append(QChar(0x07));
        return true;
    case 'b':
        text->append(QChar(0x08));
        return true;
    case 'f':
        text->append(QChar(0x0C));
        return true;
    case 'n':
        text->append(QChar(0x0A));
        return true;
    case 'r':
        text->append(QChar(0x0D));
        return true;
    case 't':
        text->append(QChar(0x09));
        return true;
    case 'v':
        text->append(QChar(0x0B));
        return true;
    case 'U':
    case 'u': {
        // Up to four hexadecimal digits: one UTF-16 code unit.
        char16_t unit = 0;
        for (int digits = 0; digits < 4 && hexDigit(peek()) >= 0; ++digits)
            unit = char16_t(unit * 16 + hexDigit(m_text.at(m_position++)));
        text->append(QChar(unit));
        return true;
    }
    default:
        break;
    }
    if (c >= QLatin1Char('0') && c <= QLatin1Char('7')) {
        // Up to three octal digits.
        char16_t unit = char16_t(c.unicode() - '0');
        for (int digits = 1; digits < 3 && peek() >= QLatin1Char('0') && peek() <= QLatin1Char('7');
             ++digits)
            unit = char16_t(unit * 8 + (m_text.at(m_position++).unicode() - '0'));
        text->append(QChar(unit));
        return true;
    }
    text->append(c); // \" \' \\ and any other character stand for themselves
    return true;
}

bool Parser::readUnquoted(QString *text)
{
    const qsizetype start = m_position;
    while (!atEnd() && isUnquotedCharacter(peek()))
        ++m_position;
    *text = m_text.mid(start, m_position - start);
    return m_budget.takePayload(text->size()) || fail(m_budget.error());
}

bool Parser::readData(QByteArray *data)
{
    ++m_position; // '<'
    int high = -1;
    for (;;) {
        if (!skipSpace())
            return false;
        if (atEnd())
            return fail(QStringLiteral("data never ends"));
        const QChar c = m_text.at(m_position++);
        if (c == QLatin1Char('>'))
            break;
        const int digit = hexDigit(c);
        if (digit < 0)
            return fail(QStringLiteral("data holds a character that is not a hexadecimal digit"));
        if (high < 0) {
            high = digit;
            continue;
        }
        if (!m_budget.takePayload(1))
            return fail(m_budget.error());
        data->append(char(high * 16 + digit));
        high = -1;
    }
    if (high >= 0)
        return fail(QStringLiteral("data has an odd number of hexadecimal digits"));
    return true;
}

} // namespace

QString KSTTextPropertyListReader::decodedText(const QByteArray &data)
{
    if (data.startsWith("\xFF\xFE") || data.startsWith("\xFE\xFF")) {
        QStringDecoder decoder(data.startsWith("\xFF\xFE") ? QStringConverter::Utf16LE
                                                           : QStringConverter::Utf16BE,
                               QStringConverter::Flag::Default);
        return decoder.decode(QByteArrayView(data).sliced(2));
    }
    if (data.startsWith("\xEF\xBB\xBF"))
        return QString::fromUtf8(QByteArrayView(data).sliced(3));
    return QString::fromUtf8(data);
}

QVariant KSTTextPropertyListReader::read(const QByteArray &data, QString *error)
{
    Parser parser(decodedText(data));
    QVariant tree = parser.parse();
    if (!tree.isValid() && error)
        *error = QStringLiteral("The data is not a readable text property list: %1.")
                     .arg(parser.error());
    return tree;
}
