#include "KSTPropertyList.h"

#include "KSTTestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <limits>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString macFile(const char *name)
{
    return KSTTestSupport::testDataPath(QStringLiteral("macos/") + QLatin1String(name));
}

QString plistFile(const char *name)
{
    return KSTTestSupport::testDataPath(QStringLiteral("plist/") + QLatin1String(name));
}

// "a/b/3/c": dictionary keys and array indexes; invalid when a step is missing.
QVariant valueAt(QVariant value, const QString &path)
{
    for (const QString &step : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (value.typeId() == QMetaType::QVariantMap) {
            const QVariantMap map = value.toMap();
            if (!map.contains(step))
                return {};
            value = map.value(step);
        } else if (value.typeId() == QMetaType::QVariantList) {
            bool isIndex = false;
            const int index = step.toInt(&isIndex);
            const QVariantList list = value.toList();
            if (!isIndex || index < 0 || index >= list.size())
                return {};
            value = list.at(index);
        } else {
            return {};
        }
    }
    return value;
}

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int ms = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, ms), Qt::UTC);
}

// --- Recorded files from Macs -----------------------------------------------------------

struct RecordedValue
{
    const char *file;
    const char *path;
    QVariant expected;
};

class KSTPropertyListRecorded : public ::testing::TestWithParam<RecordedValue>
{
};

TEST_P(KSTPropertyListRecorded, ReadsTheValueAsMacOSWroteIt)
{
    const RecordedValue &row = GetParam();
    QString error;
    const QVariant tree = KSTPropertyList::readFile(macFile(row.file), &error);
    ASSERT_TRUE(tree.isValid()) << qPrintable(error);
    const QVariant actual = valueAt(tree, QString::fromUtf8(row.path));
    EXPECT_EQ(actual.typeId(), row.expected.typeId()) << row.file << " " << row.path;
    EXPECT_EQ(actual, row.expected)
        << row.file << " " << row.path << " = " << qPrintable(actual.toString());
}

INSTANTIATE_TEST_SUITE_P(
    Files, KSTPropertyListRecorded,
    ::testing::Values(
        RecordedValue{"Info.plist.GarageBand.bplist", "CFBundleIdentifier",
                      QStringLiteral("com.apple.garageband10")},
        RecordedValue{"Info.plist.GarageBand.bplist", "CFBundleShortVersionString",
                      QStringLiteral("10.3.2")},
        RecordedValue{"Info.plist.GarageBand.bplist", "LSApplicationCategoryType",
                      QStringLiteral("public.app-category.music")},
        RecordedValue{"Info.plist.GarageBand.bplist", "NSAppleScriptEnabled", true},
        RecordedValue{"Info.plist.Safari.xml", "CFBundleIdentifier",
                      QStringLiteral("com.apple.Safari")},
        RecordedValue{"Info.plist.Safari.xml",
                      "ASWebAuthenticationSessionWebBrowserSupportCapabilities/IsSupported", true},
        RecordedValue{"LaunchAgent.homebrew.mxcl.postgresql.plist", "KeepAlive", true},
        RecordedValue{"LaunchAgent.homebrew.mxcl.postgresql.plist", "ProgramArguments/1",
                      QStringLiteral("-D")},
        RecordedValue{"LaunchAgent.com.googlecode.munki.MunkiStatus.plist",
                      "LimitLoadToSessionType/0", QStringLiteral("LoginWindow")},
        RecordedValue{"LaunchAgent.com.googlecode.munki.MunkiStatus.plist", "ProgramArguments/0",
                      QStringLiteral("/Applications/Managed Software Center.app/Contents/Helpers/"
                                     "MunkiStatus.app/Contents/MacOS/MunkiStatus")},
        RecordedValue{"iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist", "Last Backup Date",
                      utc(2021, 12, 3, 19, 33, 13)},
        RecordedValue{"iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist", "Product Type",
                      QStringLiteral("iPhone9,3")},
        RecordedValue{"iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist",
                      "Installed Applications/1", QStringLiteral("com.google.Gmail")},
        RecordedValue{
            "kMDItemWhereFroms.TorBrowser-6.0.5.bplist", "1",
            QStringLiteral("https://www.torproject.org/download/download-easy.html.en")}));

