#include "KSTReporterLinuxSources.h"

#include "KSTReporterSources.h"
#include "linux/KSTGnomeApplicationState.h"

#include <QStringDecoder>

#include <algorithm>

namespace KSTReporterLinuxSources {

namespace {

// The packages of the lines whose action is one of @p actions and, with a valid @p since,
// whose date is not before it.
QStringList packagesInLogTail(const QByteArray &tail, std::initializer_list<const char *> actions,
                              const QDateTime &since)
{
    QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    const QString text = decoder.decode(tail.left(MaximumInputBytes));
    if (decoder.hasError())
        return {};
    QStringList names;
    for (QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
        // date time action package version version
        const QList<QStringView> words = line.trimmed().split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (words.size() < 4 || std::none_of(actions.begin(), actions.end(), [&](const char *a) {
                return words[2] == QLatin1String(a);
            }))
            continue;
        if (since.isValid()) {
            const QDateTime when =
                QDateTime::fromString(words[0].toString() + QLatin1Char(' ') + words[1].toString(),
                                      QStringLiteral("yyyy-MM-dd HH:mm:ss"));
            if (!when.isValid() || when < since)
                continue;
        }
        const QString name = words[3].left(words[3].indexOf(QLatin1Char(':'))).toString();
        if (!name.isEmpty() && !names.contains(name))
            names.append(name);
    }
    return names;
}

} // namespace

QStringList removedPackagesInLogTail(const QByteArray &tail)
{
    return packagesInLogTail(tail, {"remove", "purge"}, QDateTime());
}

QStringList installedPackagesInLogTail(const QByteArray &tail, const QDateTime &since)
{
    if (!since.isValid())
        return {};
    return packagesInLogTail(tail, {"install"}, since);
}

QList<KSTReporterAppUsageEntry> applicationStateUsage(const QByteArray &xml, const QDateTime &since,
                                                      int limit, const QDateTime &now)
{
    if (xml.size() > MaximumInputBytes || !since.isValid() || limit <= 0)
        return {};
    QList<KSTGnomeApplicationState::LastSeen> seen = KSTGnomeApplicationState::lastSeen(xml);
    seen.removeIf([&since](const KSTGnomeApplicationState::LastSeen &application) {
        return application.lastSeen < since.toSecsSinceEpoch();
    });
    std::stable_sort(
        seen.begin(), seen.end(),
        [](const KSTGnomeApplicationState::LastSeen &a,
           const KSTGnomeApplicationState::LastSeen &b) { return a.lastSeen > b.lastSeen; });
    QList<KSTReporterAppUsageEntry> entries;
    for (const KSTGnomeApplicationState::LastSeen &application : seen.mid(0, limit)) {
        KSTReporterAppUsageEntry entry;
        entry.bundleIdentifier = application.id;
        entry.name = application.id;
        entry.usageSeconds = 0;
        entry.barFraction = 0.2;
        entry.detailText = QStringLiteral("Last used %1")
                               .arg(KSTReporterSources::relativeDayTextForDate(
                                   QDateTime::fromSecsSinceEpoch(application.lastSeen), now));
        entries.append(entry);
    }
    return entries;
}

} // namespace KSTReporterLinuxSources
