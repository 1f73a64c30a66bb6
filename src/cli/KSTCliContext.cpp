#include "KSTCliContext.h"

#include "KSTFileName.h"
#include "KSTJsonTextWriter.h"
#include "KSTTerminalText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// A file name that is not UTF-8 holds lone surrogates (KSTFileName), which QJsonDocument
// would write as U+FFFD, losing the name's bytes. They are carried through serialisation as
// a noncharacter (reserved for such internal use) and two hex digits, then written as the
// JSON escape the streaming writer uses too (KSTJsonTextWriter::escapedByte()), which a
// reader decodes back to the same lone surrogate.
constexpr char16_t Marker = 0xFDD0;

QString marked(const QString &text)
{
    if (!KSTFileName::hasEscapedBytes(text))
        return text;
    QString result;
    for (qsizetype index = 0; index < text.size(); ++index) {
        if (const int byte = KSTFileName::escapedByteAt(text, index); byte >= 0)
            result += QChar(Marker) + QString::number(byte, 16).rightJustified(2, u'0');
        else
            result += text.at(index);
    }
    return result;
}

QJsonValue marked(const QJsonValue &value)
{
    if (value.isString())
        return marked(value.toString());
    if (value.isArray()) {
        QJsonArray array;
        for (const QJsonValue &element : value.toArray())
            array.append(marked(element));
        return array;
    }
    if (value.isObject()) {
        QJsonObject object;
        const QJsonObject source = value.toObject();
        for (auto it = source.begin(); it != source.end(); ++it)
            object.insert(marked(it.key()), marked(it.value()));
        return object;
    }
    return value;
}

QByteArray unmarked(QByteArray json)
{
    static const QByteArray marker = QString(QChar(Marker)).toUtf8();
    for (qsizetype at = json.indexOf(marker); at >= 0; at = json.indexOf(marker, at)) {
        const int byte = json.mid(at + marker.size(), 2).toInt(nullptr, 16);
        const QByteArray escape = KSTJsonTextWriter::escapedByte(byte).toLatin1();
        json.replace(at, marker.size() + 2, escape);
        at += escape.size();
    }
    return json;
}

} // namespace

void KSTCliContext::printJson(const QJsonValue &value)
{
    const QJsonValue safe = marked(value);
    const QJsonDocument document =
        safe.isArray() ? QJsonDocument(safe.toArray()) : QJsonDocument(safe.toObject());
    m_out << unmarked(document.toJson(QJsonDocument::Indented));
    m_out.flush();
}

int KSTCliContext::usageError(const QString &message)
{
    // Messages quote what was typed or found, which may hold control characters.
    m_err << "kestrel: " << KSTTerminalText::escaped(message)
          << "\nRun 'kestrel --help' for usage.\n";
    m_err.flush();
    return Usage;
}

int KSTCliContext::failure(const KSTError &error)
{
    m_err << "kestrel: " << KSTTerminalText::escaped(error.description) << " (" << error.domain
          << " error " << error.code << ")\n";
    m_err.flush();
    return Failure;
}

std::optional<QString> KSTCliContext::takeOption(const QString &name, bool *ok)
{
    if (ok)
        *ok = true;
    const QString prefix = name + QLatin1Char('=');
    for (qsizetype index = 0; index < m_arguments.size(); ++index) {
        const QString &argument = m_arguments.at(index);
        if (argument.startsWith(prefix)) {
            const QString value = argument.mid(prefix.size());
            m_arguments.removeAt(index);
            return value;
        }
        if (argument == name) {
            if (index + 1 >= m_arguments.size()) {
                if (ok)
                    *ok = false;
                m_arguments.removeAt(index);
                return std::nullopt;
            }
            const QString value = m_arguments.at(index + 1);
            m_arguments.remove(index, 2);
            return value;
        }
    }
    return std::nullopt;
}

QStringList KSTCliContext::takeRepeatedOption(const QString &name, bool *ok)
{
    QStringList values;
    bool allOk = true;
    for (;;) {
        bool valueOk = true;
        const std::optional<QString> value = takeOption(name, &valueOk);
        allOk = allOk && valueOk;
        if (!value)
            break;
        values << *value;
    }
    if (ok)
        *ok = allOk;
    return values;
}

bool KSTCliContext::takeFlag(const QString &name)
{
    return m_arguments.removeAll(name) > 0;
}