TEST(KSTPropertyList, KeepsDictionariesThatAreValuesWithTheirOwnKeys)
{
    // KeepAlive as a dictionary whose keys are paths: the shape launchd jobs rely on.
    const QVariantMap pathState =
        valueAt(KSTPropertyList::readFile(
                    macFile("LaunchAgent.com.googlecode.munki.MunkiStatus.plist")),
                QStringLiteral("KeepAlive/PathState"))
            .toMap();
    ASSERT_EQ(pathState.size(), 4);
    EXPECT_EQ(pathState.value(QStringLiteral("/var/run/com.googlecode.munki.MunkiStatus")),
              QVariant(true));
    EXPECT_EQ(valueAt(KSTPropertyList::readFile(
                          macFile("iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist")),
                      QStringLiteral("Installed Applications"))
                  .toList()
                  .size(),
              6);
}

// --- Both formats, and our own writers ---------------------------------------------------

struct FormatPair
{
    QString first;
    QString second;
};

class KSTPropertyListFormats : public ::testing::TestWithParam<FormatPair>
{
};

// The second file of each pair was written by Python's plistlib, not by libplist.
TEST_P(KSTPropertyListFormats, XmlAndBinaryOfTheSameContentGiveTheSameTree)
{
    QString error;
    const QVariant first = KSTPropertyList::readFile(GetParam().first, &error);
    ASSERT_TRUE(first.isValid()) << qPrintable(error);
    const QVariant second = KSTPropertyList::readFile(GetParam().second, &error);
    ASSERT_TRUE(second.isValid()) << qPrintable(error);
    EXPECT_EQ(first, second);
}

TEST_P(KSTPropertyListFormats, SurvivesARoundTripThroughBothWriters)
{
    const QVariant tree = KSTPropertyList::readFile(GetParam().first);
    ASSERT_TRUE(tree.isValid());

    const QByteArray xml = KSTPropertyList::toXml(tree);
    EXPECT_TRUE(xml.startsWith("<?xml"));
    const QVariant fromXml = KSTPropertyList::fromData(xml);
    EXPECT_EQ(fromXml, tree);
    EXPECT_EQ(KSTPropertyList::fromData(KSTPropertyList::toXml(fromXml)), tree);

    const QByteArray binary = KSTPropertyList::toBinary(tree);
    EXPECT_TRUE(binary.startsWith("bplist00"));
    EXPECT_EQ(KSTPropertyList::fromData(binary), tree);
}

INSTANTIATE_TEST_SUITE_P(Pairs, KSTPropertyListFormats,
                         ::testing::Values(FormatPair{macFile("Info.plist.Safari.xml"),
                                                      plistFile("Info.plist.Safari.bplist")},
                                           FormatPair{macFile("Info.plist.GarageBand.bplist"),
                                                      plistFile("Info.plist.GarageBand.xml")},
                                           FormatPair{plistFile("all-types.xml"),
                                                      plistFile("all-types.bplist")}));

// --- Value types -------------------------------------------------------------------------

struct TypedValue
{
    const char *key;
    QVariant expected;
};

class KSTPropertyListTypes : public ::testing::TestWithParam<TypedValue>
{
};

TEST_P(KSTPropertyListTypes, MapsEveryTypeInBothFormats)
{
    for (const char *file : {"all-types.xml", "all-types.bplist"}) {
        const QVariantMap root = KSTPropertyList::readDictionary(plistFile(file));
        ASSERT_FALSE(root.isEmpty()) << file;
        const QVariant actual = valueAt(root, QString::fromUtf8(GetParam().key));
        EXPECT_EQ(actual.typeId(), GetParam().expected.typeId()) << file << " " << GetParam().key;
        EXPECT_EQ(actual, GetParam().expected) << file << " " << GetParam().key;
    }
}

INSTANTIATE_TEST_SUITE_P(
    AllTypes, KSTPropertyListTypes,
    ::testing::Values(TypedValue{"string", QStringLiteral("plain")},
                      TypedValue{"unicode", QStringLiteral("Grüße, 東京 🦅")},
                      TypedValue{"emptyString", QString()}, TypedValue{"true", true},
                      TypedValue{"false", false}, TypedValue{"zero", qint64(0)},
                      TypedValue{"small", qint64(42)}, TypedValue{"negative", qint64(-1)},
                      TypedValue{"minimum", std::numeric_limits<qint64>::min()},
                      TypedValue{"maximumSigned", std::numeric_limits<qint64>::max()},
                      TypedValue{"aboveSigned", quint64(1) << 63},
                      TypedValue{"maximumUnsigned", std::numeric_limits<quint64>::max()},
                      TypedValue{"real", 0.1}, TypedValue{"negativeReal", -2.5e-300},
                      TypedValue{"date", utc(2021, 12, 3, 19, 33, 13)},
                      TypedValue{"data", QByteArray("\x00\x01\xfe\xff"
                                                    "binary\x00",
                                                    11)},
                      TypedValue{"emptyData", QByteArray()},
                      TypedValue{"emptyArray", QVariantList()},
                      TypedValue{"emptyDict", QVariantMap()},
                      TypedValue{"nested/list/2/1/1/deep", QStringLiteral("bottom")},
                      TypedValue{"nested/list/2/0", 3.0}, TypedValue{"nested/list/0", qint64(1)},
                      TypedValue{"nested/dict/inner/key with spaces", QStringLiteral("value")}));

