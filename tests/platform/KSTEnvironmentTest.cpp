#include "KSTEnvironment.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

using KSTTestSupport::writeFile;

std::string str(const QString &text)
{
    return text.toStdString();
}

// A scratch machine root with the given user folders under Users/.
class KSTEnvironmentRootTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_root.isValid()); }

    QString root() const { return QDir::cleanPath(m_root.path()); }

    void addUsers(const QStringList &logins)
    {
        for (const QString &login : logins)
            ASSERT_TRUE(QDir().mkpath(root() + QLatin1String("/Users/") + login));
    }

    std::optional<KSTEnvironment> build(const KSTEnvironment::Options &options)
    {
        m_error.clear();
        return KSTEnvironment::fromOptions(options, &m_error);
    }

    KSTEnvironment::Options atRoot() const { return {root(), {}, {}, std::nullopt}; }

    QTemporaryDir m_root;
    QString m_error;
};

TEST_F(KSTEnvironmentRootTest, RootMustBeAnExistingFolder)
{
    const QString missing = root() + QLatin1String("/gone");
    EXPECT_FALSE(build({missing, {}, {}, std::nullopt}).has_value());
    EXPECT_TRUE(m_error.contains(missing)) << str(m_error);

    const QString file = root() + QLatin1String("/disk.img");
    ASSERT_TRUE(writeFile(file, "not a folder"));
    EXPECT_FALSE(build({file, {}, {}, std::nullopt}).has_value());
    EXPECT_FALSE(m_error.isEmpty());
}

TEST_F(KSTEnvironmentRootTest, SingleUserFolderBecomesTheLoginAndHome)
{
    addUsers({QStringLiteral("anna"), QStringLiteral("Shared")});
    ASSERT_TRUE(writeFile(root() + QLatin1String("/Users/.localized"), ""));
    ASSERT_TRUE(QDir().mkpath(root() + QLatin1String("/Users/.hidden")));

    // A trailing slash and a detour through ".." still give the clean root.
    const std::optional<KSTEnvironment> environment =
        build({root() + QLatin1String("/Users/../"), {}, {}, std::nullopt});
    ASSERT_TRUE(environment.has_value()) << str(m_error);
    EXPECT_EQ(str(environment->root()), str(root()));
    EXPECT_FALSE(environment->isHostRoot());
    EXPECT_EQ(str(environment->loginName()), "anna");
    EXPECT_EQ(str(environment->home()), str(root() + QLatin1String("/Users/anna")));
    EXPECT_EQ(environment->userId(), uint(getuid())); // the owner of the home folder
    EXPECT_EQ(str(environment->homePath(QStringLiteral("Library/Caches"))),
              str(root() + QLatin1String("/Users/anna/Library/Caches")));
    EXPECT_EQ(str(environment->homePath(QString())), str(environment->home()));
}

TEST_F(KSTEnvironmentRootTest, SeveralUsersNeedAChoice)
{
    addUsers({QStringLiteral("anna"), QStringLiteral("ben"), QStringLiteral("Shared")});
    EXPECT_FALSE(build(atRoot()).has_value());
    EXPECT_TRUE(m_error.contains(QLatin1String("anna")) && m_error.contains(QLatin1String("ben")))
        << str(m_error);
    EXPECT_FALSE(m_error.contains(QLatin1String("Shared"))) << str(m_error);

    KSTEnvironment::Options options = atRoot();
    options.user = QStringLiteral("ben");
    const std::optional<KSTEnvironment> environment = build(options);
    ASSERT_TRUE(environment.has_value()) << str(m_error);
    EXPECT_EQ(str(environment->loginName()), "ben");
    EXPECT_EQ(str(environment->home()), str(root() + QLatin1String("/Users/ben")));
}

TEST_F(KSTEnvironmentRootTest, NoUserFolderIsAnError)
{
    EXPECT_FALSE(build(atRoot()).has_value());
    EXPECT_FALSE(m_error.isEmpty());
    addUsers({QStringLiteral("Shared")});
    EXPECT_FALSE(build(atRoot()).has_value());
}

TEST_F(KSTEnvironmentRootTest, HomeOptionOverridesAndMustExist)
{
    addUsers({QStringLiteral("anna")});
    const QString elsewhere = root() + QLatin1String("/Volumes/Backup/anna");
    ASSERT_TRUE(QDir().mkpath(elsewhere));

    KSTEnvironment::Options options = atRoot();
    options.home = elsewhere + QLatin1String("/./");
    std::optional<KSTEnvironment> environment = build(options);
    ASSERT_TRUE(environment.has_value()) << str(m_error);
    EXPECT_EQ(str(environment->home()), str(elsewhere));
    EXPECT_EQ(str(environment->loginName()), "anna");

    options.home = root() + QLatin1String("/Volumes/Missing");
    EXPECT_FALSE(build(options).has_value());
    EXPECT_TRUE(m_error.contains(options.home)) << str(m_error);

    // A named user without a folder has no home either.
    options = atRoot();
    options.user = QStringLiteral("carl");
    EXPECT_FALSE(build(options).has_value());
    EXPECT_TRUE(m_error.contains(QLatin1String("Users/carl"))) << str(m_error);
}

