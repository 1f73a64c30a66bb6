#include "KSTSystemdUnit.h"

#include "KSTKeyFileText.h"

#include <QByteArrayView>

QString KSTSystemdUnit::firstWord(const QString &commandLine)
{
    QString word;
    QChar quote;
    for (qsizetype index = 0; index < commandLine.size(); ++index) {
        const QChar c = commandLine.at(index);
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
            else if (c == QLatin1Char('\\') && quote == QLatin1Char('"') &&
                     index + 1 < commandLine.size())
                word += commandLine.at(++index);
            else
                word += c;
            continue;
        }
        if (c == QLatin1Char(' ') || c == QLatin1Char('\t')) {
            if (!word.isEmpty())
                break;
            continue;
        }
        if (c == QLatin1Char('"') || c == QLatin1Char('\''))
            quote = c;
        else if (c == QLatin1Char('\\') && index + 1 < commandLine.size())
            word += commandLine.at(++index);
        else
            word += c;
    }
    return word;
}

QString KSTSystemdUnit::execStartProgram(const QByteArray &contents)
{
    const QByteArrayView text = QByteArrayView(contents).first(
        std::min<qsizetype>(contents.size(), qsizetype(maximumFileBytes)));
    bool inService = false;
    qsizetype position = 0;
    while (position < text.size()) {
        qsizetype end = text.indexOf('\n', position);
        if (end < 0)
            end = text.size();
        const QByteArrayView rawLine = text.sliced(position, end - position);
        position = end + 1;
        if (rawLine.size() > maximumLineBytes)
            continue;
        const QByteArrayView line = KSTKeyFileText::trimmed(rawLine);
        if (line.isEmpty() || line.startsWith('#') || line.startsWith(';'))
            continue;
        if (line.startsWith('[')) {
            inService = line == "[Service]";
            continue;
        }
        if (!inService)
            continue;
        const qsizetype equals = line.indexOf('=');
        if (equals <= 0 || KSTKeyFileText::trimmed(line.first(equals)) != "ExecStart")
            continue;
        QByteArrayView value = KSTKeyFileText::trimmed(line.sliced(equals + 1));
        while (!value.isEmpty() && QByteArrayView("-@+!:").contains(value.front()))
            value = value.sliced(1);
        const QString program = firstWord(QString::fromUtf8(value));
        if (!program.isEmpty())
            return program;
    }
    return {};
}
