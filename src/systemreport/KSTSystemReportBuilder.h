#pragma once

#include "KSTReportContext.h"
#include "KSTSystemReportSnapshot.h"

#include <QDateTime>
#include <QString>

/// Turns what the collectors gathered into the report: the machine title, the subtitle, the
/// four summary cards and the fourteen sections with every row's words and colour hint. Pure:
/// it reads only the context (and @p now), so it runs on the report queue and in tests alike.
/// Never shows the full serial number, hardware identifiers, Wi-Fi names or process
/// arguments; a figure nobody could collect is "—".
class KSTSystemReportBuilder
{
public:
    KSTSystemReportBuilder() = delete;

    /// The snapshot of @p context. The chip name is @p chipHint (trimmed), else the profiler's
    /// "Chip", else the CPU brand, else "Apple Silicon" on Apple silicon.
    static KSTSystemReportSnapshot
    buildSnapshotFromContext(const KSTReportContext &context, const QString &chipHint = {},
                             const QDateTime &now = QDateTime::currentDateTime());

    /// The chip name as described above ("" when nothing is known).
    static QString chipName(const KSTReportContext &context, const QString &chipHint);
    /// The profiler value of @p key looked up within the part of its data type (hardware,
    /// graphics or memory; see the implementation for which key is where).
    static QString profilerValue(const KSTReportContext &context, const QString &part,
                                 const QString &key);
};
