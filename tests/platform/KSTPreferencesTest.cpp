#include "KSTPreferences.h"

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

namespace {

// Sets an environment variable for one scope and puts the old value (or its absence) back.
class ScopedEnvironment
{
public:
    ScopedEnvironment(const char *name, std::optional<QByteArray> value) : m_name(name)
    {
        if (qEnvironmentVariableIsSet(name))
            m_saved = qgetenv(name);
        if (value)
            qputenv(name, *value);
        else
            qunsetenv(name);
    }
    ~ScopedEnvironment()
    {
        if (m_saved)
            qputenv(m_name, *m_saved);
        else
            qunsetenv(m_name);
    }
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
    const char *m_name;
    std::optional<QByteArray> m_saved;
};

class KSTPreferencesTest : public ::testing::Test
{
protected:
    QTemporaryDir m_temporary;
    ScopedEnvironment m_config{"XDG_CONFIG_HOME", QFile::encodeName(m_temporary.path())};

    QString folder() const { return m_temporary.path() + QStringLiteral("/kestrel"); }

    QString copyOf(const QString &path)
    {
        const QString copy = m_temporary.filePath(QStringLiteral("copy-%1.conf").arg(++m_copies));
        EXPECT_TRUE(QFile::copy(path, copy)) << path.toStdString();
        return copy;
    }

private:
    int m_copies = 0;
};

// A value as the documented way of reading it sees it; dates with their zone and
// milliseconds, lists with their length.
struct RoundTrip
{
    const char *name;
    QVariant written;
    std::function<QString(const QVariant &)> read;
};

QString asBool(const QVariant &value)
{
    return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
}

QString asUnsigned(const QVariant &value)
{
    bool ok = false;
    const quint64 number = value.toULongLong(&ok);
    return ok ? QString::number(number) : QStringLiteral("not a number");
}

QString asDate(const QVariant &value)
{
    const QDateTime date = value.toDateTime();
    return date.toString(Qt::ISODateWithMs) % u' ' % QString::number(date.timeSpec()) % u' ' %
           date.timeZoneAbbreviation();
}

QString asList(const QVariant &value)
{
    const QStringList list = value.toStringList();
    return QString::number(list.size()) % u':' % list.join(u'|');
}

} // namespace

