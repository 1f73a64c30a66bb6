#include "KSTPropertyList.h"

#include "KSTTestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

using KSTTestSupport::readFile;

QString macFile(const char *name)
{
    return KSTTestSupport::recordedMacFile(QLatin1String(name));
}

QString plistFile(const char *name)
{
    return KSTTestSupport::testDataPath(u"plist/"_s + QLatin1String(name));
}

// "a/b/3/c": dictionary keys and array indexes; invalid when a step is missing.
QVariant valueAt(QVariant value, const QString &path)
{
    for (const QString &step : path.split(u'/', Qt::SkipEmptyParts)) {
        bool isIndex = false;
        const int index = step.toInt(&isIndex);
        if (value.typeId() == QMetaType::QVariantMap && value.toMap().contains(step))
            value = value.toMap().value(step);
        else if (value.typeId() == QMetaType::QVariantList && isIndex && index >= 0 &&
                 index < value.toList().size())
            value = value.toList().at(index);
        else
            return {};
    }
    return value;
}

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int ms = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, ms), Qt::UTC);
}

// A value at a path of a file, compared with its type: 1 and 1.0 or "1" must not pass.
struct ValueAt
{
    QString file;
    const char *path;
    QVariant expected;
};

class KSTPropertyListValues : public ::testing::TestWithParam<ValueAt>
{
};

TEST_P(KSTPropertyListValues, ReadsTheValueWithItsType)
{
    const ValueAt &row = GetParam();
    QString error;
    const QVariant tree = KSTPropertyList::readFile(row.file, &error);
    ASSERT_TRUE(tree.isValid()) << qPrintable(error);
    const QVariant actual = valueAt(tree, QString::fromUtf8(row.path));
    EXPECT_EQ(actual.typeId(), row.expected.typeId()) << row.path;
    EXPECT_EQ(actual, row.expected) << row.path << " = " << qPrintable(actual.toString());
}

// Files that macOS wrote, in both formats.
INSTANTIATE_TEST_SUITE_P(
    RecordedOnMacs, KSTPropertyListValues,
    ::testing::Values(
        ValueAt{macFile("Info.plist.GarageBand.bplist"), "CFBundleIdentifier",
                u"com.apple.garageband10"_s},
        ValueAt{macFile("Info.plist.GarageBand.bplist"), "NSAppleScriptEnabled", true},
        ValueAt{macFile("Info.plist.Safari.xml"),
                "ASWebAuthenticationSessionWebBrowserSupportCapabilities/IsSupported", true},
        ValueAt{macFile("LaunchAgent.homebrew.mxcl.postgresql.plist"), "ProgramArguments/1",
                u"-D"_s},
        ValueAt{macFile("LaunchAgent.com.googlecode.munki.MunkiStatus.plist"),
                "LimitLoadToSessionType/0", u"LoginWindow"_s},
        ValueAt{macFile("iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist"), "Last Backup Date",
                utc(2021, 12, 3, 19, 33, 13)},
        ValueAt{macFile("iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist"),
                "Installed Applications/1", u"com.google.Gmail"_s},
        ValueAt{macFile("kMDItemWhereFroms.TorBrowser-6.0.5.bplist"), "1",
                u"https://www.torproject.org/download/download-easy.html.en"_s}));

// Every type of the mapping, from the same content in both formats.
std::vector<ValueAt> everyTypeInBothFormats()
{
    const std::pair<const char *, QVariant> rows[] = {
        {"unicode", u"Grüße, 東京 🦅"_s},
        {"emptyString", QString()},
        {"false", false},
        {"negative", qint64(-1)},
        {"minimum", std::numeric_limits<qint64>::min()},
        {"aboveSigned", quint64(1) << 63},
        {"maximumUnsigned", std::numeric_limits<quint64>::max()},
        {"real", 0.1},
        {"negativeReal", -2.5e-300},
        {"date", utc(2021, 12, 3, 19, 33, 13)},
        {"data", QByteArray("\x00\x01\xfe\xff"
                            "binary\x00",
                            11)},
        {"emptyData", QByteArray()},
        {"emptyArray", QVariantList()},
        {"emptyDict", QVariantMap()},
        {"nested/list/2/1/1/deep", u"bottom"_s},
        {"nested/dict/inner/key with spaces", u"value"_s},
    };
    std::vector<ValueAt> both;
    for (const char *file : {"all-types.xml", "all-types.bplist"}) {
        for (const auto &[path, expected] : rows)
            both.push_back({plistFile(file), path, expected});
    }
    return both;
}

