#include "KSTLinuxPlaces.h"
#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTHostileFiles.h"
#include "KSTTestSupport.h"
#include "KSTUserDirsFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Qt::StringLiterals;
using Folder = KSTLinuxPlaces::UserFolder;

namespace {

using KSTTestSupport::writeFile;

// A scratch Linux root with the home /home/anna. Expected paths spell the analysed machine's
// root as "%R" and the home as "%H".
class KSTLinuxPlacesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_root.isValid());
        ASSERT_TRUE(QDir().mkpath(home()));
    }

    QString root() const { return QDir::cleanPath(m_root.path()); }
    QString home() const { return root() + "/home/anna"_L1; }

    // The environment of anna, at the scratch root or (hostRoot) at "/" with the same home.
    KSTEnvironment environment(bool hostRoot = false, uint userId = uint(getuid())) const
    {
        KSTEnvironment environment;
        environment.setRoot(hostRoot ? u"/"_s : root());
        environment.setHome(home());
        environment.setLoginName(u"anna"_s);
        environment.setUserId(userId);
        environment.setLayout(KSTLayout::Linux);
        return environment;
    }

    QString expand(const char *text, bool hostRoot = false) const
    {
        return QString::fromUtf8(text)
            .replace("%H"_L1, home())
            .replace("%R"_L1, hostRoot ? QString() : root());
    }

    QStringList expand(const std::vector<const char *> &texts, bool hostRoot = false) const
    {
        QStringList expanded;
        for (const char *text : texts)
            expanded << expand(text, hostRoot);
        return expanded;
    }

    QString userDirsPath() const { return home() + "/.config/user-dirs.dirs"_L1; }

    QTemporaryDir m_root;
};

QProcessEnvironment variables(const std::vector<std::pair<const char *, const char *>> &values)
{
    QProcessEnvironment environment;
    for (const auto &[name, value] : values)
        environment.insert(QString::fromLatin1(name), QString::fromUtf8(value));
    return environment;
}

TEST_F(KSTLinuxPlacesTest, BaseDirsTakeHostVariablesOnlyForTheRunningUserAtRoot)
{
    const std::vector<std::pair<const char *, const char *>> absolute = {
        {"XDG_CACHE_HOME", "/var/tmp/anna-cache/"},
        {"XDG_DATA_HOME", "/srv/anna/data"},
        {"XDG_CONFIG_HOME", "/srv/anna/../anna/config"},
        {"XDG_STATE_HOME", "/srv/anna/state"},
        {"XDG_DATA_DIRS", "/opt/share:relative/share::/usr/share/:/opt/share"},
        {"XDG_CONFIG_DIRS", "/etc/xdg-extra:/etc/xdg"},
    };
    const std::vector<std::pair<const char *, const char *>> relativeOrEmpty = {
        {"XDG_CACHE_HOME", "cache"},   {"XDG_DATA_HOME", ""},       {"XDG_CONFIG_HOME", "~/cfg"},
        {"XDG_STATE_HOME", "./state"}, {"XDG_DATA_DIRS", "share:"}, {"XDG_CONFIG_DIRS", "xdg"},
    };
    const std::vector<const char *> defaultHomes = {"%H/.cache", "%H/.local/share", "%H/.config",
                                                    "%H/.local/state"};
    const std::vector<const char *> defaultDataDirs = {"%R/usr/local/share", "%R/usr/share"};
    const std::vector<const char *> defaultConfigDirs = {"%R/etc/xdg"};
    const struct
    {
        const char *name;
        bool hostRoot;
        uint userId;
        std::vector<std::pair<const char *, const char *>> variables;
        std::vector<const char *> homes; // cache, data, config, state
        std::vector<const char *> dataDirs;
        std::vector<const char *> configDirs;
    } cases[] = {
        {"defaults under a root",
         false,
         uint(getuid()),
         {},
         defaultHomes,
         defaultDataDirs,
         defaultConfigDirs},
        {"host variables under a root", false, uint(getuid()), absolute, defaultHomes,
         defaultDataDirs, defaultConfigDirs},
        {"running user at /",
         true,
         uint(getuid()),
         absolute,
         {"/var/tmp/anna-cache", "/srv/anna/data", "/srv/anna/config", "/srv/anna/state"},
         {"/opt/share", "/usr/share"},
         {"/etc/xdg-extra", "/etc/xdg"}},
        {"relative or empty values at /", true, uint(getuid()), relativeOrEmpty, defaultHomes,
         defaultDataDirs, defaultConfigDirs},
        {"another user at /", true, uint(getuid()) + 1, absolute, defaultHomes, defaultDataDirs,
         defaultConfigDirs},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const KSTLinuxPlaces places =
            KSTLinuxPlaces::build(environment(c.hostRoot, c.userId), variables(c.variables));
        EXPECT_EQ((QStringList{places.cacheHome(), places.dataHome(), places.configHome(),
                               places.stateHome()}),
                  expand(c.homes, c.hostRoot));
        EXPECT_EQ(places.dataDirs(), expand(c.dataDirs, c.hostRoot));
        EXPECT_EQ(places.configDirs(), expand(c.configDirs, c.hostRoot));
    }
}

