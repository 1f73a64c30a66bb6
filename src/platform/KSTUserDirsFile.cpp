#include "KSTUserDirsFile.h"

#include "KSTFileName.h"
#include "KSTReadOnlyFile.h"

#include <QByteArrayView>

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool isKeyCharacter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// The value of one `XDG_<KEY>_DIR="…"` line; false when the line is anything else.
bool parseLine(QByteArrayView line, QString *key, KSTUserDirsFile::Value *value)
{
    qsizetype at = 0;
    const qsizetype size = line.size();
    while (at < size && isBlank(line.at(at)))
        ++at;
    if (!line.sliced(at).startsWith("XDG_"))
        return false;
    at += 4;
    const qsizetype keyStart = at;
    while (at < size && isKeyCharacter(line.at(at)))
        ++at;
    const QByteArrayView name = line.sliced(keyStart, at - keyStart);
    if (!name.endsWith("_DIR") || name.size() <= 4)
        return false;
    while (at < size && isBlank(line.at(at)))
        ++at;
    if (at >= size || line.at(at) != '=')
        return false;
    ++at;
    while (at < size && isBlank(line.at(at)))
        ++at;
    if (at >= size || line.at(at) != '"')
        return false;
    ++at;

    KSTUserDirsFile::Value parsed;
    if (line.sliced(at).startsWith("$HOME")) {
        at += 5;
        if (at < size && line.at(at) == '/')
            ++at;
        else if (at >= size || line.at(at) != '"')
            return false; // "$HOMEX" is another variable
        parsed.relativeToHome = true;
    } else if (at >= size || line.at(at) != '/') {
        return false;
    }

    QByteArray path;
    bool closed = false;
    while (at < size) {
        char c = line.at(at++);
        if (c == '"') {
            closed = true;
            break;
        }
        if (c == '\\') {
            if (at >= size)
                break;
            c = line.at(at++);
        }
        path.append(c);
    }
    // An unterminated value or a NUL cannot be a path the desktop wrote.
    if (!closed || path.contains('\0'))
        return false;
    *key = QString::fromLatin1(name.chopped(4));
    parsed.path = KSTFileName::decoded(path); // a path, whatever its bytes
    *value = parsed;
    return true;
}

} // namespace

QHash<QString, KSTUserDirsFile::Value> KSTUserDirsFile::parse(const QByteArray &contents)
{
    QHash<QString, Value> values;
    qsizetype start = 0;
    const qsizetype size = contents.size();
    while (start < size) {
        qsizetype end = contents.indexOf('\n', start);
        if (end < 0)
            end = size;
        QByteArrayView line = QByteArrayView(contents).sliced(start, end - start);
        start = end + 1;
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.size() > maximumLineBytes)
            continue;
        QString key;
        Value value;
        if (parseLine(line, &key, &value))
            values.insert(key, value);
    }
    return values;
}

QHash<QString, KSTUserDirsFile::Value> KSTUserDirsFile::read(const QString &path,
                                                             bool followFinalLink)
{
    QByteArray contents;
    const KSTReadOnlyFile::Status status =
        followFinalLink
            ? KSTReadOnlyFile::readWholeFile(path, maximumFileBytes, &contents)
            : KSTReadOnlyFile::readWholeFileWithoutLinks(path, maximumFileBytes, &contents);
    if (status != KSTReadOnlyFile::Status::Read)
        return {};
    return parse(contents);
}
