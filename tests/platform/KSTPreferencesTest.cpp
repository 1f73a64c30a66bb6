#include "KSTPreferences.h"

#include "KSTTestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QTemporaryDir>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

class KSTPreferencesTest : public ::testing::Test
{
protected:
    QTemporaryDir m_temporary;
    KSTScopedEnvironmentVariable m_config{"XDG_CONFIG_HOME", QFile::encodeName(m_temporary.path())};

    QString folder() const { return m_temporary.path() + "/kestrel"_L1; }

    QString copyOf(const QString &path)
    {
        const QString copy = m_temporary.filePath(u"copy-%1.conf"_s.arg(++m_copies));
        EXPECT_TRUE(QFile::copy(path, copy)) << path.toStdString();
        return copy;
    }

private:
    int m_copies = 0;
};

// A value as the documented way of reading it sees it: dates with their zone and
// milliseconds, lists with their length.
QString readBack(const QVariant &value, QMetaType::Type type)
{
    if (type == QMetaType::ULongLong)
        return QString::number(value.toULongLong());
    if (type == QMetaType::QDateTime) {
        const QDateTime date = value.toDateTime();
        return date.toString(Qt::ISODateWithMs) % u' ' % QString::number(date.timeSpec()) % u' ' %
               date.timeZoneAbbreviation();
    }
    const QStringList list = value.toStringList();
    return QString::number(list.size()) % u':' % list.join(u'|');
}

} // namespace

// Read back from a copy of the file: Qt caches parsed files per path, so only a copy under a
// new name is sure to be parsed from its text, as another process would.
TEST_F(KSTPreferencesTest, ValuesSurviveARoundTripThroughTheFile)
{
    const std::pair<const char *, QVariant> cases[] = {
        {"largestUnsigned", QVariant::fromValue<quint64>(18'446'744'073'709'551'615ULL)},
        {"offsetDate",
         QDateTime(QDate(2023, 11, 5), QTime(1, 30, 0, 7), Qt::OffsetFromUTC, -5 * 3600)},
        {"zonedDate", QDateTime(QDate(2024, 7, 1), QTime(9, 0), QTimeZone("Europe/Berlin"))},
        {"emptyList", QStringList{}},
        {"oneElementWithComma", QStringList{u"a, b"_s}},
        {"listWithEmptyElement", QStringList{QString(), u"after"_s}},
    };
    {
        std::unique_ptr<QSettings> writer = KSTPreferences::standard();
        writer->setValue(u"flag"_s, true);
        for (const auto &[key, value] : cases)
            writer->setValue(QLatin1String(key), value);
    }
    QSettings fromText(copyOf(folder() + "/com.kestrel.Kestrel.conf"_L1), QSettings::IniFormat);
    ASSERT_EQ(fromText.status(), QSettings::NoError);
    for (const auto &[key, value] : cases) {
        const auto type = QMetaType::Type(value.typeId());
        EXPECT_EQ(readBack(fromText.value(QLatin1String(key)), type), readBack(value, type)) << key;
    }
    EXPECT_TRUE(fromText.value(u"flag"_s).toBool());
    EXPECT_EQ(readBack(fromText.value(u"neverWritten"_s), QMetaType::QStringList), u"0:"_s);
}

TEST_F(KSTPreferencesTest, EachSuiteIsAFileOfItsOwnInTheConfigurationFolderOfTheMoment)
{
    QTemporaryDir home;
    QTemporaryDir other;
    KSTScopedEnvironmentVariable homeVariable("HOME", QFile::encodeName(home.path()));
    const QString fallback = QDir::cleanPath(home.path() + "/.config/kestrel"_L1);
    const std::pair<std::optional<QByteArray>, QString> cases[] = {
        {QFile::encodeName(other.path()), other.path() + "/kestrel"_L1},
        {std::nullopt, fallback},
        {QByteArray(), fallback},
        {QByteArray("relative/config"), fallback},
    };
    for (const auto &[xdg, expected] : cases) {
        KSTScopedEnvironmentVariable variable("XDG_CONFIG_HOME", xdg);
        EXPECT_EQ(KSTPreferences::directory(), expected) << xdg.value_or("(unset)").constData();
    }
    {
        KSTScopedEnvironmentVariable variable("XDG_CONFIG_HOME", QFile::encodeName(other.path()));
        KSTPreferences::standard()->setValue(u"enabled"_s, u"elsewhere"_s);
    }
    KSTPreferences::standard()->setValue(u"enabled"_s, true);
    KSTPreferences::suite(u"com.kestrel.autoclean"_s)->setValue(u"enabled"_s, false);
    EXPECT_TRUE(KSTPreferences::standard()->value(u"enabled"_s).toBool());
    EXPECT_FALSE(KSTPreferences::suite(u"com.kestrel.autoclean"_s)->value(u"enabled"_s).toBool());
    EXPECT_EQ(KSTPreferences::suite(QString())->fileName(), KSTPreferences::standard()->fileName());
    EXPECT_EQ(QSettings(other.path() + "/kestrel/com.kestrel.Kestrel.conf"_L1, QSettings::IniFormat)
                  .value(u"enabled"_s)
                  .toString(),
              u"elsewhere"_s);
    // A suite name cannot lead out of the folder.
    const QString escaping = KSTPreferences::suite(u"../../outside"_s)->fileName();
    EXPECT_EQ(QFileInfo(escaping).absolutePath(), QFileInfo(folder()).absoluteFilePath())
        << escaping.toStdString();
}

TEST_F(KSTPreferencesTest, ThreadsWritingOneDomainLoseNoKeys)
{
    // Under ThreadSanitizer the QSettings calls take turns: Qt guards its shared cache of
    // settings files (and glibc its time-zone state) with locks the sanitizer cannot see.
    // The objects still live side by side on their threads, each holding unsynced changes
    // while the others write, which is what could make one clobber another's keys.
#if defined(__SANITIZE_THREAD__)
    constexpr bool TakeTurns = true;
#else
    constexpr bool TakeTurns = false;
#endif
    std::mutex turns;
    const auto call = [&](const std::function<void()> &operation) {
        std::unique_lock lock(turns, std::defer_lock);
        if (TakeTurns)
            lock.lock();
        operation();
    };

    constexpr int Threads = 4;
    constexpr int KeysPerThread = 40;
    std::vector<std::thread> writers;
    for (int thread = 0; thread < Threads; ++thread) {
        writers.emplace_back([thread, &call] {
            std::unique_ptr<QSettings> settings;
            call([&] { settings = KSTPreferences::suite(u"com.kestrel.autoclean"_s); });
            for (int key = 0; key < KeysPerThread; ++key) {
                call([&] {
                    settings->setValue(u"thread%1/key%2"_s.arg(thread).arg(key),
                                       thread * 1000 + key);
                    if (key % 8 == 7)
                        settings->sync();
                });
                std::this_thread::yield();
            }
            call([&] { settings.reset(); });
        });
    }
    for (std::thread &writer : writers)
        writer.join();

    QSettings fromDisk(copyOf(folder() + "/com.kestrel.autoclean.conf"_L1), QSettings::IniFormat);
    EXPECT_EQ(fromDisk.status(), QSettings::NoError);
    int found = 0;
    for (int thread = 0; thread < Threads; ++thread) {
        for (int key = 0; key < KeysPerThread; ++key)
            found += fromDisk.value(u"thread%1/key%2"_s.arg(thread).arg(key)).toInt() ==
                     thread * 1000 + key;
    }
    EXPECT_EQ(found, Threads * KeysPerThread);
}
