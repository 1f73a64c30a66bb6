#pragma once

#include "KSTSystemSnapshot.h"

#include <QList>
#include <QWidget>

class QLabel;
class QVBoxLayout;

/// The Overview's card of the largest applications: one row per application (name, size and
/// a bar as long as its share of the largest), and the number of applications installed.
class KSTLargestAppsView : public QWidget
{
    Q_OBJECT

public:
    explicit KSTLargestAppsView(QWidget *parent = nullptr);

    /// Shows @p apps in the order given (the engine's: largest first).
    void setApps(const QList<KSTAppUsageInfo> &apps, qint64 installedAppCount);

    /// The names shown, top to bottom.
    QStringList shownNames() const;

private:
    QVBoxLayout *m_rows = nullptr;
    QLabel *m_countLabel = nullptr;
    QStringList m_names;
};