INSTANTIATE_TEST_SUITE_P(AllTypes, KSTPropertyListValues,
                         ::testing::ValuesIn(everyTypeInBothFormats()));

class KSTPropertyListFormats : public ::testing::TestWithParam<std::pair<QString, QString>>
{
};

// The second file of each pair was written by Python's plistlib, not by libplist; our
// writers must give back the same tree from both formats.
TEST_P(KSTPropertyListFormats, BothFormatsAndBothWritersGiveTheSameTree)
{
    QString error;
    const QVariant tree = KSTPropertyList::readFile(GetParam().first, &error);
    ASSERT_TRUE(tree.isValid()) << qPrintable(error);
    EXPECT_EQ(KSTPropertyList::readFile(GetParam().second, &error), tree) << qPrintable(error);

    const QByteArray xml = KSTPropertyList::toXml(tree);
    EXPECT_TRUE(xml.startsWith("<?xml"));
    EXPECT_EQ(KSTPropertyList::fromData(xml), tree);
    const QByteArray binary = KSTPropertyList::toBinary(tree);
    EXPECT_TRUE(binary.startsWith("bplist00"));
    EXPECT_EQ(KSTPropertyList::fromData(binary), tree);
}

INSTANTIATE_TEST_SUITE_P(Pairs, KSTPropertyListFormats,
                         ::testing::Values(std::pair{macFile("Info.plist.Safari.xml"),
                                                     plistFile("Info.plist.Safari.bplist")},
                                           std::pair{macFile("Info.plist.GarageBand.bplist"),
                                                     plistFile("Info.plist.GarageBand.xml")},
                                           std::pair{plistFile("all-types.xml"),
                                                     plistFile("all-types.bplist")}));

TEST(KSTPropertyList, BinaryDatesKeepFractionsAndTimesBeforeTheEpoch)
{
    const QVariantList dates = KSTPropertyList::readFile(plistFile("dates.bplist")).toList();
    const QVariantList expected{utc(2021, 12, 3, 19, 33, 13, 250),
                                utc(1999, 12, 31, 23, 59, 58, 500), utc(1970, 1, 1, 0, 0, 0)};
    EXPECT_EQ(dates, expected);
    EXPECT_EQ(dates.value(0).toDateTime().timeSpec(), Qt::UTC);
    EXPECT_EQ(KSTPropertyList::fromData(KSTPropertyList::toBinary(dates)), QVariant(dates));
}

TEST(KSTPropertyList, WritesIntegersOfEveryWidthAndTypesOutsideTheMappingAsText)
{
    const QVariantMap tree{
        {u"int"_s, -7},
        {u"uint"_s, 7u},
        {u"huge"_s, std::numeric_limits<quint64>::max()},
        {u"url"_s, QUrl(u"https://example.org/a b"_s)},
        {u"list"_s, QStringList{u"a"_s, u"b"_s}},
    };
    const QVariantMap expected{
        {u"int"_s, qint64(-7)},
        {u"uint"_s, qint64(7)},
        {u"huge"_s, std::numeric_limits<quint64>::max()},
        {u"url"_s, QUrl(u"https://example.org/a b"_s).toString()},
        {u"list"_s, QVariantList{u"a"_s, u"b"_s}},
    };
    EXPECT_EQ(KSTPropertyList::fromData(KSTPropertyList::toXml(tree)), expected);
    EXPECT_EQ(KSTPropertyList::fromData(KSTPropertyList::toBinary(tree)), expected);
}

// --- Bad input ---------------------------------------------------------------------------

