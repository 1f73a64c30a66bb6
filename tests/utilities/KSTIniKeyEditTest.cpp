// Setting one key of a user's ini-style file while every other line stays as it was.
#include "KSTIniKeyEdit.h"

#include "KSTTestSupport.h"

#include <gtest/gtest.h>

namespace {

TEST(IniKeyEdit, SetsTheKeyInItsGroupAndKeepsEverythingElse)
{
    const struct
    {
        const char *what;
        const char *before;
        const char *after;
    } cases[] = {
        {"empty file", "", "[G]\nk=v\n"},
        {"no such group, no final break", "[Other]\nk=old", "[Other]\nk=old\n[G]\nk=v\n"},
        {"replaced in place", "# c\n[G]\na=1\nk=old\nb=2\n", "# c\n[G]\na=1\nk=v\nb=2\n"},
        {"later duplicates dropped", "[G]\nk=1\nk = 2\nb=2\n", "[G]\nk=v\nb=2\n"},
        {"added after the last key, before blank lines", "[G]\na=1\n\n[H]\nk=h\n",
         "[G]\na=1\nk=v\n\n[H]\nk=h\n"},
        {"a localised key is another key", "[G]\nk[de]=x\n", "[G]\nk[de]=x\nk=v\n"},
        {"a comment naming the key stays", "[G]\n#k=x\n", "[G]\n#k=x\nk=v\n"},
        {"only the first group of the name", "[G]\na=1\n[G]\nk=2\n", "[G]\na=1\nk=v\n[G]\nk=2\n"},
        {"CR LF lines kept as they are", "[G]\r\na=1\r\nk=old\r\n", "[G]\r\na=1\r\nk=v\n"},
        {"group header with blanks", "  [G]  \nk=old\n", "  [G]  \nk=v\n"},
    };
    for (const auto &row : cases) {
        const QByteArray after = KSTIniKeyEdit::withKey(row.before, "G", "k", "v");
        EXPECT_EQ(after, QByteArray(row.after)) << row.what;
        EXPECT_EQ(KSTIniKeyEdit::valueOf(after, "G", "k"), "v") << row.what;
    }
}

TEST(IniKeyEdit, ReadsTheFirstValueOfTheFirstGroup)
{
    const QByteArray text = "k=top\n[G]\n k = one \nk=two\n[H]\nk=h\n[G]\nk=again\n";
    EXPECT_EQ(KSTIniKeyEdit::valueOf(text, "G", "k"), "one");
    EXPECT_EQ(KSTIniKeyEdit::valueOf(text, "H", "k"), "h");
    EXPECT_EQ(KSTIniKeyEdit::valueOf(text, "X", "k"), "");
    EXPECT_EQ(KSTIniKeyEdit::valueOf("[G]\na=1\n[H]\nk=h\n", "G", "k"), "");
}

TEST(IniKeyEdit, RefusesFilesOverTheCap)
{
    const QByteArray large(KSTIniKeyEdit::maximumBytes + 1, '#');
    EXPECT_TRUE(KSTIniKeyEdit::withKey(large, "G", "k", "v").isEmpty());
    EXPECT_TRUE(KSTIniKeyEdit::valueOf(large, "G", "k").isEmpty());
    const QByteArray fits(KSTIniKeyEdit::maximumBytes, '#');
    EXPECT_FALSE(KSTIniKeyEdit::withKey(fits, "G", "k", "v").isEmpty());
}

} // namespace
