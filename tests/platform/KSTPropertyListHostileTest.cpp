// Property lists made to hurt the reader: crafted binary and XML files that crashed or
// exhausted earlier readers, caps reached on purpose, and paths that are no regular file.
#include "KSTPropertyList.h"

#include "KSTHostileFiles.h"
#include "KSTTestSupport.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <future>
#include <limits>

using namespace Qt::StringLiterals;
using KSTHostileFiles::binaryPlist;

namespace {

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray out;
    for (const int value : values)
        out.append(char(value));
    return out;
}

TEST(KSTPropertyListHostile, ReadsADictionaryWhoseKeyIsTheNulCharacter)
{
    const QByteArray plist = KSTHostileFiles::nulKeyBinaryPlist();
    ASSERT_EQ(plist.size(), 52);
    QString error;
    const QVariant tree = KSTPropertyList::fromData(plist, &error);
    ASSERT_TRUE(tree.isValid()) << qPrintable(error);
    const QVariantMap expected{{QString(QChar(0)), u"abc"_s}};
    EXPECT_EQ(tree.toMap(), expected);
    // Written back: the binary form keeps the key, XML (which cannot hold U+0000) replaces it.
    EXPECT_EQ(KSTPropertyList::fromData(KSTPropertyList::toBinary(tree)), tree);
    const QVariantMap throughXml{{QString(QChar::ReplacementCharacter), u"abc"_s}};
    EXPECT_EQ(KSTPropertyList::fromData(KSTPropertyList::toXml(tree)).toMap(), throughXml);
}

