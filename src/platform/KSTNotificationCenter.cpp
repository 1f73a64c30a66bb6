#include "KSTNotificationCenter.h"

#include "KSTDispatch.h"

#include <QCoreApplication>
#include <QThread>

KSTNotificationCenter &KSTNotificationCenter::defaultCenter()
{
    // Never destroyed: code running while static objects are destroyed at exit may still
    // post, and a QObject outliving the application object is harmless.
    static KSTNotificationCenter *center = new KSTNotificationCenter;
    return *center;
}

KSTNotificationCenter::KSTNotificationCenter()
{
    // Observers are called on the main thread; keep the centre there even when a worker
    // thread is the first to ask for it.
    QCoreApplication *app = QCoreApplication::instance();
    if (app && thread() != app->thread())
        moveToThread(app->thread());
}

QMetaObject::Connection
KSTNotificationCenter::addObserver(const QString &name, const QObject *context, Observer observer)
{
    return connect(this, &KSTNotificationCenter::notificationPosted, context,
                   [name, observer = std::move(observer)](const KSTNotification &notification) {
                       if (name.isEmpty() || notification.name == name)
                           observer(notification);
                   });
}

void KSTNotificationCenter::removeObserver(const QMetaObject::Connection &connection)
{
    disconnect(connection);
}

void KSTNotificationCenter::post(const QString &name, const void *object,
                                 const QVariantMap &userInfo)
{
    KSTNotification notification{name, object, userInfo};
    if (KSTDispatch::isMainThread()) {
        Q_EMIT notificationPosted(notification);
        return;
    }
    // Through the main queue rather than a queued signal: its hand-off is one that
    // ThreadSanitizer can follow, and notifications keep the order they were posted in.
    KSTDispatch::mainAsync([this, notification = std::move(notification)] {
        Q_EMIT notificationPosted(notification);
    });
}
