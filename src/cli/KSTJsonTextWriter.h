#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringEncoder>
#include <QTextStream>

#include <vector>

/// Writes one indented JSON document straight to a stream, in the layout QJsonDocument
/// uses (four spaces per level), for documents too large to build in memory first: keys come
/// out in the order they are written. Strings are escaped as JSON requires (quote, backslash,
/// control characters), and a byte of a file name that is not UTF-8 (KSTFileName's escaped
/// bytes) as "\udcNN", which a reader decoding lone surrogates back to bytes (Python's
/// surrogateescape) turns into the name's own bytes.
///
/// The text is gathered as UTF-8 and handed to the stream in large pieces, straight to its
/// device when it has one: going through the stream's own UTF-16 buffer took longer than the
/// rest of a large listing. What was written reaches the stream when the document ends (its
/// outermost container closes) or the writer is destroyed.
///
/// The caller pairs every begin with its end and writes a key before each value inside an
/// object; the writer does not check.
class KSTJsonTextWriter
{
public:
    explicit KSTJsonTextWriter(QTextStream &out) : m_out(out) {}
    ~KSTJsonTextWriter();
    KSTJsonTextWriter(const KSTJsonTextWriter &) = delete;
    KSTJsonTextWriter &operator=(const KSTJsonTextWriter &) = delete;

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
    /// @p date as date.toUTC().toString(Qt::ISODateWithMs) gives it
    /// ("2024-06-15T08:30:00.250Z"), computed directly for the years 1000 to 9999, since a
    /// large listing holds one per file; empty for an invalid date.
    static QString isoDate(const QDateTime &date);
    /// The JSON escape that carries the file-name byte @p byte (0x80–0xFF): "\udcNN".
    static QString escapedByte(int byte);

private:
    void beforeValue();
    void writeQuoted(const QString &text);
    void appendUtf8(QStringView text);
    void indent();
    void closeContainer(char bracket);
    // Hands what was gathered to the stream.
    void flush();

    QTextStream &m_out;
    QByteArray m_buffer;
    QStringEncoder m_encoder{QStringEncoder::Utf8};
    std::vector<bool> m_hasItems; // per open container: has it a member yet
    bool m_afterKey = false;
};