// Every cap is met exactly at its limit and refused one step past it, in each format that
// can express it.
TEST(KSTPropertyListHostile, DepthIsCappedInEveryFormat)
{
    const int limit = KSTPropertyList::MaximumDepth;
    const std::pair<const char *, QByteArray (*)(int)> formats[] = {
        {"binary", KSTHostileFiles::nestedArraysBinaryPlist},
        {"xml", KSTHostileFiles::nestedArraysXmlPlist},
        {"text",
         [](int depth) -> QByteArray {
             return QByteArray("(").repeated(depth) + QByteArray(")").repeated(depth);
         }},
    };
    for (const auto &[name, make] : formats) {
        QString error;
        EXPECT_TRUE(KSTPropertyList::fromData(make(limit), &error).isValid())
            << name << ": " << qPrintable(error);
        for (const int depth : {limit + 1, 100'000}) {
            error.clear();
            EXPECT_FALSE(KSTPropertyList::fromData(make(depth), &error).isValid()) << name;
            EXPECT_TRUE(error.contains(u"nested deeper than 512"_s)) << qPrintable(error);
        }
    }
}

TEST(KSTPropertyListHostile, SharedObjectsCannotMultiplyIntoAHugeTree)
{
    // 16^8 leaves from a file of a few hundred bytes: refused when the value count runs out,
    // long before the tree could be built.
    const QByteArray bomb = KSTHostileFiles::sharedArraysBinaryPlist(8, 16);
    ASSERT_LT(bomb.size(), 1024);
    QString error;
    EXPECT_FALSE(KSTPropertyList::fromData(bomb, &error).isValid());
    EXPECT_TRUE(error.contains(u"more than 1000000 values"_s)) << qPrintable(error);
    // Sharing itself is legal: 16^3 leaves are read, and a shared object is built once, its
    // uses sharing one copy (so a small file cannot cost time or memory per use).
    const QVariant small =
        KSTPropertyList::fromData(KSTHostileFiles::sharedArraysBinaryPlist(3, 16));
    const QVariantList top = small.toList();
    ASSERT_EQ(top.size(), 16);
    EXPECT_EQ(top.at(15).toList().at(15).toList().at(15), QVariant(u"x"_s));
    EXPECT_TRUE(top.at(0).toList().isSharedWith(top.at(15).toList()));
    // 16^4 + 16^3 + ... values fit under the cap; one more level would not.
    EXPECT_TRUE(
        KSTPropertyList::fromData(KSTHostileFiles::sharedArraysBinaryPlist(4, 16)).isValid());
    EXPECT_FALSE(
        KSTPropertyList::fromData(KSTHostileFiles::sharedArraysBinaryPlist(5, 16)).isValid());

    // One mebibyte of data shared 200 times would be 200 MiB of tree.
    const QByteArray mebibyte(1024 * 1024, 'm');
    QByteArray array = bytes({0xAF, 0x10, 200});
    array += QByteArray(200, '\x01');
    const QByteArray data = bytes({0x4F, 0x12, 0x00, 0x10, 0x00, 0x00}) + mebibyte;
    error.clear();
    EXPECT_FALSE(KSTPropertyList::fromData(binaryPlist({array, data}), &error).isValid());
    EXPECT_TRUE(error.contains(u"MiB of text and data"_s)) << qPrintable(error);
}

struct MalformedBinary
{
    const char *name;
    QByteArray plist;
    const char *reason;
};

class KSTPropertyListMalformedBinary : public ::testing::TestWithParam<MalformedBinary>
{
};

TEST_P(KSTPropertyListMalformedBinary, IsRefusedWithItsReason)
{
    QString error;
    EXPECT_FALSE(KSTPropertyList::fromData(GetParam().plist, &error).isValid());
    EXPECT_TRUE(error.contains(QLatin1String(GetParam().reason))) << qPrintable(error);
}

// Each names one check of the reader; the right reason shows the check did the refusing.
QByteArray withTrailerByte(QByteArray plist, int fromEnd, char value)
{
    plist[plist.size() - fromEnd] = value;
    return plist;
}

const QByteArray Valid = binaryPlist({bytes({0xA1, 0x01}), QByteArray("\x51x")});

INSTANTIATE_TEST_SUITE_P(
    Crafted, KSTPropertyListMalformedBinary,
    ::testing::Values(
        MalformedBinary{"array holding itself", binaryPlist({bytes({0xA1, 0x00})}),
                        "contains itself"},
        MalformedBinary{"cycle through two arrays",
                        binaryPlist({bytes({0xA1, 0x01}), bytes({0xA1, 0x00})}), "contains itself"},
        MalformedBinary{"reference past the objects", binaryPlist({bytes({0xA1, 0x07})}),
                        "names no object"},
        MalformedBinary{
            "count larger than the file",
            binaryPlist({bytes({0xAF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})}),
            "runs past the objects"},
        MalformedBinary{"string longer than the file",
                        binaryPlist({bytes({0x6F, 0x13, 0x40, 0, 0, 0, 0, 0, 0, 0})}),
                        "runs past the objects"},
        MalformedBinary{"top object out of range", withTrailerByte(Valid, 9, 5),
                        "top object is not one of its objects"},
        MalformedBinary{"offset table past the end", withTrailerByte(Valid, 1, char(0xF0)),
                        "offset table lies outside"},
        MalformedBinary{"object count beyond the table", withTrailerByte(Valid, 17, 100),
                        "impossible number of objects"},
        MalformedBinary{"reference size 3", withTrailerByte(Valid, 25, 3),
                        "impossible offset or reference size"},
        MalformedBinary{"key that is an array",
                        binaryPlist({bytes({0xD1, 0x01, 0x01}), bytes({0xA0})}),
                        "key is not a string"},
        MalformedBinary{
            "integer wider than 64 bits",
            binaryPlist({bytes({0x14, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0})}),
            "wider than 64 bits"},
        MalformedBinary{"null object", binaryPlist({bytes({0x00})}), "null or fill"},
        MalformedBinary{"unknown type", binaryPlist({bytes({0x70})}), "unknown type 0x7"},
        MalformedBinary{"newer version", "bplist15" + Valid.mid(8), "bplist00"}),
    [](const ::testing::TestParamInfo<MalformedBinary> &info) {
        return QString::fromLatin1(info.param.name)
            .replace(QRegularExpression(u"[^A-Za-z0-9]"_s), QString())
            .toStdString();
    });

TEST(KSTPropertyListHostile, ReadsBinaryValuesAtTheEdgesOfTheirRanges)
{
    const std::pair<QByteArray, QVariant> rows[] = {
        // A 16-byte integer holding a negative 64-bit value, and one just above INT64_MAX.
        {bytes({0x14, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                0xFF, 0xFF, 0xFE}),
         QVariant::fromValue(qint64(-2))},
        {bytes({0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0}),
         QVariant::fromValue(quint64(1) << 63)},
        // A 4-byte real, a UID, and a date a billion years away (no QDateTime can hold it).
        {bytes({0x22, 0x3F, 0xC0, 0x00, 0x00}), 1.5},
        {bytes({0x81, 0x01, 0x02}), QVariant::fromValue(quint64(258))},
        {bytes({0x33, 0x43, 0x5C, 0x6B, 0xF5, 0x26, 0x34, 0x00, 0x00}), QDateTime()},
    };
    for (const auto &[object, expected] : rows) {
        QString error;
        const QVariant value = KSTPropertyList::fromData(binaryPlist({object}), &error);
        EXPECT_EQ(value.typeId(), expected.typeId()) << qPrintable(error);
        EXPECT_EQ(value, expected) << object.toHex().constData();
    }
}

TEST(KSTPropertyListHostile, XmlThatWouldExpandOrBendTheStructureIsRefused)
{
    const std::pair<QByteArray, const char *> rows[] = {
        {KSTHostileFiles::entityExpansionXmlPlist(), "declares entities"},
        {"<plist><string>a</string><string>b</string></plist>", "more than one top-level value"},
        {"<plist><dict><string>a</string></dict></plist>", "has no key"},
        {"<plist><dict><key>a</key></dict></plist>", "key has no value"},
        {"<plist><dict><key>a</key><key>b</key></dict></plist>", "after a key"},
        {"<plist><array><key>a</key></array></plist>", "outside a dictionary"},
        {"<plist><script>x</script></plist>", "unknown element <script>"},
        {"<plist>loose text</plist>", "text outside a value"},
        {"<plist><string>a<b/></string></plist>", "holds an element"},
        {"<plist><integer>12abc</integer></plist>", "not a number"},
        {"<plist><date>yesterday</date></plist>", "ISO 8601"},
        {"<plist><data>!!!!</data></plist>", "not Base64"},
        {"<plist><true>yes</true></plist>", "boolean holds text"},
        {"<plist></plist>", "holds no value"},
        {"<plist><plist/></plist>", "not the outermost"},
    };
    for (const auto &[xml, reason] : rows) {
        QString error;
        EXPECT_FALSE(KSTPropertyList::fromData(xml, &error).isValid()) << xml.constData();
        EXPECT_TRUE(error.contains(QLatin1String(reason))) << qPrintable(error);
    }
}

TEST(KSTPropertyListHostile, XmlReadsEveryEncodingAndNumberFormAppleWrites)
{
    const QString xml = u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><plist><dict>"
                        "<key>hex</key><integer> 0x1F </integer>"
                        "<key>nan</key><real>nan</real><key>down</key><real>-infinity</real>"
                        "<key>base64</key><data>AAE\n\tC</data>"
                        "<key>name</key><string>Grüße &amp; 東京</string></dict></plist>"_s;
    QByteArray utf16("\xFF\xFE");
    utf16.append(reinterpret_cast<const char *>(xml.utf16()), xml.size() * 2);
    QString error;
    KSTPropertyList::Format format = KSTPropertyList::Format::Text;
    const QVariantMap tree = KSTPropertyList::fromData(utf16, &error, &format).toMap();
    ASSERT_FALSE(tree.isEmpty()) << qPrintable(error);
    EXPECT_EQ(format, KSTPropertyList::Format::Xml);
    EXPECT_EQ(tree.value(u"hex"_s), QVariant::fromValue(qint64(31)));
    EXPECT_TRUE(std::isnan(tree.value(u"nan"_s).toDouble()));
    EXPECT_EQ(tree.value(u"down"_s).toDouble(), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(tree.value(u"base64"_s).toByteArray(), QByteArray("\x00\x01\x02", 3));
    EXPECT_EQ(tree.value(u"name"_s).toString(), u"Grüße & 東京"_s);
}

// Paths that are no regular file: read without blocking and refused, each with its reason.
TEST(KSTPropertyListHostile, FilesThatAreNoPlainPlistAreRefusedWithoutBlocking)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString fifo = dir.filePath(u"fifo.plist"_s);
    ASSERT_TRUE(KSTHostileFiles::makeFifo(fifo));
    const QString huge = dir.filePath(u"huge.plist"_s);
    ASSERT_TRUE(KSTHostileFiles::makeSparseFile(huge, 4ll * 1024 * 1024 * 1024,
                                                KSTHostileFiles::nulKeyBinaryPlist()));
    const QString link = dir.filePath(u"link.plist"_s);
    ASSERT_TRUE(KSTTestSupport::writeFile(dir.filePath(u"real.plist"_s),
                                          KSTHostileFiles::nulKeyBinaryPlist()));
    ASSERT_TRUE(QFile::link(dir.filePath(u"real.plist"_s), link));

    const std::pair<QString, const char *> rows[] = {
        {fifo, "is not a regular file"},
        {dir.path(), "is not a regular file"},
        {u"/dev/zero"_s, "is not a regular file"},
        {huge, "so it was not read"},
    };
    for (const auto &[path, reason] : rows) {
        // On a thread, so that a reader that blocks fails the test instead of hanging it.
        auto reading = std::async(std::launch::async, [path = path] {
            QString error;
            const bool valid = KSTPropertyList::readFile(path, &error).isValid();
            return std::pair{valid, error};
        });
        if (reading.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
            ADD_FAILURE() << qPrintable(path) << " blocked the reader";
            QFile unblock(fifo);
            unblock.open(QIODevice::WriteOnly); // lets the stuck read end
            continue;
        }
        const auto [valid, error] = reading.get();
        EXPECT_FALSE(valid) << qPrintable(path);
        EXPECT_TRUE(error.contains(QLatin1String(reason))) << qPrintable(error);
    }
    // A link to a plist is read like the plist.
    bool ok = false;
    EXPECT_EQ(KSTPropertyList::readDictionary(link, &ok).size(), 1);
    EXPECT_TRUE(ok);
}

} // namespace
