#pragma once

#include <QWidget>

/// A tool's screen inside the content shell. Screens present what their engine delivers and
/// pass the user's choices back; they never scan, size or delete anything themselves.
///
/// The window creates one screen per section once and keeps it, so a screen keeps its state
/// while the user visits other tools; it is shown and hidden (showEvent/hideEvent) as the
/// user moves between tools. A screen never reaches for the window: what it wants of it goes
/// through the signals below.
class KSTToolScreen : public QWidget
{
    Q_OBJECT

public:
    explicit KSTToolScreen(QWidget *parent = nullptr);

    /// Whether the screen shows what its engine delivered (not a waiting state). The
    /// screenshot option waits for this before it takes the picture.
    virtual bool isContentReady() const { return true; }

Q_SIGNALS:
    /// isContentReady() has become true.
    void contentReady();

    // Requests a screen makes of the window. The window connects them for every screen, so a
    // new tool needs no change there to use them.

    /// The user asked for another tool (a shortcut, a link in a message).
    void didRequestSection(int section);
    /// The user asked to grant Full Disk Access for this screen's tool (a reminder's button):
    /// the window opens the settings and shows the tool again once access arrives.
    void didRequestFullDiskAccessSettings();
    /// The user asked for the System Report (it is no section of its own: the window shows it
    /// over the current one, with a way back).
    void didRequestSystemReport();
};
