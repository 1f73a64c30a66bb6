#pragma once

#include "KSTSystemReportSnapshot.h"

#include <QList>
#include <QString>
#include <QStringList>

/// The fixed shape of the report: the four summary cards and the fourteen sections, each with
/// its title, symbol, palette colour and row labels, in display order.
namespace KSTSystemReportLayout {

struct SectionShape
{
    QString title;
    QString symbolName;
    QString iconColor;
    QStringList rowLabels;
};
struct CardShape
{
    QString title;
    QString symbolName;
    QString iconColor;
};

/// The fourteen sections in display order.
const QList<SectionShape> &sections();
/// "macOS", "Chip", "Storage", "Security" in display order.
const QList<CardShape> &cards();

/// A section of @p shape with @p values in its row order (missing values show "—").
KSTReportSection section(const SectionShape &shape, const QList<KSTReportRow> &rows,
                         const QString &subtitle = {});

/// What is shown before anything is known: now, "Preparing system report…", every card and
/// row "Loading…", only "Installed Applications" with the subtitle "Loading…".
KSTSystemReportSnapshot placeholderSnapshot();

} // namespace KSTSystemReportLayout
