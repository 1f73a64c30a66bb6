// The old-style text format: ".strings" files in the encodings macOS writes them in, the
// OpenStep syntax of older property lists, and text that is not one.
#include "KSTPropertyList.h"

#include "KSTTestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray utf16(const QString &text, bool littleEndian)
{
    QByteArray out(littleEndian ? "\xFF\xFE" : "\xFE\xFF");
    for (const QChar c : text) {
        const char high = char(c.unicode() >> 8);
        const char low = char(c.unicode() & 0xFF);
        out.append(littleEndian ? low : high);
        out.append(littleEndian ? high : low);
    }
    return out;
}

const QString StringsFile = uR"(/* Localized versions of Info.plist keys */

"CFBundleName" = "Kestrel";
"NSHumanReadableCopyright" = "© 2024 \"Kestrel\"\nAll rights reserved.";
// A key alone stands for itself.
"OK";
CFBundleDisplayName = 'Kestrel 3';
"Tab\tand octal \101 and \U00e9" = "東京";
)"_s;

const QVariantMap StringsTree{
    {u"CFBundleName"_s, u"Kestrel"_s},
    {u"NSHumanReadableCopyright"_s, u"© 2024 \"Kestrel\"\nAll rights reserved."_s},
    {u"OK"_s, u"OK"_s},
    {u"CFBundleDisplayName"_s, u"Kestrel 3"_s},
    {u"Tab\tand octal A and é"_s, u"東京"_s},
};

struct TextCase
{
    const char *name;
    QByteArray bytes;
    QVariant expected;
};

class KSTPropertyListText : public ::testing::TestWithParam<TextCase>
{
};

TEST_P(KSTPropertyListText, ReadsTheTree)
{
    QString error;
    KSTPropertyList::Format format = KSTPropertyList::Format::Xml;
    const QVariant tree = KSTPropertyList::fromData(GetParam().bytes, &error, &format);
    ASSERT_TRUE(tree.isValid()) << qPrintable(error);
    EXPECT_EQ(format, KSTPropertyList::Format::Text);
    EXPECT_EQ(tree, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Files, KSTPropertyListText,
    ::testing::Values(
        TextCase{"strings in UTF-8", StringsFile.toUtf8(), StringsTree},
        TextCase{"strings in UTF-8 with a byte-order mark", "\xEF\xBB\xBF" + StringsFile.toUtf8(),
                 StringsTree},
        TextCase{"strings in UTF-16 little endian", utf16(StringsFile, true), StringsTree},
        TextCase{"strings in UTF-16 big endian", utf16(StringsFile, false), StringsTree},
        TextCase{"an empty strings file", "/* nothing here */\n\n", QVariantMap()},
        TextCase{
            "OpenStep dictionary",
            "{ name = Kestrel; path = /usr/bin/find; list = (a, \"b c\", <0001 ff>, ); "
            "empty = {}; none = (); }",
            QVariantMap{{u"name"_s, u"Kestrel"_s},
                        {u"path"_s, u"/usr/bin/find"_s},
                        {u"list"_s, QVariantList{u"a"_s, u"b c"_s, QByteArray("\x00\x01\xff", 3)}},
                        {u"empty"_s, QVariantMap()},
                        {u"none"_s, QVariantList()}}},
        TextCase{"top-level array", "(1, 2.5, $x:y-z_+)",
                 QVariantList{u"1"_s, u"2.5"_s, u"$x:y-z_+"_s}},
        TextCase{"top-level string", "  \"just text\"  // done", u"just text"_s}),
    [](const ::testing::TestParamInfo<TextCase> &info) {
        QString name = QString::fromLatin1(info.param.name);
        name.removeIf([](QChar c) { return !c.isLetterOrNumber(); });
        return name.toStdString();
    });

TEST(KSTPropertyListTextMalformed, RefusesTextThatIsNoPropertyListWithItsReason)
{
    const std::pair<QByteArray, const char *> rows[] = {
        {"\"unterminated", "never ends"},
        {"/* open comment", "comment never ends"},
        {"{ a = b }", "does not end with ';'"},
        {"{ a b; }", "not followed by '='"},
        {"{ a = ; }", "a string was expected"},
        {"( a b )", "not separated by ','"},
        {"<0a1>", "odd number of hexadecimal digits"},
        {"<*I5>", "not a hexadecimal digit"},
        {"(a, b) c", "more text after the value"},
        {"\"key\" = \"value\"; }", "a string was expected"},
        {"(", "ends where a value should be"},
        {"\"a\" = \"b\"", "does not end with ';'"},
    };
    for (const auto &[text, reason] : rows) {
        QString error;
        EXPECT_FALSE(KSTPropertyList::fromData(text, &error).isValid()) << text.constData();
        EXPECT_TRUE(error.contains(QLatin1String(reason)))
            << text.constData() << ": " << qPrintable(error);
    }
}

} // namespace
