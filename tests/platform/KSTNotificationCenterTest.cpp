#include "KSTNotificationCenter.h"
#include "KSTDispatch.h"
#include "KSTTestSupport.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

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

TEST_F(KSTNotificationCenterTest, PostsFromOtherThreadsArriveLaterOnTheMainThreadInOrder)
{
    constexpr int Threads = 4;
    constexpr int PerThread = 200;
    std::vector<std::pair<int, int>> arrivals;
    bool offMainThread = false;
    bool objectLost = false;
    const QString name = u"KSTTestManyNotification"_s;
    center.addObserver(name, context.get(), [&](const KSTNotification &notification) {
        offMainThread |= !KSTDispatch::isMainThread();
        objectLost |= notification.object != &ObjectIdentity;
        arrivals.emplace_back(notification.userInfo.value(u"thread"_s).toInt(),
                              notification.userInfo.value(u"sequence"_s).toInt());
    });

    std::vector<std::thread> posters;
    for (int thread = 0; thread < Threads; ++thread) {
        posters.emplace_back([thread, name] {
            for (int sequence = 0; sequence < PerThread; ++sequence) {
                KSTNotificationCenter::defaultCenter().post(
                    name, &ObjectIdentity, {{u"thread"_s, thread}, {u"sequence"_s, sequence}});
            }
        });
    }
    for (std::thread &poster : posters)
        poster.join();
    EXPECT_TRUE(arrivals.empty()) << "delivered outside the main thread's loop";
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [&] { return arrivals.size() == std::size_t(Threads * PerThread); }));

    EXPECT_FALSE(offMainThread);
    EXPECT_FALSE(objectLost);
    std::vector<int> next(Threads, 0);
    for (const auto &[thread, sequence] : arrivals)
        ASSERT_EQ(sequence, next[thread]++) << "thread " << thread;
}

// Posted on the main thread, a notification is delivered, whole, before post() returns.
TEST_F(KSTNotificationCenterTest, ObserversHearOnlyTheNameTheyAskedForAtOnce)
{
    std::map<QString, QStringList> heard;
    std::optional<KSTNotification> last;
    for (const QString &name : {u"KSTTestA"_s, u"KSTTestB"_s, QString()}) {
        center.addObserver(name, context.get(), [&heard, &last, name](const KSTNotification &n) {
            heard[name].append(n.name);
            last = n;
        });
    }
    for (const char *posted : {"KSTTestA", "KSTTestB", "KSTTestA", "KSTTestC"})
        center.post(QString::fromLatin1(posted), &ObjectIdentity,
                    {{u"reclaimedBytes"_s, qint64(5'000'000'000)}});

    EXPECT_EQ(heard[u"KSTTestA"_s], (QStringList{u"KSTTestA"_s, u"KSTTestA"_s}));
    EXPECT_EQ(heard[u"KSTTestB"_s], QStringList{u"KSTTestB"_s});
    EXPECT_EQ(heard[QString()].size(), 4) << "an empty name hears every notification";
    ASSERT_TRUE(last.has_value());
    EXPECT_EQ(last->object, &ObjectIdentity);
    EXPECT_EQ(last->userInfo.value(u"reclaimedBytes"_s).toLongLong(), 5'000'000'000);
}

TEST_F(KSTNotificationCenterTest, DestroyedContextOrRemovedObserverStopsDelivery)
{
    auto doomed = std::make_unique<QObject>();
    int doomedHeard = 0;
    int removedHeard = 0;
    int survivorHeard = 0;
    const QString name = u"KSTTestStopNotification"_s;
    center.addObserver(name, doomed.get(), [&](const KSTNotification &) { ++doomedHeard; });
    const QMetaObject::Connection removed =
        center.addObserver(name, context.get(), [&](const KSTNotification &) { ++removedHeard; });
    center.addObserver(name, context.get(), [&](const KSTNotification &) { ++survivorHeard; });

    center.post(name);
    center.removeObserver(removed);
    std::thread poster([&] { KSTNotificationCenter::defaultCenter().post(name); });
    poster.join();
    doomed.reset(); // the notification is still on its way to the main thread
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return survivorHeard == 2; }));

    EXPECT_EQ(doomedHeard, 1);
    EXPECT_EQ(removedHeard, 1);
}