TEST_F(KSTLinuxPlacesTest, UserFoldersFollowUserDirsFile)
{
    const struct
    {
        const char *name;
        const char *contents;                                  // nullptr: no file
        std::vector<std::pair<Folder, const char *>> expected; // "" means switched off
    } cases[] = {
        {"no file",
         nullptr,
         {{Folder::Desktop, "%H/Desktop"},
          {Folder::Documents, "%H/Documents"},
          {Folder::Downloads, "%H/Downloads"},
          {Folder::Music, "%H/Music"},
          {Folder::Pictures, "%H/Pictures"},
          {Folder::Movies, "%H/Videos"},
          {Folder::Templates, "%H/Templates"},
          {Folder::Public, "%H/Public"}}},
        {"localised, absolute and missing keys",
         "# written by xdg-user-dirs-update\n"
         "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n"
         "XDG_DOWNLOAD_DIR=\"$HOME/T\xC3\xA9l\xC3\xA9\x63hargements\"\n"
         "XDG_VIDEOS_DIR=\"/srv/media/videos/\"\n"
         "XDG_PUBLICSHARE_DIR=\"/run/media/anna/Disk/Public\"\n",
         {{Folder::Desktop, "%H/Schreibtisch"},
          {Folder::Downloads, "%H/Téléchargements"},
          {Folder::Movies, "%R/srv/media/videos"},
          {Folder::Public, "%R/run/media/anna/Disk/Public"},
          {Folder::Music, "%H/Music"}}},
        {"the home itself or a folder holding it",
         "XDG_TEMPLATES_DIR=\"$HOME/\"\nXDG_PUBLICSHARE_DIR=\"$HOME\"\n"
         "XDG_DESKTOP_DIR=\"$HOME/Desktop/..\"\nXDG_MUSIC_DIR=\"/home/anna\"\n"
         "XDG_PICTURES_DIR=\"$HOME/..\"\n",
         {{Folder::Templates, ""},
          {Folder::Public, ""},
          {Folder::Desktop, ""},
          {Folder::Music, ""},
          {Folder::Pictures, ""},
          {Folder::Documents, "%H/Documents"}}},
        {"system folders, also reached by climbing",
         "XDG_MUSIC_DIR=\"/\"\nXDG_PICTURES_DIR=\"/usr/share/pixmaps\"\n"
         "XDG_VIDEOS_DIR=\"/media\"\nXDG_DOCUMENTS_DIR=\"$HOME/../../../../etc\"\n"
         "XDG_TEMPLATES_DIR=\"/var/lib/templates\"\nXDG_PUBLICSHARE_DIR=\"/run/user/1000\"\n"
         "XDG_DESKTOP_DIR=\"/var/home/anna/Desktop\"\n",
         {{Folder::Music, ""},
          {Folder::Pictures, ""},
          {Folder::Movies, ""},
          {Folder::Documents, ""},
          {Folder::Templates, ""},
          {Folder::Public, ""},
          {Folder::Desktop, "%R/var/home/anna/Desktop"}}},
        {"quoting, escapes and damaged lines",
         "  XDG_MUSIC_DIR = \"$HOME/My \\\"Best\\\" Music\"\n"
         "XDG_PICTURES_DIR=\"$HOME/Back\\\\slash\\$x\"\r\n"
         "XDG_VIDEOS_DIR=$HOME/Films\n"
         "XDG_DOCUMENTS_DIR=\"$HOMEWORK/x\"\n"
         "XDG_TEMPLATES_DIR=\"$HOME/Vorlagen\n"
         "#XDG_DESKTOP_DIR=\"$HOME/Nope\"\n"
         "XDG_DOWNLOAD_DIR='$HOME/Single'\n"
         "XDG_PUBLICSHARE_DIR=\"$HOME/First\"\nXDG_PUBLICSHARE_DIR=\"$HOME/Last\"",
         {{Folder::Music, "%H/My \"Best\" Music"},
          {Folder::Pictures, "%H/Back\\slash$x"},
          {Folder::Movies, "%H/Videos"},
          {Folder::Documents, "%H/Documents"},
          {Folder::Templates, "%H/Templates"},
          {Folder::Desktop, "%H/Desktop"},
          {Folder::Downloads, "%H/Downloads"},
          {Folder::Public, "%H/Last"}}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        QFile::remove(userDirsPath());
        if (c.contents) {
            ASSERT_TRUE(writeFile(userDirsPath(), c.contents));
        }
        const KSTLinuxPlaces places = KSTLinuxPlaces::build(environment(), {});
        for (const auto &[folder, expected] : c.expected) {
            EXPECT_EQ(places.userFolder(folder), expand(expected))
                << KSTLinuxPlaces::englishName(folder).toStdString();
        }
    }
}

TEST_F(KSTLinuxPlacesTest, UserDirsFileIsReadFromTheConfigHome)
{
    // At "/" for the running user, $XDG_CONFIG_HOME decides which file names the folders.
    const QString config = root() + "/elsewhere/config"_L1;
    ASSERT_TRUE(writeFile(config + "/user-dirs.dirs"_L1, "XDG_MUSIC_DIR=\"$HOME/Musik\"\n"));
    ASSERT_TRUE(writeFile(userDirsPath(), "XDG_MUSIC_DIR=\"$HOME/Wrong\"\n"));
    const KSTLinuxPlaces places = KSTLinuxPlaces::build(
        environment(true), variables({{"XDG_CONFIG_HOME", config.toUtf8().constData()}}));
    EXPECT_EQ(places.configHome(), config);
    EXPECT_EQ(places.userFolder(Folder::Music), home() + "/Musik"_L1);
}

TEST_F(KSTLinuxPlacesTest, FolderNamesThatAreNotUtf8KeepTheirBytes)
{
    // A Latin-1 "Müsik" and "/srv/Bilder\xA0": the paths must name the folders on disk.
    ASSERT_TRUE(
        writeFile(userDirsPath(),
                  "XDG_MUSIC_DIR=\"$HOME/M\xFCsik\"\nXDG_PICTURES_DIR=\"/srv/Bilder\xA0\"\n"));
    const KSTLinuxPlaces places = KSTLinuxPlaces::build(environment(), {});
    EXPECT_EQ(KSTFileName::encoded(places.userFolder(Folder::Music)),
              KSTFileName::encoded(home()) + "/M\xFCsik");
    EXPECT_EQ(KSTFileName::encoded(places.userFolder(Folder::Pictures)),
              KSTFileName::encoded(root()) + "/srv/Bilder\xA0");
}

TEST_F(KSTLinuxPlacesTest, HostileUserDirsFilesAreNotReadAndNeverBlock)
{
    const QByteArray valid = "XDG_MUSIC_DIR=\"$HOME/Hostile\"\n";
    const QString target = root() + "/target"_L1;
    const struct
    {
        const char *name;
        std::function<bool()> make;
    } cases[] = {
        {"oversized",
         [&] {
             return KSTHostileFiles::makeSparseFile(userDirsPath(),
                                                    KSTUserDirsFile::maximumFileBytes + 1, valid);
         }},
        {"FIFO", [&] { return KSTHostileFiles::makeFifo(userDirsPath()); }},
        {"link to a FIFO",
         [&] { return KSTHostileFiles::makeFifo(target) && QFile::link(target, userDirsPath()); }},
        {"link to a huge file",
         [&] {
             return KSTHostileFiles::makeSparseFile(target, qint64(1) << 32, valid) &&
                    QFile::link(target, userDirsPath());
         }},
        {"dangling link", [&] { return QFile::link(target, userDirsPath()); }},
        // Under another machine's root a link is never followed: an absolute one would read
        // the host's file.
        {"link to a valid file",
         [&] { return writeFile(target, valid) && QFile::link(target, userDirsPath()); }},
        {"folder", [&] { return QDir().mkpath(userDirsPath()); }},
        {"overlong line",
         [&] {
             return writeFile(userDirsPath(),
                              "XDG_MUSIC_DIR=\"$HOME/" +
                                  QByteArray(KSTUserDirsFile::maximumLineBytes, 'x') + "\"\n");
         }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        QDir(userDirsPath()).removeRecursively();
        QFile::remove(userDirsPath());
        QFile::remove(target);
        ASSERT_TRUE(QDir().mkpath(QFileInfo(userDirsPath()).absolutePath()));
        ASSERT_TRUE(c.make());
        const KSTLinuxPlaces places = KSTLinuxPlaces::build(environment(), {});
        EXPECT_EQ(places.userFolder(Folder::Music), home() + "/Music"_L1);
    }
}

TEST_F(KSTLinuxPlacesTest, EnvironmentBuildsItsPlacesOnceAndAgainAfterAChange)
{
    ASSERT_TRUE(writeFile(userDirsPath(), "XDG_MUSIC_DIR=\"$HOME/Musik\"\n"));
    const KSTEnvironment first = environment();
    const std::shared_ptr<const KSTLinuxPlaces> places = first.places();
    ASSERT_TRUE(places);
    EXPECT_EQ(places->userFolder(Folder::Music), home() + "/Musik"_L1);

    // Copies share the object already built; a later edit of the file does not change it.
    ASSERT_TRUE(writeFile(userDirsPath(), "XDG_MUSIC_DIR=\"$HOME/Changed\"\n"));
    KSTEnvironment copy = first;
    EXPECT_EQ(copy.places(), places);

    // A changed copy answers for its new home; the original keeps its own.
    const QString otherHome = root() + "/home/ben"_L1;
    ASSERT_TRUE(QDir().mkpath(otherHome));
    copy.setHome(otherHome);
    EXPECT_EQ(copy.places()->userFolder(Folder::Music), otherHome + "/Music"_L1);
    EXPECT_EQ(copy.places()->cacheHome(), otherHome + "/.cache"_L1);
    EXPECT_EQ(first.places()->userFolder(Folder::Music), home() + "/Musik"_L1);
}

} // namespace