TEST(KSTPropertyList, ReadsBinaryDatesWithFractionsAndBeforeTheEpoch)
{
    const QVariantList dates = KSTPropertyList::readFile(plistFile("dates.bplist")).toList();
    ASSERT_EQ(dates.size(), 3);
    EXPECT_EQ(dates.at(0).toDateTime(), utc(2021, 12, 3, 19, 33, 13, 250));
    EXPECT_EQ(dates.at(1).toDateTime(), utc(1999, 12, 31, 23, 59, 58, 500));
    EXPECT_EQ(dates.at(2).toDateTime(), utc(1970, 1, 1, 0, 0, 0));
    EXPECT_EQ(dates.at(0).toDateTime().timeSpec(), Qt::UTC);

    // And our binary writer keeps them, fractions included.
    EXPECT_EQ(KSTPropertyList::fromData(KSTPropertyList::toBinary(dates)), QVariant(dates));
}

TEST(KSTPropertyList, WritesIntegersOfEveryWidthAndTypesOutsideTheMappingAsText)
{
    const QVariantMap tree{
        {QStringLiteral("int"), -7},
        {QStringLiteral("uint"), 7u},
        {QStringLiteral("huge"), std::numeric_limits<quint64>::max()},
        {QStringLiteral("url"), QUrl(QStringLiteral("https://example.org/a b"))},
        {QStringLiteral("list"), QStringList{QStringLiteral("a"), QStringLiteral("b")}},
    };
    for (const QByteArray &bytes :
         {KSTPropertyList::toXml(tree), KSTPropertyList::toBinary(tree)}) {
        const QVariantMap back = KSTPropertyList::fromData(bytes).toMap();
        EXPECT_EQ(back.value(QStringLiteral("int")), QVariant(qint64(-7)));
        EXPECT_EQ(back.value(QStringLiteral("uint")), QVariant(qint64(7)));
        EXPECT_EQ(back.value(QStringLiteral("huge")),
                  QVariant(std::numeric_limits<quint64>::max()));
        EXPECT_EQ(back.value(QStringLiteral("url")),
                  QVariant(QUrl(QStringLiteral("https://example.org/a b")).toString()));
        EXPECT_EQ(back.value(QStringLiteral("list")),
                  QVariant(QVariantList{QStringLiteral("a"), QStringLiteral("b")}));
    }
}

// --- Bad input ---------------------------------------------------------------------------

struct BadInput
{
    const char *name;
    QByteArray data;
};

class KSTPropertyListBadInput : public ::testing::TestWithParam<BadInput>
{
};

TEST_P(KSTPropertyListBadInput, GivesAnInvalidValueAndAnError)
{
    QString error;
    const QVariant tree = KSTPropertyList::fromData(GetParam().data, &error);
    EXPECT_FALSE(tree.isValid()) << GetParam().name;
    EXPECT_FALSE(error.isEmpty()) << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, KSTPropertyListBadInput,
    ::testing::Values(
        BadInput{"empty", QByteArray()}, BadInput{"text", QByteArrayLiteral("hello, world")},
        BadInput{"json", QByteArrayLiteral("{\"CFBundleIdentifier\": \"x\"}")},
        BadInput{"magic only", QByteArrayLiteral("bplist00")},
        BadInput{"unclosed xml", QByteArrayLiteral("<?xml version=\"1.0\"?><plist><dict>"
                                                   "<key>a</key><string>b</string>")},
        BadInput{"truncated xml", readAll(macFile("Info.plist.Safari.xml")).left(5000)},
        BadInput{"truncated binary", readAll(macFile("Info.plist.GarageBand.bplist")).left(9000)},
        BadInput{"binary without trailer",
                 readAll(macFile("kMDItemWhereFroms.TorBrowser-6.0.5.bplist")).chopped(32)},
        BadInput{"zeros", QByteArray(4096, '\0')}),
    [](const ::testing::TestParamInfo<BadInput> &info) {
        QString name = QString::fromLatin1(info.param.name);
        name.replace(QLatin1Char(' '), QLatin1Char('_'));
        return name.toStdString();
    });