TEST_F(KSTEnvironmentRootTest, LayoutFollowsTheRootUnlessGiven)
{
    addUsers({QStringLiteral("anna")});
#ifdef Q_OS_MACOS
    const KSTLayout hostLayout = KSTLayout::Mac;
#else
    const KSTLayout hostLayout = KSTLayout::Linux;
#endif
    struct Case
    {
        bool systemVersionPlist;
        std::optional<KSTLayout> given;
        KSTLayout expected;
    };
    const Case cases[] = {
        {false, std::nullopt, hostLayout},
        {true, std::nullopt, KSTLayout::Mac},
        {true, KSTLayout::Linux, KSTLayout::Linux},
        {false, KSTLayout::Mac, KSTLayout::Mac},
    };
    const QString plist =
        root() + QLatin1String("/System/Library/CoreServices/SystemVersion.plist");
    for (const Case &c : cases) {
        QFile::remove(plist);
        if (c.systemVersionPlist) {
            ASSERT_TRUE(writeFile(plist, "<plist version=\"1.0\"><dict/></plist>"));
        }
        KSTEnvironment::Options options = atRoot();
        options.layout = c.given;
        const std::optional<KSTEnvironment> environment = build(options);
        ASSERT_TRUE(environment.has_value()) << str(m_error);
        EXPECT_EQ(environment->layout(), c.expected)
            << "plist " << c.systemVersionPlist << ", given " << c.given.has_value();
    }
}

TEST(KSTEnvironmentTest, HostRootUsesThePasswordDatabase)
{
    const KSTEnvironment host = KSTEnvironment::hostDefault();
    EXPECT_TRUE(host.isHostRoot());
    EXPECT_EQ(host.userId(), uint(getuid()));
    EXPECT_FALSE(host.loginName().isEmpty());
    EXPECT_TRUE(QFileInfo(host.home()).isDir());

    QString error;
    std::optional<KSTEnvironment> environment = KSTEnvironment::fromOptions({}, &error);
    ASSERT_TRUE(environment.has_value()) << str(error);
    EXPECT_EQ(str(environment->root()), "/");
    EXPECT_EQ(str(environment->home()), str(host.home()));

    // Every Unix has root, uid 0.
    environment =
        KSTEnvironment::fromOptions({{}, {}, QStringLiteral("root"), std::nullopt}, &error);
    ASSERT_TRUE(environment.has_value()) << str(error);
    EXPECT_EQ(environment->userId(), 0u);
    EXPECT_EQ(str(environment->loginName()), "root");

    const QString stranger = QStringLiteral("kestrel-no-such-user");
    EXPECT_FALSE(KSTEnvironment::fromOptions({{}, {}, stranger, std::nullopt}, &error));
    EXPECT_TRUE(error.contains(stranger)) << str(error);
}

TEST(KSTEnvironmentTest, SystemPathsMapUnderTheRootAndBack)
{
    KSTEnvironment host;
    KSTEnvironment mounted;
    mounted.setRoot(QStringLiteral("/tmp/r/"));
    EXPECT_EQ(str(mounted.root()), "/tmp/r");

    struct Case
    {
        const KSTEnvironment &environment;
        const char *systemPath;
        const char *underRoot;
    };
    const Case cases[] = {
        {host, "/Applications", "/Applications"},
        {host, "/", "/"},
        {mounted, "/Applications", "/tmp/r/Applications"},
        {mounted, "/var/log/install.log", "/tmp/r/var/log/install.log"},
        {mounted, "/", "/tmp/r"},
    };
    for (const Case &c : cases) {
        const QString path = QString::fromUtf8(c.systemPath);
        EXPECT_EQ(str(c.environment.systemPath(path)), c.underRoot);
        EXPECT_EQ(str(c.environment.pathRelativeToRoot(QString::fromUtf8(c.underRoot))),
                  c.systemPath);
    }

    // Relative paths and paths outside the root pass through untouched; a sibling that
    // merely shares the root's prefix is outside.
    const char *untouched[] = {"Library/Caches", "/tmp/rx/a", "/tmp", "/etc/hosts", ""};
    for (const char *path : untouched) {
        EXPECT_EQ(str(mounted.pathRelativeToRoot(QString::fromUtf8(path))), path);
        EXPECT_EQ(str(host.pathRelativeToRoot(QString::fromUtf8(path))), path);
    }
    EXPECT_EQ(str(mounted.systemPath(QStringLiteral("Library/Caches"))), "Library/Caches");
}

TEST(KSTEnvironmentTest, LayoutNamesRoundTrip)
{
    for (KSTLayout layout : {KSTLayout::Mac, KSTLayout::Linux})
        EXPECT_EQ(KSTEnvironment::layoutFromString(KSTEnvironment::layoutName(layout)), layout);
    EXPECT_FALSE(KSTEnvironment::layoutFromString(QStringLiteral("windows")).has_value());
    EXPECT_FALSE(KSTEnvironment::layoutFromString(QString()).has_value());
}

TEST(KSTEnvironmentTest, ScopedEnvironmentRestoresThePreviousOne)
{
    const QString before = KSTEnvironment::current().root();
    KSTEnvironment outer;
    outer.setRoot(QStringLiteral("/tmp/outer"));
    KSTEnvironment inner;
    inner.setRoot(QStringLiteral("/tmp/inner"));
    {
        KSTScopedEnvironment outerScope(outer);
        EXPECT_EQ(str(KSTEnvironment::current().root()), "/tmp/outer");
        {
            KSTScopedEnvironment innerScope(inner);
            EXPECT_EQ(str(KSTEnvironment::current().root()), "/tmp/inner");
        }
        EXPECT_EQ(str(KSTEnvironment::current().root()), "/tmp/outer");
    }
    EXPECT_EQ(str(KSTEnvironment::current().root()), str(before));
}

} // namespace
