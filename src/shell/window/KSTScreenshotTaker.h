#pragma once

#include <QObject>
#include <QSize>
#include <QString>
#include <QTimer>

class KSTMainWindowController;

/// Takes the picture of `kestrel --screenshot`: sizes the window, shows the section, waits
/// until its screen shows what its engine delivered (KSTToolScreen::isContentReady) and saves
/// the window as a PNG, or takes it a set time after showing the section (work in progress).
/// finished() carries the exit status: 0 saved; 1 not saved, or saved
/// after the time-out while the screen was still waiting (said on standard error).
class KSTScreenshotTaker : public QObject
{
    Q_OBJECT

public:
    KSTScreenshotTaker(KSTMainWindowController &controller, const QString &path, int section,
                       const QSize &size, int timeoutMs, QObject *parent = nullptr);

    /// The picture shows the System Report opened over the section (before start()).
    void setShowsSystemReport(bool shows) { m_systemReport = shows; }
    /// The picture is taken @p milliseconds after the section is shown, without waiting for
    /// its data (before start()).
    void setCaptureAfter(int milliseconds) { m_afterMs = milliseconds; }

    void start();

Q_SIGNALS:
    void finished(int exitStatus);

private:
    void capture(bool timedOut);

    KSTMainWindowController &m_controller;
    QString m_path;
    int m_section;
    QSize m_size;
    QTimer m_timeout;
    bool m_done = false;
    bool m_iconsAwaited = false;
    bool m_systemReport = false;
    int m_afterMs = -1;
};
