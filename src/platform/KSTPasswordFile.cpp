#include "KSTPasswordFile.h"

#include "KSTFileName.h"
#include "KSTReadOnlyFile.h"

#include <QByteArrayView>
#include <QDir>

#include <limits>

namespace {

constexpr int fieldCount = 7;

std::optional<uint> decimalUserId(QByteArrayView text)
{
    if (text.isEmpty() || text.size() > 10)
        return std::nullopt;
    quint64 value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
        value = value * 10 + quint64(c - '0');
    }
    if (value > std::numeric_limits<uint>::max())
        return std::nullopt;
    return uint(value);
}

} // namespace

std::optional<KSTPasswordFile::Entry> KSTPasswordFile::findLogin(const QByteArray &contents,
                                                                 const QString &login)
{
    const QByteArray wanted = login.toUtf8();
    // An empty login or one with a separator can never name a line; "+" and "-" lines are NIS
    // markers, not users.
    if (wanted.isEmpty() || wanted.contains(':') || wanted.contains('\n') ||
        wanted.startsWith('+') || wanted.startsWith('-'))
        return std::nullopt;

    qsizetype start = 0;
    const qsizetype size = contents.size();
    while (start < size) {
        qsizetype end = contents.indexOf('\n', start);
        if (end < 0)
            end = size;
        const QByteArrayView line = QByteArrayView(contents).sliced(start, end - start);
        start = end + 1;
        if (line.size() > maximumLineBytes || !line.startsWith(wanted) ||
            line.size() <= wanted.size() || line.at(wanted.size()) != ':')
            continue;

        QByteArrayView fields[fieldCount];
        int count = 0;
        qsizetype from = 0;
        for (; count < fieldCount; ++count) {
            const qsizetype colon = line.indexOf(':', from);
            if (colon < 0) {
                fields[count++] = line.sliced(from);
                break;
            }
            fields[count] = line.sliced(from, colon - from);
            from = colon + 1;
        }
        // Exactly seven fields: a line with more colons is damaged, not a longer shell.
        if (count != fieldCount || line.count(':') != fieldCount - 1)
            continue;
        const std::optional<uint> userId = decimalUserId(fields[2]);
        QByteArrayView home = fields[5];
        if (home.endsWith('\r'))
            home.chop(1);
        if (!userId || !home.startsWith('/') || home.contains('\0'))
            continue;
        // Decoded losslessly: the home is a path, whatever its bytes.
        return Entry{login, *userId,
                     QDir::cleanPath(KSTFileName::decoded(home.data(), home.size()))};
    }
    return std::nullopt;
}

std::optional<KSTPasswordFile::Entry> KSTPasswordFile::readLogin(const QString &path,
                                                                 const QString &login)
{
    QByteArray contents;
    if (KSTReadOnlyFile::readWholeFileWithoutLinks(path, maximumFileBytes, &contents) !=
        KSTReadOnlyFile::Status::Read)
        return std::nullopt;
    return findLogin(contents, login);
}
