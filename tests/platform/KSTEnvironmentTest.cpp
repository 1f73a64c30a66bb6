#include "KSTEnvironment.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using KSTTestSupport::writeFile;

QString l1(const char *text)
{
    return QString::fromLatin1(text);
}

// A scratch machine root; "%1" in the options given to build() stands for it.
class KSTEnvironmentRootTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_root.isValid()); }

    QString root() const { return QDir::cleanPath(m_root.path()); }

    // Replaces the folders under Users/ with those named, space-separated, in @p logins.
    void setUsers(const char *logins)
    {
        QDir(root() + "/Users"_L1).removeRecursively();
        for (const QString &login : l1(logins).split(u' ', Qt::SkipEmptyParts))
            ASSERT_TRUE(QDir().mkpath(root() + "/Users/"_L1 + login));
    }

    std::optional<KSTEnvironment> build(const char *rootOption, const char *home = "",
                                        const char *user = "",
                                        std::optional<KSTLayout> layout = KSTLayout::Mac)
    {
        m_error.clear();
        const auto atRoot = [&](const char *text) { return l1(text).replace("%1"_L1, root()); };
        return KSTEnvironment::fromOptions({atRoot(rootOption), atRoot(home), l1(user), layout},
                                           &m_error);
    }

    QTemporaryDir m_root;
    QString m_error;
};

TEST_F(KSTEnvironmentRootTest, FindsTheOneUserOrTheOneAskedFor)
{
    ASSERT_TRUE(QDir().mkpath(root() + "/Volumes/Backup/anna"_L1));
    const struct
    {
        const char *users;
        const char *root;
        const char *home;
        const char *user;
        const char *login;
        const char *expectedHome;
    } cases[] = {
        // A trailing slash and a detour through ".." still give the clean root.
        {"anna Shared .hidden", "%1/Users/../", "", "", "anna", "/Users/anna"},
        {"anna ben Shared", "%1", "", "ben", "ben", "/Users/ben"},
        {"anna", "%1", "%1/Volumes/Backup/anna/./", "", "anna", "/Volumes/Backup/anna"},
    };
    for (const auto &c : cases) {
        setUsers(c.users);
        const std::optional<KSTEnvironment> environment = build(c.root, c.home, c.user);
        ASSERT_TRUE(environment.has_value()) << m_error.toStdString();
        EXPECT_EQ(environment->root(), root());
        EXPECT_FALSE(environment->isHostRoot());
        EXPECT_EQ(environment->loginName(), l1(c.login));
        EXPECT_EQ(environment->home(), root() + l1(c.expectedHome));
        EXPECT_EQ(environment->userId(), uint(getuid())); // the owner of the home folder
        EXPECT_EQ(environment->homePath(u"Library/Caches"_s),
                  environment->home() + "/Library/Caches"_L1);
    }
}

TEST_F(KSTEnvironmentRootTest, RefusesWhatItCannotResolveAndSaysWhy)
{
    ASSERT_TRUE(writeFile(root() + "/disk.img"_L1, "not a folder"));
    const struct
    {
        const char *users;
        const char *root;
        const char *home;
        const char *user;
        std::vector<const char *> mentioned;
    } cases[] = {
        {"anna", "%1/gone", "", "", {"/gone"}},
        {"anna", "%1/disk.img", "", "", {"disk.img"}},
        {"", "%1", "", "", {}},
        {"Shared", "%1", "", "", {}},
        {"anna ben Shared", "%1", "", "", {"anna", "ben"}},
        {"anna", "%1", "%1/Volumes/Missing", "", {"Volumes/Missing"}},
        {"anna", "%1", "", "carl", {"Users/carl"}},
        {"anna", "%1", "", "../Users/anna", {"../Users/anna"}}, // a name, never a path
        {"", "", "", "kestrel-no-such-user", {"kestrel-no-such-user"}},
    };
    for (const auto &c : cases) {
        setUsers(c.users);
        EXPECT_FALSE(build(c.root, c.home, c.user).has_value()) << c.root << " " << c.user;
        EXPECT_FALSE(m_error.isEmpty()) << c.root << " " << c.users;
        for (const char *word : c.mentioned)
            EXPECT_TRUE(m_error.contains(l1(word))) << m_error.toStdString();
        EXPECT_FALSE(m_error.contains("Shared"_L1)) << m_error.toStdString();
    }
}

TEST_F(KSTEnvironmentRootTest, LayoutFollowsTheRootUnlessGiven)
{
    setUsers("anna");
    ASSERT_TRUE(QDir().mkpath(root() + "/home/anna"_L1));
#ifdef Q_OS_MACOS
    const KSTLayout hostLayout = KSTLayout::Mac;
#else
    const KSTLayout hostLayout = KSTLayout::Linux;
#endif
    const struct
    {
        bool systemVersionPlist;
        std::optional<KSTLayout> given;
        KSTLayout expected;
    } cases[] = {
        {false, std::nullopt, hostLayout},
        {true, std::nullopt, KSTLayout::Mac},
        {true, KSTLayout::Linux, KSTLayout::Linux},
        {false, KSTLayout::Mac, KSTLayout::Mac},
    };
    const QString plist = root() + "/System/Library/CoreServices/SystemVersion.plist"_L1;
    for (const auto &c : cases) {
        QFile::remove(plist);
        if (c.systemVersionPlist) {
            ASSERT_TRUE(writeFile(plist, "<plist version=\"1.0\"><dict/></plist>"));
        }
        QString error;
        const std::optional<KSTEnvironment> environment =
            KSTEnvironment::fromOptions({root(), {}, {}, c.given}, &error);
        ASSERT_TRUE(environment.has_value()) << error.toStdString();
        EXPECT_EQ(environment->layout(), c.expected)
            << "plist " << c.systemVersionPlist << ", given " << c.given.has_value();
    }
}

