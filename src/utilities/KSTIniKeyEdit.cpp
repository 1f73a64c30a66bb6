#include "KSTIniKeyEdit.h"

#include "linux/KSTKeyFileText.h"

#include <QByteArrayView>
#include <QList>

namespace {

using KSTKeyFileText::trimmed;

bool isGroupLine(QByteArrayView line)
{
    return trimmed(line).startsWith('[');
}

bool isGroup(QByteArrayView line, const QByteArray &group)
{
    const QByteArrayView text = trimmed(line);
    return text.size() == group.size() + 2 && text.front() == '[' && text.back() == ']' &&
           text.sliced(1, group.size()) == group;
}

// Whether @p line sets @p key (not a comment, not "key[locale]").
bool setsKey(QByteArrayView line, const QByteArray &key)
{
    const QByteArrayView text = trimmed(line);
    if (text.isEmpty() || text.front() == '#')
        return false;
    const qsizetype equals = text.indexOf('=');
    return equals > 0 && trimmed(text.first(equals)) == key;
}

QList<QByteArrayView> linesOf(const QByteArray &contents)
{
    QList<QByteArrayView> lines;
    const QByteArrayView text(contents);
    qsizetype position = 0;
    while (position < text.size()) {
        qsizetype end = text.indexOf('\n', position);
        if (end < 0)
            end = text.size();
        lines << text.sliced(position, end - position);
        position = end + 1;
    }
    return lines;
}

} // namespace

QByteArray KSTIniKeyEdit::withKey(const QByteArray &contents, const QByteArray &group,
                                  const QByteArray &key, const QByteArray &value)
{
    if (contents.size() > maximumBytes)
        return {};
    const QByteArray setting = key + '=' + value;
    const QList<QByteArrayView> lines = linesOf(contents);
    qsizetype groupStart = -1;
    for (qsizetype index = 0; index < lines.size() && groupStart < 0; ++index) {
        if (isGroup(lines.at(index), group))
            groupStart = index;
    }
    QByteArray result;
    result.reserve(contents.size() + setting.size() + group.size() + 4);
    const auto append = [&result](QByteArrayView line) {
        result.append(line.data(), line.size());
        result.append('\n');
    };
    if (groupStart < 0) {
        result = contents;
        if (!result.isEmpty() && !result.endsWith('\n'))
            result.append('\n');
        result.append('[' + group + "]\n" + setting + '\n');
        return result;
    }
    qsizetype groupEnd = groupStart + 1;
    while (groupEnd < lines.size() && !isGroupLine(lines.at(groupEnd)))
        ++groupEnd;
    qsizetype lastContent = groupStart;
    bool hasKey = false;
    for (qsizetype index = groupStart + 1; index < groupEnd; ++index) {
        hasKey = hasKey || setsKey(lines.at(index), key);
        if (!trimmed(lines.at(index)).isEmpty())
            lastContent = index;
    }
    bool written = false;
    for (qsizetype index = 0; index < lines.size(); ++index) {
        const bool inGroup = index > groupStart && index < groupEnd;
        if (inGroup && setsKey(lines.at(index), key)) {
            if (!written)
                append(setting);
            written = true;
            continue;
        }
        append(lines.at(index));
        if (!hasKey && index == lastContent) {
            append(setting);
            written = true;
        }
    }
    return result;
}

QByteArray KSTIniKeyEdit::valueOf(const QByteArray &contents, const QByteArray &group,
                                  const QByteArray &key)
{
    if (contents.size() > maximumBytes)
        return {};
    bool inGroup = false;
    bool seenGroup = false;
    for (QByteArrayView line : linesOf(contents)) {
        if (isGroupLine(line)) {
            if (seenGroup && inGroup)
                return {};
            inGroup = isGroup(line, group);
            seenGroup = seenGroup || inGroup;
            continue;
        }
        if (inGroup && setsKey(line, key)) {
            const QByteArrayView text = trimmed(line);
            return trimmed(text.sliced(text.indexOf('=') + 1)).toByteArray();
        }
    }
    return {};
}
