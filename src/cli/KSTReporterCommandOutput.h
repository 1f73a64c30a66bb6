#pragma once

#include "KSTReporterSnapshot.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>
#include <QVariantList>

/// What `kestrel reporter` prints: the weekly report and the stored history, readable, as
/// JSON (the property and plist key names as keys) and, for the history, as CSV.
namespace KSTReporterCommandOutput {

QJsonObject snapshotJson(const KSTReporterSnapshot &snapshot);
void printReport(QTextStream &out, const KSTReporterSnapshot &snapshot);

/// The records with their six keys; a figure that is missing or not a number is null.
QJsonArray historyJson(const QVariantList &records);
void printHistory(QTextStream &out, const QString &path, const QVariantList &records);
/// "day,storageUsed,networkIn,networkOut,filesAdded,trashCount,downloaded,uploaded" and one
/// line per record; downloaded and uploaded are the day's derived amounts (the chart's
/// rule, the oldest stored day counting its whole counter).
void printHistoryCsv(QTextStream &out, const QVariantList &records);

} // namespace KSTReporterCommandOutput
