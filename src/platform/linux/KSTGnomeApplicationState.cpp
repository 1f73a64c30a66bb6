#include "KSTGnomeApplicationState.h"

#include <QXmlStreamReader>

#include <algorithm>

namespace KSTGnomeApplicationState {

QList<LastSeen> lastSeen(const QByteArray &xml)
{
    QList<LastSeen> seen;
    if (xml.size() > maximumInputBytes)
        return seen;
    QXmlStreamReader reader(xml);
    qsizetype applications = 0;
    while (!reader.atEnd() && applications < maximumApplications) {
        if (reader.readNext() != QXmlStreamReader::StartElement ||
            reader.name() != QLatin1String("application"))
            continue;
        ++applications;
        const QXmlStreamAttributes attributes = reader.attributes();
        QString id = attributes.value(QLatin1String("id")).toString();
        bool ok = false;
        const qint64 time = attributes.value(QLatin1String("last-seen")).toLongLong(&ok);
        if (id.endsWith(QLatin1String(".desktop")))
            id.chop(8);
        if (!ok || id.isEmpty())
            continue;
        const auto same = std::find_if(seen.begin(), seen.end(),
                                       [&](const LastSeen &other) { return other.id == id; });
        if (same == seen.end())
            seen.append({id, time});
        else
            same->lastSeen = std::max(same->lastSeen, time);
    }
    return seen;
}

} // namespace KSTGnomeApplicationState
