#include "KSTScreenshotTaker.h"

#include "KSTContentShellViewController.h"
#include "KSTIconLoader.h"
#include "KSTMainWindowController.h"
#include "KSTSidebarViewController.h"
#include "KSTToolScreen.h"

#include <QMainWindow>
#include <QPixmap>
#include <QTextStream>

#include <cstdio>

namespace {

// Lets layouts and the last repaints settle between the data's arrival and the picture.
constexpr int SettleMs = 200;

} // namespace

KSTScreenshotTaker::KSTScreenshotTaker(KSTMainWindowController &controller, const QString &path,
                                       int section, const QSize &size, int timeoutMs,
                                       QObject *parent)
    : QObject(parent), m_controller(controller), m_path(path), m_section(section), m_size(size)
{
    m_timeout.setSingleShot(true);
    m_timeout.setInterval(timeoutMs);
    connect(&m_timeout, &QTimer::timeout, this, [this] { capture(true); });
}

void KSTScreenshotTaker::start()
{
    m_controller.window()->resize(m_size);
    m_controller.sidebar()->selectSection(m_section);
    m_controller.showSection(m_section);
    if (m_systemReport)
        m_controller.showSystemReport();
    if (m_afterMs >= 0) {
        // Work in progress is caught as it is: the icons are not waited for either.
        m_iconsAwaited = true;
        QTimer::singleShot(m_afterMs, this, [this] { capture(false); });
        return;
    }
    auto *screen = qobject_cast<KSTToolScreen *>(m_controller.currentShell()->childController());
    if (!screen || screen->isContentReady()) {
        QTimer::singleShot(SettleMs, this, [this] { capture(false); });
        return;
    }
    connect(screen, &KSTToolScreen::contentReady, this,
            [this] { QTimer::singleShot(SettleMs, this, [this] { capture(false); }); });
    m_timeout.start();
}

void KSTScreenshotTaker::capture(bool timedOut)
{
    if (m_done)
        return;
    // Drawing the window starts reading the icons it shows, off the window's thread: the
    // picture waits until they are in.
    if (!timedOut && !m_iconsAwaited) {
        m_iconsAwaited = true;
        m_controller.window()->grab();
        KSTIconLoader &icons = KSTIconLoader::shared();
        if (icons.isLoading()) {
            connect(
                &icons, &KSTIconLoader::idle, this,
                [this] { QTimer::singleShot(SettleMs, this, [this] { capture(false); }); },
                Qt::SingleShotConnection);
            return;
        }
    }
    m_done = true;
    m_timeout.stop();
    QTextStream err(stderr);
    const QPixmap picture = m_controller.window()->grab();
    if (!picture.save(m_path, "PNG")) {
        err << "kestrel: could not save the screenshot to " << m_path << '\n';
        Q_EMIT finished(1);
        return;
    }
    if (timedOut) {
        err << "kestrel: the screen's data did not arrive in time; " << m_path
            << " shows it still waiting\n";
        Q_EMIT finished(1);
        return;
    }
    QTextStream(stdout) << "Saved " << m_path << " (" << picture.width() << "x" << picture.height()
                        << ")\n";
    Q_EMIT finished(0);
}