TEST(KSTPropertyList, MalformedInputGivesAnInvalidValueAndAReason)
{
    auto nested = [](int depth) -> QByteArray {
        return "<plist version=\"1.0\">" + QByteArray("<array>").repeated(depth) +
               QByteArray("</array>").repeated(depth) + "</plist>";
    };
    const std::pair<const char *, QByteArray> rows[] = {
        {"empty", QByteArray()},
        {"text", "hello, world"},
        {"magic only", "bplist00"},
        {"unclosed xml", "<?xml version=\"1.0\"?><plist><dict><key>a</key><string>b</string>"},
        {"truncated xml", readFile(macFile("Info.plist.Safari.xml")).left(5000)},
        {"zeros", QByteArray(4096, '\0')},
        {"nested deeper than any real list", nested(5000)},
    };
    for (const auto &[name, data] : rows) {
        QString error;
        EXPECT_FALSE(KSTPropertyList::fromData(data, &error).isValid()) << name;
        EXPECT_FALSE(error.isEmpty()) << name;
    }
    EXPECT_TRUE(KSTPropertyList::fromData(nested(100)).isValid());
}

// Every cut and every corrupted byte of real binary plists: never a crash (the sanitizer
// builds watch memory), and a failure always comes with its reason.
TEST(KSTPropertyList, SurvivesEveryTruncationAndSingleByteCorruption)
{
    for (const char *file : {"kMDItemWhereFroms.TorBrowser-6.0.5.bplist",
                             "iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist"}) {
        const QByteArray original = readFile(macFile(file));
        ASSERT_FALSE(original.isEmpty()) << file;
        for (qsizetype i = 0; i < original.size(); ++i) {
            QByteArray corrupted = original;
            corrupted[i] = char(corrupted[i] ^ 0xA5);
            for (const QByteArray &bytes : {original.left(i), corrupted}) {
                QString error;
                const QVariant tree = KSTPropertyList::fromData(bytes, &error);
                EXPECT_TRUE(tree.isValid() || !error.isEmpty()) << file << " at " << i;
            }
        }
    }
}

TEST(KSTPropertyList, ReadDictionaryTellsMissingMalformedAndNonDictionaryApart)
{
    bool ok = false;
    EXPECT_FALSE(KSTPropertyList::readDictionary(macFile("Info.plist.Safari.xml"), &ok).isEmpty());
    EXPECT_TRUE(ok);

    const QString notADictionary = macFile("kMDItemWhereFroms.TorBrowser-6.0.5.bplist");
    EXPECT_TRUE(KSTPropertyList::readDictionary(notADictionary, &ok).isEmpty());
    EXPECT_FALSE(ok);

    QString error;
    const QString missing = QDir::temp().filePath(u"kst-no-such-file.plist"_s);
    EXPECT_FALSE(KSTPropertyList::readFile(missing, &error).isValid());
    EXPECT_TRUE(error.contains(missing)) << qPrintable(error);
    ok = true;
    EXPECT_TRUE(KSTPropertyList::readDictionary(missing, &ok).isEmpty());
    EXPECT_FALSE(ok);
}

TEST(KSTPropertyList, WriteXmlFileReplacesTheFileWholeOrNotAtAll)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString target = dir.filePath(u"prefs.plist"_s);
    const QVariantMap first{{u"version"_s, qint64(1)}};
    const QVariantMap second{{u"version"_s, qint64(2)}, {u"name"_s, u"Kestrel"_s}};

    QString error;
    ASSERT_TRUE(KSTPropertyList::writeXmlFile(target, first, &error)) << qPrintable(error);
    ASSERT_TRUE(KSTPropertyList::writeXmlFile(target, second, &error)) << qPrintable(error);
    EXPECT_TRUE(readFile(target).startsWith("<?xml"));
    EXPECT_EQ(KSTPropertyList::readDictionary(target), second);

    // A parent that is a regular file cannot hold anything (root ignores permissions, this
    // it cannot ignore): the call fails and leaves no partial or temporary file behind.
    error.clear();
    EXPECT_FALSE(KSTPropertyList::writeXmlFile(target + "/inner.plist"_L1, first, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(KSTPropertyList::readDictionary(target), second);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{u"prefs.plist"_s});
}

} // namespace
