#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>

/// One posted notification: its name ("KSTAutoCleanStateDidChangeNotification"), the object
/// that posted it (an identity only, never dereferenced) and its user-info map.
struct KSTNotification
{
    QString name;
    const void *object = nullptr;
    QVariantMap userInfo;
};

/// The program's notification centre: named notifications delivered to observers on the
/// main thread (Qt signals underneath).
///
/// post() on the main thread delivers synchronously, before it returns; post() on any other
/// thread queues the delivery to the main thread. Observers are tied to a context QObject
/// living on the main thread and are dropped when it is destroyed.
class KSTNotificationCenter : public QObject
{
    Q_OBJECT

public:
    using Observer = std::function<void(const KSTNotification &)>;

    static KSTNotificationCenter &defaultCenter();

    /// Calls @p observer on the main thread for every notification named @p name (every
    /// notification when @p name is empty) until @p context is destroyed or the returned
    /// connection is removed. Call on the main thread; @p context must not be null.
    QMetaObject::Connection addObserver(const QString &name, const QObject *context,
                                        Observer observer);
    void removeObserver(const QMetaObject::Connection &connection);

    /// Thread-safe. Notifications posted from one thread reach observers in posting order.
    void post(const QString &name, const void *object = nullptr, const QVariantMap &userInfo = {});

Q_SIGNALS:
    void notificationPosted(const KSTNotification &notification);

private:
    KSTNotificationCenter();
};
