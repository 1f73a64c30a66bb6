#pragma once

#include "KSTCardFrame.h"

class QLabel;
class QPushButton;

/// A tinted strip above the Auto Clean rules while a never-touch list emptied at launch is
/// kept aside: what was kept and two buttons, Restore and Dismiss. It only shows what it is
/// given; the screen asks the manager.
class KSTKeptAsideBanner : public KSTCardFrame
{
    Q_OBJECT

public:
    explicit KSTKeptAsideBanner(QWidget *parent = nullptr);

    /// Shows the entries kept aside; hides the banner when there are none.
    void setPaths(const QStringList &paths);
    QString messageText() const;
    QPushButton *restoreButton() const { return m_restore; }
    QPushButton *dismissButton() const { return m_dismiss; }

Q_SIGNALS:
    void restoreRequested();
    void dismissRequested();

private:
    QLabel *m_message = nullptr;
    QPushButton *m_restore = nullptr;
    QPushButton *m_dismiss = nullptr;
};
