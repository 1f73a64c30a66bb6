#include "KSTMimeGlobs.h"

#include <QByteArrayView>
#include <QList>

#include <algorithm>

QMap<QString, QStringList> KSTMimeGlobs::extensionsByType(const QByteArray &contents)
{
    struct Glob
    {
        int weight;
        qsizetype order;
        QString type;
        QString extension;
    };
    QList<Glob> globs;
    const QByteArrayView text = QByteArrayView(contents).first(
        std::min<qsizetype>(contents.size(), qsizetype(maximumFileBytes)));
    qsizetype position = 0;
    while (position < text.size() && globs.size() < maximumExtensions) {
        qsizetype end = text.indexOf('\n', position);
        if (end < 0)
            end = text.size();
        const QByteArrayView line = text.sliced(position, end - position);
        position = end + 1;
        if (line.size() > maximumLineBytes || line.isEmpty() || line.startsWith('#'))
            continue;
        const QList<QByteArray> fields = line.toByteArray().split(':');
        if (fields.size() < 3)
            continue;
        bool isNumber = false;
        const int weight = fields.at(0).toInt(&isNumber);
        const QByteArray &type = fields.at(1);
        const QByteArray glob = fields.at(2).trimmed();
        if (!isNumber || weight < 0 || type.isEmpty() || !type.contains('/') ||
            !glob.startsWith("*.") || glob.size() < 3)
            continue;
        const QByteArray extension = glob.mid(2);
        if (std::any_of(extension.cbegin(), extension.cend(), [](char c) {
                return c == '*' || c == '?' || c == '[' || c == ']' || c == '/' ||
                       static_cast<unsigned char>(c) < 0x20;
            }))
            continue;
        globs.append({weight, globs.size(), QString::fromUtf8(type).toLower(),
                      QString::fromUtf8(extension)});
    }
    std::stable_sort(globs.begin(), globs.end(),
                     [](const Glob &a, const Glob &b) { return a.weight > b.weight; });
    QMap<QString, QStringList> byType;
    for (const Glob &glob : std::as_const(globs)) {
        QStringList &extensions = byType[glob.type];
        if (!extensions.contains(glob.extension))
            extensions << glob.extension;
    }
    return byType;
}
