// The words each layout gives the texts that name the machine's parts, and the system's name
// read from the analysed root's os-release.
#include "KSTLayoutWords.h"

#include "KSTFixtureLinux.h"

#include <gtest/gtest.h>

namespace {

TEST(LayoutWordsTest, EachLayoutNamesItsOwnParts)
{
    const struct
    {
        KSTLayout layout;
        const char *trash;
        const char *thisComputer;
        const char *fileManager;
        const char *integrityProtection;
        const char *machine;
        const char *yourComputer;
    } cases[] = {
        {KSTLayout::Mac, "Mac Trash", "this Mac", "Finder", "SIP", "Mac", "your Mac"},
        {KSTLayout::Linux, "Trash", "this computer", "File manager", "Kernel lockdown", "Computer",
         "your computer"},
    };
    for (const auto &c : cases) {
        const KSTLayoutWords &words = KSTLayoutWords::forLayout(c.layout);
        EXPECT_EQ(words.trash, QString::fromUtf8(c.trash));
        EXPECT_EQ(words.thisComputer, QString::fromUtf8(c.thisComputer));
        EXPECT_EQ(words.fileManager, QString::fromUtf8(c.fileManager));
        EXPECT_EQ(words.integrityProtection, QString::fromUtf8(c.integrityProtection));
        EXPECT_EQ(words.machine, QString::fromUtf8(c.machine));
        EXPECT_EQ(words.yourComputer, QString::fromUtf8(c.yourComputer));

        // The current set follows the current environment's layout.
        KSTEnvironment environment = KSTEnvironment::current();
        environment.setLayout(c.layout);
        const KSTScopedEnvironment scoped(environment);
        EXPECT_EQ(KSTLayoutWords::current().trash, QString::fromUtf8(c.trash));
    }
}

TEST(LayoutWordsTest, TheSystemNameIsTheAnalysedRootsOwn)
{
    const struct
    {
        const char *name;
        QByteArray osRelease; // empty: no file at all
        const char *expected;
    } cases[] = {
        {"debian", KSTFixtureLinux::debianOsRelease(), "Debian GNU/Linux 12 (bookworm)"},
        {"name and version", "NAME=Fedora Linux\nVERSION=\"40 (Workstation Edition)\"\n",
         "Fedora Linux 40 (Workstation Edition)"},
        {"missing", QByteArray(), "Linux"},
    };
    for (const auto &c : cases) {
        KSTFixtureLinux machine;
        ASSERT_TRUE(machine.isValid());
        if (c.osRelease.isEmpty())
            QFile::remove(machine.path("etc/os-release"));
        else
            machine.writeOsRelease(c.osRelease);
        EXPECT_EQ(KSTLayoutWords::systemName(machine.environment()), QString::fromUtf8(c.expected))
            << c.name;
        // A Mac is macOS whatever its root holds.
        KSTEnvironment mac = machine.environment();
        mac.setLayout(KSTLayout::Mac);
        EXPECT_EQ(KSTLayoutWords::systemName(mac), QStringLiteral("macOS")) << c.name;
    }
}

} // namespace
