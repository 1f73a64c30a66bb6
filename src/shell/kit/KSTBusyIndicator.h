#pragma once

#include <QTimer>
#include <QWidget>

/// A small spinning arc in the accent colour: work is under way (a scan, a removal). It
/// turns only while it is visible and running, so a hidden screen costs no repaints.
class KSTBusyIndicator : public QWidget
{
    Q_OBJECT

public:
    explicit KSTBusyIndicator(int diameter = 16, QWidget *parent = nullptr);

    /// Shows the indicator and starts it turning, or stops it and hides it.
    void setRunning(bool running);
    bool isRunning() const { return m_running; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    int m_diameter;
    int m_angle = 0;
    bool m_running = false;
    QTimer m_timer;
};
