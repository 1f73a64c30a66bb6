// Default apps on fixture Debian desktops: MIME types from the menu's entries, the choice
// from mimeapps.list in the XDG order, extensions from globs2, and changing a choice by
// rewriting the user's mimeapps.list through the removal guard.
#include "KSTDebianDesktop.h"
#include "KSTUtilitiesLinuxTestSupport.h"

#include <QFileInfo>
#include <QTemporaryDir>

namespace {

using Place = KSTFixtureLinux::EntryPlace;

class DefaultAppsLinuxTest : public KSTUtilitiesLinuxTest
{
protected:
    void addApp(const char *id, const char *name, const char *types)
    {
        KSTFixtureLinux::DesktopEntry entry;
        entry.fileName = QString::fromUtf8(id) + QStringLiteral(".desktop");
        entry.name = QString::fromUtf8(name);
        entry.exec = QString::fromUtf8(id);
        entry.extraLines = QByteArray("MimeType=") + types + "\n";
        machine.addDesktopEntry(entry);
    }
    const KSTDefaultAppRecord *record(const QList<KSTDefaultAppRecord> &records, const char *type)
    {
        for (const KSTDefaultAppRecord &found : records) {
            if (found.contentTypeUTI == QLatin1String(type))
                return &found;
        }
        return nullptr;
    }
    static QStringList candidateIds(const KSTDefaultAppRecord &record)
    {
        QStringList ids;
        for (const KSTDefaultAppCandidate &candidate : record.candidates)
            ids << candidate.bundleIdentifier;
        return ids;
    }
};

TEST_F(DefaultAppsLinuxTest, DebianDesktopTypesChoicesAndExtensions)
{
    KSTDebianDesktop::populate(machine);
    activate();
    const struct
    {
        const char *label;
        const char *type;
        const char *current;
        const char *currentId;
        QStringList candidates;
    } expected[] = {
        {".c", "text/x-csrc", "Text Editor", "org.gnome.TextEditor", {"org.gnome.TextEditor"}},
        // The system's list: the first entry that is installed.
        {".csv", "text/csv", "LibreOffice Calc", "libreoffice-calc", {"libreoffice-calc"}},
        {".doc",
         "application/msword",
         "LibreOffice Writer",
         "libreoffice-writer",
         {"libreoffice-writer"}},
        {".ods",
         "application/vnd.oasis.opendocument.spreadsheet",
         "LibreOffice Calc",
         "libreoffice-calc",
         {"libreoffice-calc"}},
        {".odt",
         "application/vnd.oasis.opendocument.text",
         "LibreOffice Writer",
         "libreoffice-writer",
         {"libreoffice-writer"}},
        // The user's Evince is not installed; the system's choice is the user's own copy of
        // Firefox, which lists no type.
        {".pdf", "application/pdf", "Firefox (private)", "firefox-esr", {"firefox-esr"}},
        {".txt", "text/plain", "Text Editor", "org.gnome.TextEditor", {"org.gnome.TextEditor"}},
        {"inode/directory",
         "inode/directory",
         "Files",
         "org.gnome.Nautilus",
         {"org.gnome.Nautilus"}},
    };
    const QList<KSTDefaultAppRecord> records = manager->scanDefaultAppBindings();
    QStringList types;
    for (const KSTDefaultAppRecord &found : records)
        types << found.contentTypeUTI;
    ASSERT_EQ(records.size(), qsizetype(std::size(expected))) << types.join(' ').toStdString();
    for (qsizetype index = 0; index < records.size(); ++index) {
        const auto &row = expected[index];
        EXPECT_EQ(records[index].extensionLabel, QString::fromUtf8(row.label)) << row.type;
        EXPECT_EQ(records[index].contentTypeUTI, QString::fromUtf8(row.type));
        EXPECT_EQ(records[index].currentAppName, QString::fromUtf8(row.current)) << row.type;
        EXPECT_EQ(records[index].currentBundleIdentifier, QString::fromUtf8(row.currentId))
            << row.type;
        EXPECT_EQ(candidateIds(records[index]), row.candidates) << row.type;
    }
}

TEST_F(DefaultAppsLinuxTest, TheFirstInstalledChoiceInTheXdgOrderWins)
{
    const struct Case
    {
        const char *what;
        QList<QPair<const char *, QByteArray>> lists; // root-relative file, contents
        const char *chosen;
    } cases[] = {
        {"no list: the first handler", {}, "a"},
        {"the user's list",
         {{"home/alice/.config/mimeapps.list", "[Default Applications]\ntext/plain=b.desktop\n"}},
         "b"},
        {"the first entry that is installed",
         {{"home/alice/.config/mimeapps.list",
           "[Default Applications]\ntext/plain=gone.desktop;b.desktop;\n"}},
         "b"},
        {"the user's choice is not installed: the system's",
         {{"home/alice/.config/mimeapps.list", "[Default Applications]\ntext/plain=gone.desktop\n"},
          {"etc/xdg/mimeapps.list", "[Default Applications]\ntext/plain=b.desktop\n"}},
         "b"},
        {"config dirs before the data home",
         {{"etc/xdg/mimeapps.list", "[Default Applications]\ntext/plain=a.desktop\n"},
          {"home/alice/.local/share/applications/mimeapps.list",
           "[Default Applications]\ntext/plain=b.desktop\n"}},
         "a"},
        {"a data dir's list",
         {{"usr/share/applications/mimeapps.list",
           "[Default Applications]\ntext/plain=b.desktop\n"}},
         "b"},
        {"other groups do not choose",
         {{"home/alice/.config/mimeapps.list",
           "[Added Associations]\ntext/plain=b.desktop\n[Removed "
           "Associations]\ntext/plain=a.desktop\n"}},
         "a"},
    };
    for (const Case &row : cases) {
        KSTFixtureLinux fresh;
        KSTFixtureLinux::DesktopEntry a{QStringLiteral("a.desktop"),
                                        QStringLiteral("A"),
                                        QStringLiteral("a"),
                                        {},
                                        QStringLiteral("Application"),
                                        false,
                                        false,
                                        "MimeType=text/plain;x-scheme-handler/a;\n",
                                        Place::System};
        fresh.addDesktopEntry(a);
        a.fileName = QStringLiteral("b.desktop");
        a.name = QStringLiteral("B");
        fresh.addDesktopEntry(a);
        for (const auto &[file, contents] : row.lists)
            fresh.writeFile(QString::fromUtf8(file), contents);
        fresh.activate();
        KSTSystemInfo info;
        KSTUtilitiesManager local(&info);
        const QList<KSTDefaultAppRecord> records = local.scanDefaultAppBindings();
        // A URL scheme is no file type.
        ASSERT_EQ(records.size(), 1) << row.what;
        EXPECT_EQ(records.first().contentTypeUTI, "text/plain");
        EXPECT_EQ(records.first().currentBundleIdentifier, QString::fromUtf8(row.chosen))
            << row.what;
        EXPECT_EQ(candidateIds(records.first()), (QStringList{"a", "b"})) << row.what;
    }
}

TEST_F(DefaultAppsLinuxTest, SettingRewritesOnlyTheUsersChoice)
{
    addApp("a", "A", "text/plain;text/csv;");
    addApp("b", "B", "text/plain;text/csv;");
    const QByteArray before = "# kept\n[Added Associations]\ntext/plain=a.desktop;\n\n"
                              "[Default Applications]\ntext/csv=a.desktop\ntext/plain=a.desktop\n"
                              "\n[Removed Associations]\nimage/png=x.desktop\n";
    const QString list = machine.writeMimeApps(before);
    const QByteArray system = "[Default Applications]\ntext/plain=a.desktop\n";
    const QString systemList = machine.writeSystemMimeApps(system);
    activate();

    KSTError error;
    ASSERT_TRUE(manager->setDefaultAppWithBundleIdentifier("B", "text/plain", &error))
        << error.description.toStdString();
    EXPECT_EQ(KSTTestSupport::readFile(list),
              "# kept\n[Added Associations]\ntext/plain=a.desktop;\n\n"
              "[Default Applications]\ntext/csv=a.desktop\ntext/plain=b.desktop\n"
              "\n[Removed Associations]\nimage/png=x.desktop\n");
    EXPECT_EQ(KSTTestSupport::readFile(systemList), system);
    const QList<KSTDefaultAppRecord> records = manager->scanDefaultAppBindings();
    ASSERT_NE(record(records, "text/plain"), nullptr);
    EXPECT_EQ(record(records, "text/plain")->currentBundleIdentifier, "b");
    EXPECT_EQ(record(records, "text/csv")->currentBundleIdentifier, "a");

    // A user without a list gets one.
    ASSERT_TRUE(QFile::remove(list));
    ASSERT_TRUE(manager->setDefaultAppWithBundleIdentifier("a", "text/csv", &error));
    EXPECT_EQ(KSTTestSupport::readFile(list), "[Default Applications]\ntext/csv=a.desktop\n");
}

TEST_F(DefaultAppsLinuxTest, RefusalsChangeNothing)
{
    addApp("a", "A", "text/plain;");
    QTemporaryDir outside;
    ASSERT_TRUE(outside.isValid());
    const QString victim = outside.filePath("victim.list");
    ASSERT_TRUE(KSTTestSupport::writeFile(victim, "[Default Applications]\n"));
    activate();
    const struct
    {
        const char *what;
        const char *id;
        const char *type;
        bool plantLink;
        const char *domain;
        qint64 code;
    } cases[] = {
        {"no identifier", "", "text/plain", false, "KSTUtilitiesManager", 30},
        {"no type", "a", "", false, "KSTUtilitiesManager", 30},
        {"not installed", "gone", "text/plain", false, "NSOSStatusErrorDomain", -10814},
        {"a link at the list", "a", "text/plain", true, "NSOSStatusErrorDomain", -10810},
    };
    for (const auto &row : cases) {
        if (row.plantLink)
            machine.makeSymlink("home/alice/.config/mimeapps.list", victim);
        KSTError error;
        EXPECT_FALSE(manager->setDefaultAppWithBundleIdentifier(row.id, row.type, &error))
            << row.what;
        EXPECT_EQ(error.domain, QString::fromUtf8(row.domain)) << row.what;
        EXPECT_EQ(error.code, row.code) << row.what;
        if (row.code < 0) {
            EXPECT_EQ(error.description,
                      "Debian GNU/Linux 12 (bookworm) rejected the default app change.");
        }
    }
    EXPECT_EQ(KSTTestSupport::readFile(victim), "[Default Applications]\n");
    EXPECT_TRUE(QFileInfo(home(".config/mimeapps.list")).isSymLink());
}

} // namespace
