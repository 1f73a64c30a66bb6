#include "KSTAppStreamMetadata.h"

#include <QDateTime>
#include <QXmlStreamReader>

#include <limits>

namespace {

// Seconds since the epoch of a release's timestamp or date; the smallest value without one.
qint64 releaseTime(const QXmlStreamAttributes &attributes)
{
    bool ok = false;
    const qint64 timestamp = attributes.value(QLatin1String("timestamp")).toLongLong(&ok);
    if (ok)
        return timestamp;
    // The day is enough to order releases; a time of day after it is ignored.
    const QDate date =
        QDate::fromString(attributes.value(QLatin1String("date")).left(10).toString(), Qt::ISODate);
    return date.isValid() ? date.startOfDay(Qt::UTC).toSecsSinceEpoch()
                          : std::numeric_limits<qint64>::min();
}

bool isUntranslated(const QXmlStreamReader &reader)
{
    return reader.attributes().value(QLatin1String("xml:lang")).isEmpty();
}

} // namespace

KSTAppStreamMetadata KSTAppStreamMetadata::parse(const QByteArray &contents)
{
    KSTAppStreamMetadata metadata;
    if (contents.size() > maximumFileBytes)
        return metadata;
    QXmlStreamReader reader(contents);
    QString legacyDeveloper;
    bool releaseFound = false;
    qint64 newest = std::numeric_limits<qint64>::min();
    qsizetype depthInDeveloper = 0; // > 0 inside <developer>
    qsizetype elements = 0;
    while (!reader.atEnd() && elements < maximumElements) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::EndElement) {
            if (depthInDeveloper > 0)
                --depthInDeveloper;
            continue;
        }
        if (token != QXmlStreamReader::StartElement)
            continue;
        ++elements;
        if (depthInDeveloper > 0)
            ++depthInDeveloper;
        const QStringView name = reader.name();
        if (name == QLatin1String("release")) {
            const QString version = reader.attributes().value(QLatin1String("version")).toString();
            const qint64 time = releaseTime(reader.attributes());
            if (!version.isEmpty() && version.size() <= maximumValueCharacters &&
                (!releaseFound || time > newest)) {
                metadata.releaseVersion = version;
                newest = time;
                releaseFound = true;
            }
        } else if (name == QLatin1String("developer")) {
            depthInDeveloper = 1;
        } else if (name == QLatin1String("name") && depthInDeveloper == 2 &&
                   metadata.developerName.isEmpty() && isUntranslated(reader)) {
            const QString value =
                reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
            depthInDeveloper = 1; // readElementText consumed the end tag
            if (value.size() <= maximumValueCharacters)
                metadata.developerName = value;
        } else if (name == QLatin1String("developer_name") && legacyDeveloper.isEmpty() &&
                   isUntranslated(reader)) {
            const QString value =
                reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
            if (value.size() <= maximumValueCharacters)
                legacyDeveloper = value;
        }
    }
    if (metadata.developerName.isEmpty())
        metadata.developerName = legacyDeveloper;
    return metadata;
}
