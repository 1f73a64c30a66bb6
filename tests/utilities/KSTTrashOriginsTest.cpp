// Trash origins on a fixture Mac: where-from and quarantine attributes, the read-only
// quarantine database, and the put-back heuristic over crafted and real Trash stores.
#include "KSTUtilitiesTestSupport.h"

#include <QDir>

#include <gtest/gtest.h>

#include <sqlite3.h>

namespace {

// A name record of a store: big-endian length, UTF-16BE text and one pad byte, which gives
// the heuristic's runs the even length it needs.
QByteArray paddedName(const QString &text)
{
    QByteArray record(4, '\0');
    record[3] = char(text.size());
    for (const QChar character : text) {
        record.append(char(character.unicode() >> 8));
        record.append(char(character.unicode() & 0xFF));
    }
    return record + '\0';
}

QByteArray craftedStore(const QList<std::pair<QString, QString>> &records)
{
    QByteArray store = QByteArray::fromHex("00000001") + "Bud1" + QByteArray(20, '\x11');
    for (const auto &[folder, name] : records)
        store += paddedName(folder) + paddedName(name) + "ptbNustr" + QByteArray(4, '\0');
    return store;
}

class TrashOriginsTest : public KSTUtilitiesTest
{
protected:
    QString trashItem(const QString &name, const QByteArray &contents = "data")
    {
        return mac.writeHomeFile(QStringLiteral(".Trash/") + name, contents);
    }

    void writeQuarantineDatabase(const QList<QStringList> &rows)
    {
        const QString path =
            mac.homePath("Library/Preferences/com.apple.LaunchServices.QuarantineEventsV2");
        sqlite3 *db = nullptr;
        ASSERT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &db), SQLITE_OK);
        std::string sql =
            "CREATE TABLE LSQuarantineEvent (LSQuarantineEventIdentifier TEXT PRIMARY KEY NOT "
            "NULL, LSQuarantineTimeStamp REAL, LSQuarantineAgentBundleIdentifier TEXT, "
            "LSQuarantineAgentName TEXT, LSQuarantineDataURLString TEXT, LSQuarantineSenderName "
            "TEXT, LSQuarantineSenderAddress TEXT, LSQuarantineTypeNumber INTEGER, "
            "LSQuarantineOriginTitle TEXT, LSQuarantineOriginURLString TEXT, "
            "LSQuarantineOriginAlias BLOB);";
        for (const QStringList &row : rows) {
            const auto text = [](const QString &value) {
                return value.isNull() ? std::string("NULL") : "'" + value.toStdString() + "'";
            };
            sql += "INSERT INTO LSQuarantineEvent (LSQuarantineEventIdentifier, "
                   "LSQuarantineAgentBundleIdentifier, LSQuarantineAgentName, "
                   "LSQuarantineDataURLString) VALUES (" +
                   text(row.at(0)) + "," + text(row.at(1)) + "," + text(row.at(2)) + "," +
                   text(row.at(3)) + ");";
        }
        ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
    }
};

TEST_F(TrashOriginsTest, EachRouteGivesItsOrigin)
{
    KSTFixtureMac::App preview;
    preview.name = "Preview";
    preview.bundleIdentifier = "com.apple.Preview";
    preview.extraInfo = {{"CFBundleName", "Preview"}};
    mac.addApp(preview);

    const QString tor = trashItem("TorBrowser-6.0.5-osx64_en-US.dmg");
    ASSERT_TRUE(setAttribute(tor, "com.apple.metadata:kMDItemWhereFroms",
                             KSTTestSupport::readFile(KSTTestSupport::recordedMacFile(
                                 "kMDItemWhereFroms.TorBrowser-6.0.5.bplist"))));
    ASSERT_TRUE(
        setAttribute(tor, "com.apple.quarantine",
                     "0081;52fb9173;Google Chrome.app;3AB6D46E-4AC5-3C3E-B427-32C7F804AAA3"));
    const QString invoice = trashItem("invoice.pdf");
    ASSERT_TRUE(setAttribute(invoice, "com.apple.quarantine",
                             KSTTestSupport::readFile(KSTTestSupport::recordedMacFile(
                                 "xattr-com.apple.quarantine.Safari-download.txt"))));
    const QString byBundle = trashItem("bundle-only.zip");
    ASSERT_TRUE(setAttribute(byBundle, "com.apple.quarantine", "0083;5b2813cc;;EVENT-2"));
    writeQuarantineDatabase(
        {{"C5222A77-BDFD-4229-82FB-D5E97076D161", "com.apple.Safari", "Safari",
          "https://h/d/f.pdf?x=1"},
         {"event-2", "com.apple.Preview", QString(), "https://example.org/a/b.zip"}});
    trashItem("plain.txt");
    trashItem("report.pdf");
    trashItem(".hidden");
    mac.writeHomeFile(".Trash/.DS_Store", craftedStore({{"/Users/alice/Documents", "report.pdf"}}));

    const QList<KSTTrashSourceRecord> records = manager->scanTrashSourceItems();
    const QList<KSTTrashSourceRecord> expected = {
        {"bundle-only.zip", "https://example.org/a/", "Preview", byBundle},
        {"invoice.pdf", "https://h/d/", "Safari", invoice},
        {"plain.txt", "Unknown", "Finder", mac.homePath(".Trash/plain.txt")},
        {"report.pdf", "/Users/alice/Documents/report.pdf", "Finder",
         mac.homePath(".Trash/report.pdf")},
        {"TorBrowser-6.0.5-osx64_en-US.dmg",
         "https://dist.torproject.org/torbrowser/6.0.5/TorBrowser-6.0.5-osx64_en-US.dmg",
         "Google Chrome.app", tor},
    };
    ASSERT_EQ(records.size(), expected.size());
    for (qsizetype index = 0; index < records.size(); ++index) {
        EXPECT_EQ(records.at(index).fileName, expected.at(index).fileName);
        EXPECT_EQ(records.at(index).originalLocation, expected.at(index).originalLocation);
        EXPECT_EQ(records.at(index).deletedBy, expected.at(index).deletedBy);
        EXPECT_EQ(records.at(index).trashPath, expected.at(index).trashPath);
    }
}

