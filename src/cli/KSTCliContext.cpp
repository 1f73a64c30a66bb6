#include "KSTCliContext.h"

#include "KSTTerminalText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

void KSTCliContext::printJson(const QJsonValue &value)
{
    const QJsonDocument document =
        value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    m_out << document.toJson(QJsonDocument::Indented);
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
