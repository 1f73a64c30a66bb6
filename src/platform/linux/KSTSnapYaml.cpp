#include "KSTSnapYaml.h"

#include <QByteArrayView>

namespace KSTSnapYaml {

QString version(const QByteArray &contents)
{
    const QByteArrayView text =
        QByteArrayView(contents).first(std::min(contents.size(), maximumFileBytes));
    qsizetype position = 0;
    while (position < text.size()) {
        qsizetype end = text.indexOf('\n', position);
        if (end < 0)
            end = text.size();
        QByteArrayView line = text.sliced(position, end - position);
        position = end + 1;
        if (line.size() > maximumLineBytes || !line.startsWith("version:"))
            continue;
        QByteArrayView value = line.sliced(8).trimmed();
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'')) {
            const qsizetype closing = value.indexOf(value.front(), 1);
            value = closing > 0 ? value.sliced(1, closing - 1) : QByteArrayView();
        } else {
            // A plain scalar ends where a comment starts (" #").
            const qsizetype comment = value.indexOf(" #");
            if (comment >= 0)
                value = value.first(comment).trimmed();
        }
        const QString result = QString::fromUtf8(value).trimmed();
        return result.size() <= maximumVersionCharacters ? result : QString();
    }
    return {};
}

} // namespace KSTSnapYaml