TEST_F(TrashOriginsTest, RealStoresGiveNoPutBackPaths)
{
    // Real records cut one byte late have odd lengths: the heuristic finds nothing in them,
    // nor in a store of another folder or one without the magic.
    for (const char *recorded :
         {"DS_Store.Trash.NOdoff-gitPractice.bin", "DS_Store.Trash.Haybradshaw-my-test-repo.bin",
          "DS_Store.Trash.chinwayland-applescripts.bin", "DS_Store.facter-fixtures-2010a.bin"}) {
        const QByteArray store = KSTTestSupport::readFile(
            KSTTestSupport::recordedMacFile(QString::fromLatin1(recorded)));
        ASSERT_FALSE(store.isEmpty()) << recorded;
        EXPECT_TRUE(KSTUtilitiesManager::originalPathsFromTrashDSStoreData(store).isEmpty())
            << recorded;
    }
    QByteArray foreign = craftedStore({{"/a", "b.txt"}});
    EXPECT_EQ(KSTUtilitiesManager::originalPathsFromTrashDSStoreData(foreign),
              QStringList{"/a/b.txt"});
    foreign[4] = 'X';
    EXPECT_TRUE(KSTUtilitiesManager::originalPathsFromTrashDSStoreData(foreign).isEmpty());
    EXPECT_TRUE(KSTUtilitiesManager::originalPathsFromTrashDSStoreData("Bud").isEmpty());
}

TEST(TrashPutBackPaths, UsedPathsKeepItemsOfTheSameNameInStep)
{
    const QStringList paths = {"/a/x", "/b/x", "/c/X"};
    QSet<QString> used;
    KSTUtilitiesManager::markUsedBud1PathForTrashFileName("x", paths, used);
    EXPECT_EQ(KSTUtilitiesManager::originalLocationFromBud1Paths(paths, "x", used), "/b/x");
    EXPECT_EQ(KSTUtilitiesManager::originalLocationFromBud1Paths(paths, "x", used), "/c/X");
    EXPECT_EQ(KSTUtilitiesManager::originalLocationFromBud1Paths(paths, "x", used), "Unknown");
}

TEST(TrashPutBackPaths, TextRunsAndJoins)
{
    const auto utf16 = [](const char16_t *text, qsizetype units) {
        return QByteArray(reinterpret_cast<const char *>(text), units * 2);
    };
    EXPECT_EQ(KSTUtilitiesManager::bud1StringFromUTF16Data(utf16(u"\0ab\0", 4)), "ab");
    EXPECT_FALSE(KSTUtilitiesManager::bud1StringFromUTF16Data(QByteArray("abc")));
    EXPECT_FALSE(KSTUtilitiesManager::bud1StringFromUTF16Data(utf16(u"\0\0", 2)));
    EXPECT_FALSE(KSTUtilitiesManager::bud1StringFromUTF16Data(QByteArray()));
    const struct
    {
        QString folder;
        QString name;
        std::optional<QString> path;
    } joins[] = {
        {"/d", "f", QString("/d/f")},
        {"/d/", "f", QString("/d/f")},
        {"/", "f", QString("/f")},
        {QString(QChar(0)) + "/d", QString("f") + QChar(0), QString("/d/f")},
        {"", "f", std::nullopt},
        {"/d", "", std::nullopt},
    };
    for (const auto &row : joins)
        EXPECT_EQ(KSTUtilitiesManager::bud1FullPathFromDirectoryPath(row.folder, row.name),
                  row.path);
}

TEST_F(TrashOriginsTest, AnEmptyMissingOrLinkedTrashGivesNothing)
{
    EXPECT_TRUE(manager->scanTrashSourceItems().isEmpty());
    QDir(mac.homePath(".Trash")).removeRecursively();
    EXPECT_TRUE(manager->scanTrashSourceItems().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(mac.homePath(".Trash")));
    mac.writeFile("Elsewhere/item.txt", "x");
    mac.makeSymlink("Users/alice/.Trash", mac.path("Elsewhere"));
    EXPECT_TRUE(manager->scanTrashSourceItems().isEmpty());
}

} // namespace
