// What reaches the terminal from names found on the analysed machine.
#include "KSTTerminalText.h"

#include "KSTFileName.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(KSTTerminalText, ControlAndReorderingCharactersBecomeVisibleEscapes)
{
    const std::pair<QString, QString> rows[] = {
        {u"Report 2024.pdf"_s, u"Report 2024.pdf"_s},
        {u"Grüße 東京 🦅"_s, u"Grüße 東京 🦅"_s},
        {u"two\nlines"_s, u"two\\nlines"_s},
        {u"tab\there\r"_s, u"tab\\there\\r"_s},
        {u"\x1b[2J\x1b]0;title\x07"_s, u"\\x1B[2J\\x1B]0;title\\x07"_s},
        {QString(QChar(0)) + u"nul"_s, u"\\x00nul"_s},
        {u"del\x7f and c1 \u009b"_s, u"del\\x7F and c1 \\x9B"_s},
        {u"invoice\u202Efdp.exe"_s, u"invoice\\u202Efdp.exe"_s},
        {u"\u2066isolate\u2069 \u200Fmark \u2028sep"_s,
         u"\\u2066isolate\\u2069 \\u200Fmark \\u2028sep"_s},
        {u"back\\slash\\n"_s, u"back\\\\slash\\\\n"_s},
        // Bytes of a name that is not UTF-8 show as bytes; a real pair stays a character.
        {KSTFileName::decoded("caf\xe9 \xff"), u"caf\\xE9 \\xFF"_s},
        {KSTFileName::decoded("\xf0\x9f\xa6\x85"), u"🦅"_s},
        {QString(), QString()},
    };
    for (const auto &[text, expected] : rows)
        EXPECT_EQ(KSTTerminalText::escaped(text), expected) << expected.toStdString();
}

} // namespace