// A Linux root: logins are the folders of <root>/home, accounts come from <root>/etc/passwd.
TEST_F(KSTEnvironmentRootTest, LinuxLoginHomeAndUserIdComeFromHomeAndPasswd)
{
    for (const char *folder : {"srv/people/anna", "Users/mac"})
        ASSERT_TRUE(QDir().mkpath(root() + u'/' + l1(folder)));
    const QByteArray passwd = "root:x:0:0:root:/root:/bin/bash\n"
                              "ann:x:999:999::/home/ann:/bin/sh\n"
                              "anna:x:1000:1000:Anna,,,:/home/anna:/bin/bash\n"
                              "ben:x:1001:1001::/../../srv/people/anna/:/bin/bash\n"
                              "dora:x:12x:1002::/home/dora:/bin/bash\n";
    const struct
    {
        const char *homes;
        const char *passwd; // nullptr: no passwd file
        const char *user;
        const char *login; // nullptr: refused
        const char *home;  // under the root; or words the refusal names
        uint userId;       // 0: the owner of the home folder (this test's user)
    } cases[] = {
        {"anna", nullptr, "", "anna", "/home/anna", 0},
        {"anna lost+found .snapshots", passwd, "", "anna", "/home/anna", 1000},
        {"anna ben", passwd, "ben", "ben", "/srv/people/anna", 1001}, // climbs no higher
        {"dora", passwd, "", "dora", "/home/dora", 0},                // a damaged uid: not listed
        {"anna", passwd, "gustav", nullptr, "/home/gustav", 0},
        {"anna ben", passwd, "", nullptr, "anna, ben", 0},
        {"lost+found", passwd, "", nullptr, "/home;", 0},
    };
    const QString passwdPath = root() + "/etc/passwd"_L1;
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.homes) + " / " + c.user);
        QDir(root() + "/home"_L1).removeRecursively();
        for (const QString &login : l1(c.homes).split(u' ', Qt::SkipEmptyParts))
            ASSERT_TRUE(QDir().mkpath(root() + "/home/"_L1 + login));
        QFile::remove(passwdPath);
        if (c.passwd) {
            ASSERT_TRUE(writeFile(passwdPath, c.passwd));
        }
        const std::optional<KSTEnvironment> environment = build("%1", "", c.user, KSTLayout::Linux);
        if (!c.login) {
            EXPECT_FALSE(environment.has_value());
            for (const QString &word : l1(c.home).split(u' '))
                EXPECT_TRUE(m_error.contains(word)) << m_error.toStdString();
            continue;
        }
        ASSERT_TRUE(environment.has_value()) << m_error.toStdString();
        EXPECT_EQ(environment->loginName(), l1(c.login));
        EXPECT_EQ(environment->home(), root() + l1(c.home));
        EXPECT_EQ(environment->userId(), c.userId ? c.userId : uint(getuid()));
    }

    // The Mac layout of the same root still looks only in Users, whatever passwd says.
    ASSERT_TRUE(writeFile(passwdPath, "mac:x:1005:1005::/home/anna:/bin/bash\n"));
    const std::optional<KSTEnvironment> mac = build("%1");
    ASSERT_TRUE(mac.has_value()) << m_error.toStdString();
    EXPECT_EQ(mac->home(), root() + "/Users/mac"_L1);
    EXPECT_EQ(mac->userId(), uint(getuid()));
}

TEST(KSTEnvironmentTest, HostRootUsesThePasswordDatabase)
{
    const KSTEnvironment host = KSTEnvironment::hostDefault();
    EXPECT_TRUE(host.isHostRoot());
    EXPECT_EQ(host.userId(), uint(getuid()));
    EXPECT_TRUE(QFileInfo(host.home()).isDir());

    // Every Unix has root, uid 0.
    QString error;
    const std::optional<KSTEnvironment> environment =
        KSTEnvironment::fromOptions({{}, {}, u"root"_s, std::nullopt}, &error);
    ASSERT_TRUE(environment.has_value()) << error.toStdString();
    EXPECT_EQ(environment->root(), u"/"_s);
    EXPECT_EQ(environment->userId(), 0u);
    EXPECT_EQ(environment->loginName(), u"root"_s);
}

TEST(KSTEnvironmentTest, SystemPathsMapUnderTheRootAndBack)
{
    KSTEnvironment host;
    KSTEnvironment mounted;
    mounted.setRoot(u"/tmp/r/"_s);
    EXPECT_EQ(mounted.root(), u"/tmp/r"_s);
    const std::tuple<const KSTEnvironment &, const char *, const char *> cases[] = {
        {host, "/Applications", "/Applications"},
        {mounted, "/var/log/install.log", "/tmp/r/var/log/install.log"},
        {mounted, "/", "/tmp/r"},
    };
    for (const auto &[environment, systemPath, underRoot] : cases) {
        EXPECT_EQ(environment.systemPath(l1(systemPath)), l1(underRoot));
        EXPECT_EQ(environment.pathRelativeToRoot(l1(underRoot)), l1(systemPath));
    }
    // Relative paths and paths outside the root pass through untouched; a sibling that
    // merely shares the root's prefix is outside.
    for (const char *path : {"Library/Caches", "/tmp/rx/a", "/tmp", ""})
        EXPECT_EQ(mounted.pathRelativeToRoot(l1(path)), l1(path));
    EXPECT_EQ(mounted.systemPath(u"Library/Caches"_s), u"Library/Caches"_s);
}

} // namespace
