#pragma once

#include <QString>
#include <QTextStream>

#include <vector>

/// Writes one indented JSON document straight to a stream, in the layout QJsonDocument
/// uses (four spaces per level), for documents too large to build in memory first: keys come
/// out in the order they are written. Strings are escaped as JSON requires (quote, backslash,
/// control characters).
///
/// The caller pairs every begin with its end and writes a key before each value inside an
/// object; the writer does not check.
class KSTJsonTextWriter
{
public:
    explicit KSTJsonTextWriter(QTextStream &out) : m_out(out) {}

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    /// The next value's key (inside an object).
    void key(const QString &name);

    void value(const QString &text);
    void value(quint64 number);
    void value(double number);
    void value(bool flag);
    void nullValue();

    /// @p text as a JSON string literal.
    static QString quoted(const QString &text);

private:
    void beforeValue();
    void indent();

    QTextStream &m_out;
    std::vector<bool> m_hasItems; // per open container: has it a member yet
    bool m_afterKey = false;
};
