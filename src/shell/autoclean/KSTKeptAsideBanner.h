#pragma once

#include "KSTBanner.h"

/// The strip above the Auto Clean rules while a never-touch list emptied at launch is kept
/// aside: what was kept, and Restore and Dismiss.
class KSTKeptAsideBanner : public KSTBanner
{
    Q_OBJECT

public:
    explicit KSTKeptAsideBanner(QWidget *parent = nullptr);

    /// Shows the entries kept aside; hides the banner when there are none.
    void setPaths(const QStringList &paths);

Q_SIGNALS:
    void restoreRequested();
    void dismissRequested();

private:
};