TEST_F(KSTPreferencesTest, ValuesSurviveARoundTripThroughTheFile)
{
    const QDateTime utc(QDate(2024, 2, 29), QTime(23, 59, 58, 123), Qt::UTC);
    const QDateTime offset(QDate(2023, 11, 5), QTime(1, 30, 0, 7), Qt::OffsetFromUTC, -5 * 3600);
    const QDateTime zoned(QDate(2024, 7, 1), QTime(9, 0), QTimeZone("Europe/Berlin"));
    const QDateTime local(QDate(2022, 1, 31), QTime(12, 0, 0, 999), Qt::LocalTime);
    const std::vector<RoundTrip> cases = {
        {"trueFlag", true, asBool},
        {"falseFlag", false, asBool},
        {"above32Bits", QVariant::fromValue<quint64>(5'000'000'123ULL), asUnsigned},
        {"largestUnsigned", QVariant::fromValue<quint64>(18'446'744'073'709'551'615ULL),
         asUnsigned},
        {"utcDate", utc, asDate},
        {"offsetDate", offset, asDate},
        {"zonedDate", zoned, asDate},
        {"localDate", local, asDate},
        {"emptyList", QStringList{}, asList},
        {"oneElementList", QStringList{QStringLiteral("/Users/me/Downloads")}, asList},
        {"oneElementWithComma", QStringList{QStringLiteral("a, b")}, asList},
        {"twoElementList", QStringList{QStringLiteral("x"), QStringLiteral("y z")}, asList},
        {"listWithEmptyElement", QStringList{QString(), QStringLiteral("after")}, asList},
    };
    {
        std::unique_ptr<QSettings> writer = KSTPreferences::standard();
        for (const RoundTrip &testCase : cases)
            writer->setValue(QString::fromLatin1(testCase.name), testCase.written);
        writer->sync();
        EXPECT_EQ(writer->status(), QSettings::NoError);
    }
    ASSERT_TRUE(QFileInfo::exists(folder() + QStringLiteral("/com.kestrel.Kestrel.conf")));

    // Another object in this process, and what another process would read: Qt caches parsed
    // files per path, so only a copy under a new name is sure to be parsed from its text.
    std::unique_ptr<QSettings> sameProcess = KSTPreferences::standard();
    QSettings fromText(copyOf(sameProcess->fileName()), QSettings::IniFormat);
    for (QSettings *reader : {sameProcess.get(), &fromText}) {
        for (const RoundTrip &testCase : cases) {
            EXPECT_EQ(testCase.read(reader->value(QString::fromLatin1(testCase.name))),
                      testCase.read(testCase.written))
                << testCase.name << " in " << reader->fileName().toStdString();
        }
        EXPECT_EQ(asList(reader->value(QStringLiteral("neverWritten"))), QStringLiteral("0:"));
    }
}

TEST_F(KSTPreferencesTest, SuiteAndStandardDomainAreSeparateFiles)
{
    std::unique_ptr<QSettings> standard = KSTPreferences::standard();
    std::unique_ptr<QSettings> autoclean =
        KSTPreferences::suite(QStringLiteral("com.kestrel.autoclean"));
    standard->setValue(QStringLiteral("enabled"), true);
    autoclean->setValue(QStringLiteral("enabled"), false);
    standard->sync();
    autoclean->sync();

    EXPECT_EQ(QFileInfo(standard->fileName()).absoluteFilePath(),
              QFileInfo(folder() + QStringLiteral("/com.kestrel.Kestrel.conf")).absoluteFilePath());
    EXPECT_EQ(
        QFileInfo(autoclean->fileName()).absoluteFilePath(),
        QFileInfo(folder() + QStringLiteral("/com.kestrel.autoclean.conf")).absoluteFilePath());
    EXPECT_TRUE(KSTPreferences::standard()->value(QStringLiteral("enabled")).toBool());
    EXPECT_FALSE(KSTPreferences::suite(QStringLiteral("com.kestrel.autoclean"))
                     ->value(QStringLiteral("enabled"))
                     .toBool());
    EXPECT_EQ(KSTPreferences::suite(QString())->fileName(), standard->fileName())
        << "an empty suite name is the standard domain";

    const QString escaping = KSTPreferences::suite(QStringLiteral("../../outside"))->fileName();
    EXPECT_EQ(QFileInfo(escaping).absolutePath(), QFileInfo(folder()).absoluteFilePath())
        << escaping.toStdString();
}

TEST_F(KSTPreferencesTest, FollowsTheConfigurationFolderAtEveryCall)
{
    QTemporaryDir home;
    QTemporaryDir other;
    ScopedEnvironment homeVariable("HOME", QFile::encodeName(home.path()));
    const QString fallback = QDir::cleanPath(home.path() + QStringLiteral("/.config/kestrel"));
    const struct
    {
        const char *label;
        std::optional<QByteArray> xdg;
        QString expected;
    } cases[] = {
        {"absolute", QFile::encodeName(other.path()), other.path() + QStringLiteral("/kestrel")},
        {"unset", std::nullopt, fallback},
        {"empty", QByteArray(), fallback},
        {"relative", QByteArray("relative/config"), fallback},
    };
    for (const auto &testCase : cases) {
        ScopedEnvironment xdg("XDG_CONFIG_HOME", testCase.xdg);
        EXPECT_EQ(KSTPreferences::directory(), testCase.expected) << testCase.label;
    }

    // Written while pointed elsewhere, the value lands there and not in the first folder.
    {
        ScopedEnvironment xdg("XDG_CONFIG_HOME", QFile::encodeName(other.path()));
        std::unique_ptr<QSettings> settings = KSTPreferences::standard();
        settings->setValue(QStringLiteral("where"), QStringLiteral("other"));
        settings->sync();
    }
    EXPECT_TRUE(
        QFileInfo::exists(other.path() + QStringLiteral("/kestrel/com.kestrel.Kestrel.conf")));
    EXPECT_FALSE(KSTPreferences::standard()->contains(QStringLiteral("where")));
    EXPECT_EQ(KSTPreferences::directory(), folder());
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
            call(
                [&] { settings = KSTPreferences::suite(QStringLiteral("com.kestrel.autoclean")); });
            for (int key = 0; key < KeysPerThread; ++key) {
                call([&] {
                    settings->setValue(QStringLiteral("thread%1/key%2").arg(thread).arg(key),
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

    QSettings fromDisk(copyOf(folder() + QStringLiteral("/com.kestrel.autoclean.conf")),
                       QSettings::IniFormat);
    EXPECT_EQ(fromDisk.status(), QSettings::NoError);
    int found = 0;
    for (int thread = 0; thread < Threads; ++thread) {
        for (int key = 0; key < KeysPerThread; ++key) {
            const QVariant value =
                fromDisk.value(QStringLiteral("thread%1/key%2").arg(thread).arg(key));
            if (value.toInt() == thread * 1000 + key)
                ++found;
        }
    }
    EXPECT_EQ(found, Threads * KeysPerThread);
}
