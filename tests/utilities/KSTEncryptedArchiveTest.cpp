// Encrypted archives on fixture Macs, opened by other tools: unzip -P and Python's zipfile
// take the right password and refuse a wrong one; names, links and modes are zip's; the
// naming of taken archives; codes 20, 22 and 23; nothing left behind on failure.
#include "KSTEncryptedArchiveWriter.h"
#include "KSTEncryptionModel.h"
#include "KSTUtilitiesTestSupport.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class EncryptedArchiveTest : public KSTUtilitiesTest
{
protected:
    struct Outcome
    {
        quint64 created = 0;
        std::optional<KSTError> error;
        QStringList events; ///< the progress texts, then "done" for the completion
    };

    Outcome encrypt(const QStringList &paths, const QString &password)
    {
        Outcome outcome;
        bool done = false;
        manager->encryptPaths(
            paths, password, [&](const QString &text) { outcome.events << text; },
            [&](quint64 created, const std::optional<KSTError> &error) {
                outcome.created = created;
                outcome.error = error;
                outcome.events << QStringLiteral("done");
                done = true;
            });
        EXPECT_TRUE(KSTTestSupport::pumpUntil([&done] { return done; }, 60'000));
        return outcome;
    }

    // Python's zipfile: each member's name, then what it reads as with @p password (or the
    // exception's class name), one line each; links as "link:<target>" from the Unix mode.
    static QString readWithPython(const QString &archive, const QByteArray &password)
    {
        QByteArray output;
        KSTTestSupport::runHostTool(
            QStringLiteral("python3"),
            {QStringLiteral("-c"),
             QStringLiteral("import sys, zipfile, stat\n"
                            "z = zipfile.ZipFile(sys.argv[1])\n"
                            "for i in z.infolist():\n"
                            "    mode = i.external_attr >> 16\n"
                            "    try:\n"
                            "        data = z.read(i, pwd=sys.argv[2].encode())\n"
                            "        kind = 'link:' if stat.S_ISLNK(mode) else ''\n"
                            "        print(i.filename, kind + data.decode('latin-1'))\n"
                            "    except Exception as e:\n"
                            "        print(i.filename, type(e).__name__)\n"),
             archive, QString::fromUtf8(password)},
            &output);
        return QString::fromUtf8(output);
    }

    static int unzipTest(const QString &archive, const QString &password)
    {
        return KSTTestSupport::runHostTool(
            QStringLiteral("unzip"),
            {QStringLiteral("-qq"), QStringLiteral("-t"), QStringLiteral("-P"), password, archive});
    }
};

TEST_F(EncryptedArchiveTest, OtherToolsOpenItWithThePasswordOnly)
{
    mac.writeHomeFile("Documents/Photos/a.jpg", "jpeg bytes");
    mac.writeHomeFile("Documents/Photos/sub/b.txt", QByteArray(200'000, 'b'));
    mac.writeHomeFile("Documents/Photos/.hidden", "hidden");
    mac.writeFile("Outside/precious.txt", "precious");
    mac.makeSymlink("Users/alice/Documents/Photos/link", mac.path("Outside/precious.txt"));
    ::mkfifo(QFile::encodeName(mac.homePath("Documents/Photos/pipe")).constData(), 0644);
    const QString notes = mac.writeHomeFile("Documents/Notes.txt", "notes");

    const Outcome outcome = encrypt({mac.homePath("Documents/Photos/"), notes}, "pässword");
    ASSERT_FALSE(outcome.error) << outcome.error->description.toStdString();
    EXPECT_EQ(outcome.created, 2u);
    // A folder is named without its trailing slash; the password is in no text.
    EXPECT_EQ(outcome.events, (QStringList{"Encrypting Photos…", "Encrypting Notes.txt…", "done"}));
    const QString photos = mac.homePath("Documents/Photos.zip");
    const QString notesZip = mac.homePath("Documents/Notes.txt.zip");

    EXPECT_EQ(readWithPython(photos, "pässword"), "Photos/ \n"
                                                  "Photos/.hidden hidden\n"
                                                  "Photos/a.jpg jpeg bytes\n"
                                                  "Photos/link link:" +
                                                      mac.path("Outside/precious.txt") +
                                                      "\nPhotos/sub/ \nPhotos/sub/b.txt " +
                                                      QString(200'000, 'b') + '\n');
    EXPECT_EQ(readWithPython(notesZip, "pässword"), "Notes.txt notes\n");
    EXPECT_EQ(readWithPython(notesZip, "wrong"), "Notes.txt RuntimeError\n");
    EXPECT_EQ(unzipTest(photos, "pässword"), 0);
    EXPECT_NE(unzipTest(photos, "pässwort"), 0);
    // The sources are as they were.
    EXPECT_EQ(KSTTestSupport::readFile(notes), "notes");
    EXPECT_EQ(KSTTestSupport::readFile(mac.path("Outside/precious.txt")), "precious");
}

TEST_F(EncryptedArchiveTest, TakenNamesGetTheNextNumber)
{
    const QString source = mac.writeHomeFile("Documents/a.txt", "a");
    mac.writeHomeFile("Documents/a.txt.zip", "taken");
    mac.makeSymlink("Users/alice/Documents/a.txt-1.zip", mac.path("nowhere"));
    QString archive;
    KSTError error;
    ASSERT_TRUE(manager->createPasswordProtectedZipForPath(source, "pw", &error, &archive));
    EXPECT_EQ(archive, mac.homePath("Documents/a.txt-2.zip"));
    EXPECT_EQ(KSTTestSupport::readFile(mac.homePath("Documents/a.txt.zip")), "taken");

    const struct
    {
        const char *path;
        const char *unique;
    } names[] = {{"/x/Notes.txt.zip", "/x/Notes.txt-1.zip"}, {"/x/Photos.zip", "/x/Photos-1.zip"}};
    for (const auto &row : names)
        EXPECT_EQ(KSTUtilitiesManager::uniquePathForPath(QString::fromUtf8(row.path)),
                  QString::fromUtf8(row.unique));
}

TEST_F(EncryptedArchiveTest, EveryItemFailsAloneAndTheLastErrorIsReported)
{
    const QString good = mac.writeHomeFile("Documents/good.txt", "good");
    const QString pipe = mac.homePath("Documents/pipe");
    ::mkfifo(QFile::encodeName(pipe).constData(), 0644);
    const Outcome outcome =
        encrypt({mac.homePath("Documents/missing"), good, pipe}, QStringLiteral("pw"));
    EXPECT_EQ(outcome.created, 1u);
    // Every item is announced before its own work, failed ones too, and all before the end.
    EXPECT_EQ(outcome.events, (QStringList{"Encrypting missing…", "Encrypting good.txt…",
                                           "Encrypting pipe…", "done"}));
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->code, KSTUtilitiesManager::ArchiveNotCreated);
    EXPECT_EQ(outcome.error->description, "Encrypted ZIP was not created.");
    EXPECT_FALSE(QFile::exists(pipe + ".zip"));
    EXPECT_TRUE(QFile::exists(good + ".zip"));

    KSTError missing;
    EXPECT_FALSE(
        manager->createPasswordProtectedZipForPath(mac.homePath("Documents/none"), "pw", &missing));
    EXPECT_EQ(missing.code, KSTUtilitiesManager::ArchiveSourceMissing);
    EXPECT_EQ(missing.description, "File or folder not found.");

    const KSTEncryptionModel::Result result = KSTEncryptionModel::result(1, outcome.error);
    EXPECT_EQ(result.message, "Encrypted ZIP was not created.");
    EXPECT_FALSE(result.succeeded);
}

TEST_F(EncryptedArchiveTest, AFailedWriteLeavesNoArchive)
{
    const QString source = mac.writeHomeFile("Documents/big.bin", QByteArray(4 << 20, 'x'));
    const int full = ::open("/dev/full", O_RDWR | O_CLOEXEC);
    ASSERT_GE(full, 0);
    QString message;
    EXPECT_EQ(KSTEncryptedArchiveWriter::write(source, "pw", full, &message),
              KSTEncryptedArchiveWriter::Outcome::Failed);
    EXPECT_FALSE(message.isEmpty());
    ::close(full);
}

TEST_F(EncryptedArchiveTest, PrivacyPlacesAreNeitherReadNorWritten)
{
    const QString inMusic = mac.writeHomeFile("Music/song.m4a", "song");
    mac.makeSymlink("Users/alice/Desktop/tunes", mac.homePath("Music"));
    for (const QString &source : {inMusic, mac.homePath("Desktop/tunes/song.m4a")}) {
        KSTError error;
        EXPECT_FALSE(manager->createPasswordProtectedZipForPath(source, "pw", &error));
        EXPECT_EQ(error.code, KSTUtilitiesManager::ArchiveWriterFailed);
    }
    EXPECT_EQ(QDir(mac.homePath("Music")).entryList(QDir::Files), QStringList{"song.m4a"});

    // A library inside a chosen folder is left out of its archive.
    mac.writeHomeFile("Pictures/Trip/Photos Library.photoslibrary/database/photos.db", "db");
    mac.writeHomeFile("Pictures/Trip/day1.jpg", "jpg");
    QString archive;
    KSTError error;
    ASSERT_TRUE(manager->createPasswordProtectedZipForPath(mac.homePath("Pictures/Trip"), "pw",
                                                           &error, &archive));
    EXPECT_EQ(readWithPython(archive, "pw"), "Trip/ \nTrip/day1.jpg jpg\n");
}

TEST(EncryptionModel, PasswordChecksAndTexts)
{
    EXPECT_EQ(KSTEncryptionModel::passwordRefusal("", ""), "Enter a password.");
    EXPECT_EQ(KSTEncryptionModel::passwordRefusal("a", "b"), "Passwords do not match.");
    EXPECT_FALSE(KSTEncryptionModel::passwordRefusal("same", "same"));
    const KSTEncryptionModel::Result done = KSTEncryptionModel::result(3, std::nullopt);
    EXPECT_EQ(done.message, "Encrypted 3 item(s).");
    EXPECT_EQ(done.informativeText,
              "Password-protected .zip files were created next to the originals.");
    EXPECT_EQ(KSTEncryptionModel::result(0, KSTError{"d", 22, "", {}}).message,
              "Encryption failed.");
}

} // namespace
