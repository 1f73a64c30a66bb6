#include "KSTNotificationCenter.h"
#include "KSTDispatch.h"
#include "KSTTestSupport.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <thread>
#include <vector>

namespace {

class KSTNotificationCenterTest : public ::testing::Test
{
protected:
    KSTNotificationCenter &center = KSTNotificationCenter::defaultCenter();
    // Observers die with their context, so no test hears another test's notifications.
    std::unique_ptr<QObject> context = std::make_unique<QObject>();
};

const int ObjectIdentity = 0;

} // namespace

TEST_F(KSTNotificationCenterTest, PostOnTheMainThreadDeliversBeforeReturning)
{
    std::vector<KSTNotification> received;
    center.addObserver(
        QStringLiteral("KSTTestSyncNotification"), context.get(),
        [&](const KSTNotification &notification) { received.push_back(notification); });
    center.post(QStringLiteral("KSTTestSyncNotification"), &ObjectIdentity,
                {{QStringLiteral("reclaimedBytes"), qint64(5'000'000'000)}});

    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].name, QStringLiteral("KSTTestSyncNotification"));
    EXPECT_EQ(received[0].object, &ObjectIdentity);
    EXPECT_EQ(received[0].userInfo.value(QStringLiteral("reclaimedBytes")).toLongLong(),
              5'000'000'000);
}

TEST_F(KSTNotificationCenterTest, PostFromAnotherThreadArrivesLaterOnTheMainThread)
{
    const std::thread::id mainThread = std::this_thread::get_id();
    std::vector<KSTNotification> received;
    std::vector<std::thread::id> deliveredOn;
    center.addObserver(QStringLiteral("KSTTestHopNotification"), context.get(),
                       [&](const KSTNotification &notification) {
                           received.push_back(notification);
                           deliveredOn.push_back(std::this_thread::get_id());
                       });
    std::thread poster([&] {
        QVariantMap userInfo;
        userInfo.insert(QStringLiteral("failedPaths"),
                        QStringList{QStringLiteral("/a"), QStringLiteral("/b")});
        userInfo.insert(QStringLiteral("enabled"), true);
        KSTNotificationCenter::defaultCenter().post(QStringLiteral("KSTTestHopNotification"),
                                                    &ObjectIdentity, userInfo);
    });
    poster.join();
    EXPECT_TRUE(received.empty()) << "delivered off the main thread's loop";

    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return !received.empty(); }));
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(deliveredOn[0], mainThread);
    EXPECT_EQ(received[0].object, &ObjectIdentity);
    EXPECT_EQ(received[0].userInfo.value(QStringLiteral("failedPaths")).toStringList(),
              (QStringList{QStringLiteral("/a"), QStringLiteral("/b")}));
    EXPECT_TRUE(received[0].userInfo.value(QStringLiteral("enabled")).toBool());
}

TEST_F(KSTNotificationCenterTest, ObserversHearOnlyTheNameTheyAskedFor)
{
    const QString names[] = {QStringLiteral("KSTTestA"), QStringLiteral("KSTTestB"), QString()};
    std::map<QString, QStringList> heard;
    for (const QString &name : names) {
        center.addObserver(name, context.get(), [&heard, name](const KSTNotification &n) {
            heard[name].append(n.name);
        });
    }
    for (const char *posted : {"KSTTestA", "KSTTestB", "KSTTestA", "KSTTestC"})
        center.post(QString::fromLatin1(posted));

    EXPECT_EQ(heard[QStringLiteral("KSTTestA")],
              (QStringList{QStringLiteral("KSTTestA"), QStringLiteral("KSTTestA")}));
    EXPECT_EQ(heard[QStringLiteral("KSTTestB")], QStringList{QStringLiteral("KSTTestB")});
    EXPECT_EQ(heard[QString()].size(), 4) << "an empty name hears every notification";
}

TEST_F(KSTNotificationCenterTest, DestroyedContextStopsDeliveryEvenOfNotificationsInFlight)
{
    auto doomed = std::make_unique<QObject>();
    int doomedHeard = 0;
    int survivorHeard = 0;
    const QString name = QStringLiteral("KSTTestContextNotification");
    center.addObserver(name, doomed.get(), [&](const KSTNotification &) { ++doomedHeard; });
    center.addObserver(name, context.get(), [&](const KSTNotification &) { ++survivorHeard; });

    std::thread poster([&] { KSTNotificationCenter::defaultCenter().post(name); });
    poster.join();
    doomed.reset(); // the notification is still on its way to the main thread
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return survivorHeard == 1; }));
    center.post(name);

    EXPECT_EQ(survivorHeard, 2);
    EXPECT_EQ(doomedHeard, 0);
}

TEST_F(KSTNotificationCenterTest, RemovedObserverHearsNothingMoreWhileOthersStillDo)
{
    int removedHeard = 0;
    int keptHeard = 0;
    const QString name = QStringLiteral("KSTTestRemoveNotification");
    const QMetaObject::Connection removed =
        center.addObserver(name, context.get(), [&](const KSTNotification &) { ++removedHeard; });
    center.addObserver(name, context.get(), [&](const KSTNotification &) { ++keptHeard; });

    center.post(name);
    center.removeObserver(removed);
    center.post(name);

    EXPECT_EQ(removedHeard, 1);
    EXPECT_EQ(keptHeard, 2);
}

TEST_F(KSTNotificationCenterTest, PostsFromManyThreadsAllArriveInEachThreadsOrder)
{
    constexpr int Threads = 4;
    constexpr int PerThread = 250;
    std::vector<std::pair<int, int>> arrivals;
    bool offMainThread = false;
    const QString name = QStringLiteral("KSTTestManyNotification");
    center.addObserver(name, context.get(), [&](const KSTNotification &notification) {
        offMainThread |= !KSTDispatch::isMainThread();
        arrivals.emplace_back(notification.userInfo.value(QStringLiteral("thread")).toInt(),
                              notification.userInfo.value(QStringLiteral("sequence")).toInt());
    });

    std::vector<std::thread> posters;
    for (int thread = 0; thread < Threads; ++thread) {
        posters.emplace_back([thread, name] {
            for (int sequence = 0; sequence < PerThread; ++sequence) {
                KSTNotificationCenter::defaultCenter().post(
                    name, nullptr,
                    {{QStringLiteral("thread"), thread}, {QStringLiteral("sequence"), sequence}});
            }
        });
    }
    for (std::thread &poster : posters)
        poster.join();
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [&] { return arrivals.size() == std::size_t(Threads * PerThread); }));

    EXPECT_FALSE(offMainThread);
    std::vector<int> next(Threads, 0);
    for (const auto &[thread, sequence] : arrivals) {
        ASSERT_EQ(sequence, next[thread]) << "thread " << thread;
        ++next[thread];
    }
}