// Every cut and every corrupted byte of real binary plists: never a crash (the sanitizer
// builds watch memory), and a failure always comes with its reason.
TEST(KSTPropertyList, SurvivesEveryTruncationAndSingleByteCorruption)
{
    for (const char *file : {"kMDItemWhereFroms.TorBrowser-6.0.5.bplist",
                             "iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist"}) {
        const QByteArray original = readAll(macFile(file));
        ASSERT_FALSE(original.isEmpty()) << file;
        for (qsizetype length = 0; length < original.size(); ++length) {
            QString error;
            const QVariant tree = KSTPropertyList::fromData(original.left(length), &error);
            EXPECT_TRUE(tree.isValid() || !error.isEmpty()) << file << " cut at " << length;
        }
        for (qsizetype i = 0; i < original.size(); ++i) {
            QByteArray corrupted = original;
            corrupted[i] = char(corrupted[i] ^ 0xA5);
            QString error;
            const QVariant tree = KSTPropertyList::fromData(corrupted, &error);
            EXPECT_TRUE(tree.isValid() || !error.isEmpty()) << file << " byte " << i;
        }
    }
}

TEST(KSTPropertyList, RefusesTreesNestedDeeperThanAnyRealPropertyList)
{
    auto nested = [](int depth) -> QByteArray {
        return "<plist version=\"1.0\">" + QByteArray("<array>").repeated(depth) +
               QByteArray("</array>").repeated(depth) + "</plist>";
    };
    EXPECT_TRUE(KSTPropertyList::fromData(nested(100)).isValid());
    QString error;
    EXPECT_FALSE(KSTPropertyList::fromData(nested(5000), &error).isValid());
    EXPECT_FALSE(error.isEmpty());
}

TEST(KSTPropertyList, ReadDictionaryTellsMissingMalformedAndNonDictionaryApart)
{
    bool ok = false;
    EXPECT_FALSE(KSTPropertyList::readDictionary(macFile("Info.plist.Safari.xml"), &ok).isEmpty());
    EXPECT_TRUE(ok);

    const QString notADictionary = macFile("kMDItemWhereFroms.TorBrowser-6.0.5.bplist");
    EXPECT_TRUE(KSTPropertyList::readFile(notADictionary).isValid());
    EXPECT_TRUE(KSTPropertyList::readDictionary(notADictionary, &ok).isEmpty());
    EXPECT_FALSE(ok);

    QString error;
    const QString missing = QDir::temp().filePath(QStringLiteral("kst-no-such-file.plist"));
    EXPECT_FALSE(KSTPropertyList::readFile(missing, &error).isValid());
    EXPECT_TRUE(error.contains(missing)) << qPrintable(error);
    ok = true;
    EXPECT_TRUE(KSTPropertyList::readDictionary(missing, &ok).isEmpty());
    EXPECT_FALSE(ok);
}

// --- Atomic writing ----------------------------------------------------------------------

TEST(KSTPropertyList, WriteXmlFileReplacesTheFileWholeOrNotAtAll)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString target = dir.filePath(QStringLiteral("prefs.plist"));
    const QVariantMap first{{QStringLiteral("version"), qint64(1)}};
    const QVariantMap second{{QStringLiteral("version"), qint64(2)},
                             {QStringLiteral("name"), QStringLiteral("Kestrel")}};

    QString error;
    ASSERT_TRUE(KSTPropertyList::writeXmlFile(target, first, &error)) << qPrintable(error);
    ASSERT_TRUE(KSTPropertyList::writeXmlFile(target, second, &error)) << qPrintable(error);
    EXPECT_TRUE(readAll(target).startsWith("<?xml"));
    EXPECT_EQ(KSTPropertyList::readDictionary(target), second);

    // A parent that is a regular file cannot hold anything (root ignores permissions, this
    // it cannot ignore): the call fails and leaves no partial or temporary file behind.
    const QString blocked = target + QLatin1String("/inner.plist");
    error.clear();
    EXPECT_FALSE(KSTPropertyList::writeXmlFile(blocked, first, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(KSTPropertyList::readDictionary(target), second);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{QStringLiteral("prefs.plist")});
}

} // namespace
