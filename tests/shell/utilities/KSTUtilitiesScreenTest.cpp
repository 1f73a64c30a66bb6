// The Utilities screen on fixture Macs: what each card shows, that its actions reach the
// manager only after the confirmation and with the user's choice, and the refusal and result
// texts it tells.
#include "KSTShellTestFixture.h"

#include "KSTFixtureMac.h"
#include "KSTFormatting.h"
#include "KSTObjectLookup.h"
#include "KSTPathDropArea.h"
#include "KSTPropertyList.h"
#include "KSTUtilitiesManager.h"
#include "KSTUtilitiesScreen.h"

#include <QApplication>
#include <QComboBox>
#include <QDropEvent>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>

#include <sys/xattr.h>

namespace {

using namespace Qt::StringLiterals;
using KSTObjectLookup::childNamed;
using KSTObjectLookup::textNamed;
using Domain = KSTFixtureMac::LaunchdDomain;

struct Told
{
    QString message;
    QString informativeText;
    bool warning = false;
};

class UtilitiesScreenTest : public ShellTest
{
protected:
    void SetUp() override
    {
        ShellTest::SetUp();
        grantFullDiskAccess();
        utilities = std::make_unique<KSTUtilitiesManager>(&systemInfo);
        // du is only ever asked about the home's folders here.
        mac.addToolScript("/usr/bin/du", "printf '8\\t%s\\n' \"$4\"\n");
    }
    void TearDown() override
    {
        screen.reset();
        utilities.reset(); // waits for the jobs it queued
        KSTTestSupport::pumpFor(20);
        ShellTest::TearDown();
    }

    /// The screen, shown, with every list arrived; its alerts answered with @p accept.
    KSTUtilitiesScreen *showScreen()
    {
        screen = std::make_unique<KSTUtilitiesScreen>(*utilities);
        screen->setAlertPresenters(
            [this](QWidget *, const KSTUtilitiesAlerts::Confirmation &confirmation) {
                confirmations.append(confirmation);
                return accept;
            },
            [this](QWidget *, const QString &message, const QString &informative, bool warning) {
                told.append({message, informative, warning});
            });
        screen->setPathPicker([this](QWidget *) { return picked; });
        screen->resize(1200, 800);
        screen->show();
        EXPECT_TRUE(KSTTestSupport::pumpUntil([this] { return screen->isContentReady(); }));
        return screen.get();
    }

    QPushButton *button(const QString &name) { return childNamed<QPushButton>(screen.get(), name); }
    QString text(const QString &name) { return textNamed<QLabel>(screen.get(), name); }
    void click(const QString &name)
    {
        if (QPushButton *target = button(name))
            QTest::mouseClick(target, Qt::LeftButton);
    }
    /// Waits for the question asked once what would be erased has been counted.
    bool waitForConfirmation()
    {
        return KSTTestSupport::pumpUntil([this] { return confirmations.size() == 1; });
    }
    /// Waits for the alert that tells how a job ended.
    bool waitForTold(qsizetype count = 1)
    {
        return KSTTestSupport::pumpUntil([this, count] { return told.size() >= count; });
    }
    QStringList rowTexts(const QString &rowName, const QString &labelName)
    {
        QStringList texts;
        for (QWidget *row : screen->findChildren<QWidget *>(rowName)) {
            if (row->parent() && row->isVisibleTo(screen.get()))
                texts << textNamed<QLabel>(row, labelName);
        }
        return texts;
    }

    std::unique_ptr<KSTUtilitiesManager> utilities;
    std::unique_ptr<KSTUtilitiesScreen> screen;
    QList<KSTUtilitiesAlerts::Confirmation> confirmations;
    QList<Told> told;
    QStringList picked;
    bool accept = true;
};

TEST_F(UtilitiesScreenTest, TheWindowShowsTheUtilitiesScreenAndItsContentArrives)
{
    auto controller = makeShownWindow();
    auto *shown = qobject_cast<KSTUtilitiesScreen *>(controller->screenForSection(6));
    ASSERT_NE(shown, nullptr);
    // The screenshot option waits for this signal: once, when all four lists are there.
    QSignalSpy ready(shown, &KSTToolScreen::contentReady);
    controller->showSection(6);
    EXPECT_TRUE(KSTTestSupport::pumpUntil([shown] { return shown->isContentReady(); }));
    KSTTestSupport::pumpFor(20);
    EXPECT_EQ(ready.count(), 1);
    controller->showSection(0);
    controller->showSection(6); // shown again: lists refresh, no second signal
    KSTTestSupport::pumpFor(100);
    EXPECT_EQ(ready.count(), 1);
}

TEST_F(UtilitiesScreenTest, StartupItemsShowImpactAndOfferDisableOnlyWhereAllowed)
{
    mac.addLaunchdPlist(
        Domain::UserAgent, "com.example.sync",
        {{"Program", "/Applications/Sync.app/Contents/MacOS/sync"}, {"RunAtLoad", true}});
    mac.addLaunchdPlist(Domain::GlobalAgent, "com.example.updater",
                        {{"Program", "/Library/Updater/updater"}, {"RunAtLoad", true}});
    mac.addLaunchdPlist(Domain::Daemon, "com.example.helper",
                        {{"Program", "/Library/Helper/helper"}});
    showScreen();

    EXPECT_EQ(text(u"bootImpact"_s), "Boot impact: High");
    EXPECT_EQ(rowTexts(u"startupRow"_s, u"startupName"_s),
              (QStringList{"com.example.helper", "com.example.updater", "Sync"}));
    EXPECT_EQ(rowTexts(u"startupRow"_s, u"startupImpact"_s), (QStringList{"High", "Low", "Low"}));
    const QList<QPushButton *> disables = screen->findChildren<QPushButton *>(u"disableButton"_s);
    ASSERT_EQ(disables.size(), 1);
    EXPECT_EQ(disables.first()->parentWidget()->property("itemPath").toString(),
              mac.homePath("Library/LaunchAgents/com.example.sync.plist"));
    EXPECT_FALSE(childNamed<QLabel>(screen.get(), u"startupEmpty"_s)->isVisibleTo(screen.get()));
}

TEST_F(UtilitiesScreenTest, DisablingAsksFirstAndTellsWhyItFailed)
{
    const struct
    {
        bool accept;
        bool launchctl;
        bool renamed;
        const char *failure; // what the failure alert says, or nothing
    } cases[] = {
        {false, true, false, nullptr},
        {true, true, true, nullptr},
        // Without a launchctl the agent cannot be unloaded, and nothing is renamed.
        {true, false, false, "Failed to unload launch agent."},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(testing::Message() << row.accept << row.launchctl);
        const QString plist =
            mac.addLaunchdPlist(Domain::UserAgent, "com.example.sync",
                                {{"Program", "/Applications/Sync.app/Contents/MacOS/sync"}});
        QFile::remove(mac.path("bin/launchctl"));
        QFile::remove(mac.path("bin/launchctl.calls"));
        if (row.launchctl)
            mac.addTool("/bin/launchctl", "");
        confirmations.clear();
        told.clear();
        accept = row.accept;
        showScreen();

        click(u"disableButton"_s);
        EXPECT_TRUE(KSTTestSupport::pumpUntil(
            [this] { return button(u"startupRescanButton"_s)->isEnabled(); }));
        ASSERT_EQ(confirmations.size(), 1);
        EXPECT_EQ(confirmations.first().message, "Disable Sync?");
        EXPECT_EQ(confirmations.first().informativeText,
                  "This will stop the item from launching at login. You can re-enable it "
                  "manually later.");
        EXPECT_EQ(confirmations.first().acceptTitle, "Disable");
        EXPECT_EQ(QFileInfo::exists(plist), !row.renamed);
        EXPECT_EQ(QFileInfo::exists(plist + ".disabled"), row.renamed);
        EXPECT_EQ(mac.toolCalls("/bin/launchctl").size(), row.accept && row.launchctl ? 1 : 0);
        if (row.failure) {
            ASSERT_TRUE(waitForTold());
            EXPECT_EQ(told.first().message, QString::fromUtf8(row.failure));
            EXPECT_TRUE(told.first().warning);
        } else {
            KSTTestSupport::pumpFor(20);
            EXPECT_TRUE(told.isEmpty());
        }
        // The list follows: a disabled agent is no longer listed.
        EXPECT_EQ(rowTexts(u"startupRow"_s, u"startupName"_s).size(), row.renamed ? 0 : 1);
        EXPECT_EQ(text(u"bootImpact"_s), row.renamed ? "Boot impact: None" : "Boot impact: Low");
        QFile::remove(plist + ".disabled");
    }
}

TEST_F(UtilitiesScreenTest, AMacWithoutStartupItemsSaysSo)
{
    showScreen();
    EXPECT_EQ(text(u"bootImpact"_s), "Boot impact: None");
    QLabel *empty = childNamed<QLabel>(screen.get(), u"startupEmpty"_s);
    ASSERT_NE(empty, nullptr);
    EXPECT_TRUE(empty->isVisibleTo(screen.get()));
    EXPECT_EQ(empty->text(), "No startup items detected on this Mac.");
    // A new agent shows up when the user asks for a rescan.
    mac.addLaunchdPlist(Domain::UserAgent, "com.example.late", {});
    click(u"startupRescanButton"_s);
    EXPECT_TRUE(KSTTestSupport::pumpUntil(
        [this] { return rowTexts(u"startupRow"_s, u"startupName"_s).size() == 1; }));
    EXPECT_FALSE(empty->isVisibleTo(screen.get()));
}

TEST_F(UtilitiesScreenTest, EraseRefusesAProtectedPathWithoutAskingOrTouchingAnything)
{
    mac.writeFile("System/Library/keep.plist", "k");
    const QString file = mac.writeHomeFile("Documents/keep.txt", "data");
    const struct
    {
        QStringList paths;
        QString shown; // the path the refusal names
    } cases[] = {
        {{"/usr/bin/env"}, "/usr/bin/env"},
        {{mac.path("System/Library/keep.plist")}, mac.path("System/Library/keep.plist")},
        // ".." leads out of the home into the analysed Mac's /usr; the other item is kept too.
        {{file, mac.home() + "/../../usr"}, mac.path("usr")},
    };
    showScreen();
    for (const auto &row : cases) {
        told.clear();
        picked = row.paths;
        click(u"eraseChooseButton"_s);
        click(u"eraseButton"_s);
        EXPECT_TRUE(confirmations.isEmpty());
        const QString refusal = "Cannot erase protected path: " + row.shown;
        EXPECT_EQ(text(u"eraseStatus"_s), refusal);
        ASSERT_EQ(told.size(), 1);
        EXPECT_EQ(told.first().message, refusal);
    }
    EXPECT_TRUE(QFileInfo::exists(file));
    EXPECT_TRUE(QFileInfo::exists(mac.path("System/Library/keep.plist")));
}

TEST_F(UtilitiesScreenTest, EraseOverwritesOnlyAfterTheConfirmationAndTellsTheOutcome)
{
    const QString file = mac.writeHomeFile("Documents/secret.txt", "secret secret");
    const QString folder = mac.homePath("Documents/Old");
    mac.writeHomeFile("Documents/Old/a.txt", "aaaa");
    showScreen();
    EXPECT_TRUE(text(u"eraseHonesty"_s).contains("SSDs and copy-on-write file systems"));
    EXPECT_FALSE(button(u"eraseButton"_s)->isEnabled()); // nothing chosen yet

    picked = {file, folder};
    click(u"eraseChooseButton"_s);
    accept = false;
    click(u"eraseButton"_s);
    ASSERT_TRUE(waitForConfirmation());
    EXPECT_EQ(confirmations.first().message, "Permanently erase selected items?");
    EXPECT_EQ(confirmations.first().informativeText,
              "Selected files and folders will be securely overwritten and deleted. This cannot "
              "be undone.");
    EXPECT_EQ(confirmations.first().detailText, "2 file(s), " + KSTFormatting::formatBytes(17) +
                                                    " to overwrite; 1 item(s) only removed");
    EXPECT_EQ(confirmations.first().acceptTitle, "Erase");
    KSTTestSupport::pumpFor(50);
    EXPECT_TRUE(QFileInfo::exists(file));
    EXPECT_TRUE(QFileInfo::exists(folder));

    accept = true;
    childNamed<QComboBox>(screen.get(), u"eraseMethod"_s)->setCurrentIndex(2);
    click(u"eraseButton"_s);
    ASSERT_TRUE(waitForTold());
    EXPECT_EQ(told.first().message, "Erase completed.");
    EXPECT_FALSE(told.first().warning);
    EXPECT_EQ(text(u"eraseStatus"_s), "Erase completed.");
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_FALSE(QFileInfo::exists(folder));
    // The choice is spent: Erase waits for new items.
    EXPECT_FALSE(button(u"eraseButton"_s)->isEnabled());
}

TEST_F(UtilitiesScreenTest, ErasingAnItemOfTheTrashTakesItOffTheTrashList)
{
    const QString trashed = mac.writeHomeFile(".Trash/old.txt", "old");
    mac.writeHomeFile(".Trash/kept.txt", "kept");
    showScreen();
    ASSERT_EQ(rowTexts(u"trashRow"_s, u"trashName"_s), (QStringList{"kept.txt", "old.txt"}));
    picked = {trashed};
    click(u"eraseChooseButton"_s);
    click(u"eraseButton"_s);
    ASSERT_TRUE(waitForTold());
    EXPECT_TRUE(KSTTestSupport::pumpUntil(
        [this] { return rowTexts(u"trashRow"_s, u"trashName"_s) == QStringList{"kept.txt"}; }));
}

TEST_F(UtilitiesScreenTest, AFailedEraseTellsTheErrorAndKeepsWhatFollows)
{
    const QString first = mac.writeHomeFile("Documents/one.txt", "1");
    const QString third = mac.writeHomeFile("Documents/three.txt", "3");
    showScreen();
    // The middle item vanishes between the choice and the job.
    const QString gone = mac.writeHomeFile("Documents/two.txt", "2");
    picked = {first, gone, third};
    click(u"eraseChooseButton"_s);
    QFile::remove(gone);
    click(u"eraseButton"_s);
    ASSERT_TRUE(waitForTold());
    EXPECT_TRUE(told.first().warning);
    EXPECT_NE(told.first().message, "Erase completed.");
    EXPECT_EQ(text(u"eraseStatus"_s), told.first().message);
    EXPECT_FALSE(QFileInfo::exists(first));
    EXPECT_TRUE(QFileInfo::exists(third));
}

TEST_F(UtilitiesScreenTest, DroppedLocalItemsAreWhatTheCardsActOn)
{
    const QString file = mac.writeHomeFile("Documents/dropped.txt", "d");
    showScreen();
    for (const QString &areaName : {u"eraseDropArea"_s, u"encryptDropArea"_s}) {
        KSTPathDropArea *area = childNamed<KSTPathDropArea>(screen.get(), areaName);
        ASSERT_NE(area, nullptr);
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile(file), QUrl(u"https://example.com/x.pdf"_s)});
        // A drop reaches the widget the drag entered, as a file manager's drag does.
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &mime, Qt::LeftButton,
                              Qt::NoModifier);
        QApplication::sendEvent(area, &enter);
        ASSERT_TRUE(enter.isAccepted());
        QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(area, &drop);
        EXPECT_EQ(area->paths(), QStringList{file}) << areaName.toStdString();
        EXPECT_EQ(area->text(), "1 item(s): dropped.txt");
    }
    EXPECT_TRUE(button(u"eraseButton"_s)->isEnabled());
    EXPECT_TRUE(button(u"encryptButton"_s)->isEnabled());
    EXPECT_TRUE(QFileInfo::exists(file));
}

TEST_F(UtilitiesScreenTest, EncryptChecksThePasswordsBeforeAsking)
{
    const QString file = mac.writeHomeFile("Documents/Notes.txt", "notes");
    const struct
    {
        const char *password;
        const char *confirmation;
        const char *refusal;
    } cases[] = {
        {"", "", "Enter a password."},
        {"", "x", "Enter a password."},
        {"secret", "Secret", "Passwords do not match."},
    };
    showScreen();
    picked = {file};
    click(u"encryptChooseButton"_s);
    for (const auto &row : cases) {
        told.clear();
        childNamed<QLineEdit>(screen.get(), u"encryptPassword"_s)->setText(row.password);
        childNamed<QLineEdit>(screen.get(), u"encryptConfirmation"_s)->setText(row.confirmation);
        click(u"encryptButton"_s);
        EXPECT_TRUE(confirmations.isEmpty());
        EXPECT_EQ(text(u"encryptStatus"_s), QString::fromUtf8(row.refusal));
        ASSERT_EQ(told.size(), 1);
        EXPECT_EQ(told.first().message, QString::fromUtf8(row.refusal));
    }
    KSTTestSupport::pumpFor(50);
    EXPECT_FALSE(QFileInfo::exists(file + ".zip"));
}

TEST_F(UtilitiesScreenTest, EncryptMakesTheArchivesOnlyAfterTheConfirmation)
{
    const QString file = mac.writeHomeFile("Documents/Notes.txt", "notes");
    mac.writeHomeFile("Documents/Photos/a.jpg", "jpeg");
    const QString photos = mac.homePath("Documents/Photos");
    showScreen();
    picked = {file, photos};
    click(u"encryptChooseButton"_s);
    QLineEdit *password = childNamed<QLineEdit>(screen.get(), u"encryptPassword"_s);
    QLineEdit *confirmation = childNamed<QLineEdit>(screen.get(), u"encryptConfirmation"_s);
    EXPECT_EQ(password->echoMode(), QLineEdit::Password);

    for (const bool go : {false, true}) {
        accept = go;
        confirmations.clear();
        password->setText(u"correct horse"_s);
        confirmation->setText(u"correct horse"_s);
        click(u"encryptButton"_s);
        ASSERT_EQ(confirmations.size(), 1);
        EXPECT_EQ(confirmations.first().message, "Encrypt selected items?");
        EXPECT_EQ(confirmations.first().informativeText,
                  "Each item becomes a password-protected .zip file next to the original. Open it "
                  "with Archive Utility, 7-Zip, or Windows Explorer.");
        EXPECT_EQ(confirmations.first().acceptTitle, "Encrypt");
    }
    // The fields let go of the password as soon as the job has it.
    EXPECT_TRUE(password->text().isEmpty());
    EXPECT_TRUE(confirmation->text().isEmpty());
    ASSERT_TRUE(waitForTold());
    EXPECT_EQ(told.first().message, "Encrypted 2 item(s).");
    EXPECT_EQ(told.first().informativeText,
              "Password-protected .zip files were created next to the originals.");
    EXPECT_FALSE(told.first().warning);
    EXPECT_TRUE(QFileInfo::exists(file + ".zip"));
    EXPECT_TRUE(QFileInfo::exists(photos + ".zip"));
    EXPECT_TRUE(QFileInfo::exists(file)); // the originals stay
    // Only the accepted confirmation made archives: one each, no "-1" copies.
    EXPECT_FALSE(QFileInfo::exists(mac.homePath("Documents/Notes.txt-1.zip")));
}

TEST_F(UtilitiesScreenTest, AFailedArchiveTellsTheLastError)
{
    const QString file = mac.writeHomeFile("Documents/Notes.txt", "notes");
    showScreen();
    picked = {mac.homePath("Documents/missing.txt"), file};
    click(u"encryptChooseButton"_s);
    childNamed<QLineEdit>(screen.get(), u"encryptPassword"_s)->setText(u"pw"_s);
    childNamed<QLineEdit>(screen.get(), u"encryptConfirmation"_s)->setText(u"pw"_s);
    click(u"encryptButton"_s);
    ASSERT_TRUE(waitForTold());
    EXPECT_EQ(told.first().message, "File or folder not found.");
    EXPECT_TRUE(told.first().warning);
    EXPECT_TRUE(QFileInfo::exists(file + ".zip"));
}

class DefaultAppsScreenTest : public UtilitiesScreenTest
{
protected:
    void SetUp() override
    {
        UtilitiesScreenTest::SetUp();
        addApp("Preview", "com.apple.Preview", {"com.adobe.pdf", "public.png"});
        addApp("Reader", "com.example.reader", {"com.adobe.pdf"}, "Reader.png");
        QImage icon(64, 64, QImage::Format_ARGB32);
        icon.fill(Qt::red);
        readerIcon = mac.path("Applications/Reader.app/Contents/Resources/Reader.png");
        icon.save(readerIcon, "PNG");
        preferences = mac.writeHomePlist(
            "Library/Preferences/com.apple.LaunchServices/com.apple.launchservices.secure.plist",
            QVariantMap{{"LSHandlers",
                         QVariantList{QVariantMap{{"LSHandlerContentType", "com.adobe.pdf"},
                                                  {"LSHandlerRoleAll", "com.example.reader"}},
                                      QVariantMap{{"LSHandlerURLScheme", "mailto"},
                                                  {"LSHandlerRoleAll", "com.example.mail"}}}}});
    }
    void addApp(const QString &name, const QString &identifier, const QStringList &types,
                const QString &iconFile = {})
    {
        KSTFixtureMac::App app;
        app.name = name;
        app.bundleIdentifier = identifier;
        app.extraInfo = {
            {"CFBundleName", name},
            {"CFBundleDocumentTypes",
             QVariantList{QVariantMap{{"LSItemContentTypes", types}, {"LSHandlerRank", "Owner"}}}}};
        if (!iconFile.isEmpty())
            app.extraInfo.insert("CFBundleIconFile", iconFile);
        mac.addApp(app);
    }
    QWidget *rowFor(const QString &uti)
    {
        for (QWidget *row : screen->findChildren<QWidget *>(u"defaultAppRow"_s)) {
            if (row->parent() && row->property("contentType").toString() == uti)
                return row;
        }
        ADD_FAILURE() << "no row for " << uti.toStdString();
        return nullptr;
    }
    QComboBox *menuFor(const QString &uti)
    {
        QWidget *row = rowFor(uti);
        return row ? childNamed<QComboBox>(row, u"defaultAppMenu"_s) : nullptr;
    }
    // How many of the icon's drawn pixels are pure red, the fixture icon's colour.
    static int redPixels(QWidget *icon)
    {
        const QImage drawn = icon->grab().toImage();
        int red = 0;
        for (int y = 0; y < drawn.height(); ++y) {
            for (int x = 0; x < drawn.width(); ++x)
                red += drawn.pixelColor(x, y).rgb() == QColor(Qt::red).rgb();
        }
        return red;
    }
    QString preferences;
    QString readerIcon;
};

TEST_F(DefaultAppsScreenTest, EachTypeShowsItsAppAndTheMenuChangesIt)
{
    showScreen();
    QComboBox *pdf = menuFor(u"com.adobe.pdf"_s);
    ASSERT_NE(pdf, nullptr);
    EXPECT_EQ(pdf->currentText(), "Reader");
    EXPECT_EQ(pdf->count(), 2);
    QComboBox *png = menuFor(u"public.png"_s);
    ASSERT_NE(png, nullptr);
    EXPECT_EQ(png->currentText(), "Preview");

    const int preview = pdf->findData(u"com.apple.Preview"_s);
    ASSERT_GE(preview, 0);
    pdf->setCurrentIndex(preview);
    Q_EMIT pdf->activated(preview);
    // What the preferences file holds then is DefaultAppsTest's
    // (SettingRewritesOneEntryAndKeepsTheRest); the list, read again, shows the new handler.
    EXPECT_TRUE(KSTTestSupport::pumpUntil([&] {
        QComboBox *menu = menuFor(u"com.adobe.pdf"_s);
        return menu && menu->currentText() == "Preview";
    }));
    EXPECT_TRUE(told.isEmpty());
}

TEST_F(DefaultAppsScreenTest, EachRowDrawsItsHandlersOwnIconOrTheSymbol)
{
    showScreen();
    const struct
    {
        const char16_t *uti;
        bool ownIcon; ///< Reader has an icon file, Preview names none
    } cases[] = {{u"com.adobe.pdf", true}, {u"public.png", false}};
    for (const auto &row : cases) {
        QWidget *line = rowFor(QString::fromUtf16(row.uti));
        ASSERT_NE(line, nullptr);
        auto *icon = childNamed<QWidget>(line, u"defaultAppIcon"_s);
        ASSERT_NE(icon, nullptr);
        // The first drawing starts the read; the icon is drawn once it is in.
        icon->grab();
        ASSERT_TRUE(iconsRead());
        const QImage drawn = icon->grab().toImage();
        const int red = redPixels(icon);
        if (row.ownIcon) {
            // The whole square is the app's picture, not the outlined symbol.
            EXPECT_EQ(red, drawn.width() * drawn.height());
            EXPECT_TRUE(icon->toolTip().contains(readerIcon)) << icon->toolTip().toStdString();
        } else {
            EXPECT_EQ(red, 0);
            EXPECT_TRUE(icon->toolTip().isEmpty());
        }
    }

    // The candidates' icons are read when the menu opens: Reader's own, Preview's symbol.
    QComboBox *pdf = menuFor(u"com.adobe.pdf"_s);
    ASSERT_NE(pdf, nullptr);
    const int reader = pdf->findData(u"com.example.reader"_s);
    const int preview = pdf->findData(u"com.apple.Preview"_s);
    ASSERT_GE(reader, 0);
    ASSERT_GE(preview, 0);
    EXPECT_TRUE(pdf->itemIcon(reader).isNull());
    pdf->showPopup();
    ASSERT_TRUE(iconsRead());
    const auto centre = [pdf](int index) {
        return pdf->itemIcon(index).pixmap(16, 16).toImage().pixelColor(8, 8).rgb();
    };
    EXPECT_EQ(centre(reader), QColor(Qt::red).rgb());
    ASSERT_FALSE(pdf->itemIcon(preview).isNull());
    EXPECT_NE(centre(preview), QColor(Qt::red).rgb());
    pdf->hidePopup();
}

TEST_F(DefaultAppsScreenTest, ARefusedChangeIsToldAndTheMenuGoesBack)
{
    showScreen();
    QComboBox *pdf = menuFor(u"com.adobe.pdf"_s);
    ASSERT_NE(pdf, nullptr);
    // Preferences that no longer parse are never overwritten.
    ASSERT_TRUE(KSTTestSupport::writeFile(preferences, "<?xml version=\"1.0\"?><plist><dict>"));
    const int preview = pdf->findData(u"com.apple.Preview"_s);
    pdf->setCurrentIndex(preview);
    Q_EMIT pdf->activated(preview);
    EXPECT_EQ(pdf->currentText(), "Reader");
    ASSERT_TRUE(waitForTold());
    EXPECT_EQ(told.first().message, "macOS rejected the default app change.");
    EXPECT_EQ(KSTTestSupport::readFile(preferences), "<?xml version=\"1.0\"?><plist><dict>");
}

TEST_F(UtilitiesScreenTest, TrashOriginsAndHomeFolderSizesShowTheManagersFigures)
{
    const QString downloaded = mac.writeHomeFile(".Trash/report.pdf", "pdf");
    mac.writeHomeFile(".Trash/notes.txt", "n");
    // A name that reads as markup is shown as it is written.
    mac.writeHomeFile(".Trash/<i>tilted.txt", "b");
    const QByteArray whereFroms =
        KSTPropertyList::toBinary(QVariantList{u"https://example.com/files/report.pdf"_s});
    ASSERT_EQ(::lsetxattr(QFile::encodeName(downloaded).constData(),
                          "user.com.apple.metadata:kMDItemWhereFroms", whereFroms.constData(),
                          size_t(whereFroms.size()), 0),
              0);
    mac.addToolScript("/usr/bin/du", "case \"$4\" in\n"
                                     "*/Documents) printf '4096\\t%s\\n' \"$4\" ;;\n"
                                     "*) printf '8\\t%s\\n' \"$4\" ;;\n"
                                     "esac\n");
    mac.makeHomeDirectory("Documents");
    mac.makeHomeDirectory("Pictures");
    showScreen();

    EXPECT_EQ(rowTexts(u"trashRow"_s, u"trashName"_s),
              (QStringList{"<i>tilted.txt", "notes.txt", "report.pdf"}));
    EXPECT_EQ(
        rowTexts(u"trashRow"_s, u"trashOrigin"_s),
        (QStringList{"From Unknown", "From Unknown", "From https://example.com/files/report.pdf"}));
    EXPECT_EQ(rowTexts(u"trashRow"_s, u"trashDeletedBy"_s),
              (QStringList{"Finder", "Finder", "Finder"}));
    EXPECT_EQ(text(u"trashSummary"_s), "3 item(s) in the Trash");
    for (const QLabel *name : screen->findChildren<QLabel *>(u"trashName"_s))
        EXPECT_EQ(name->textFormat(), Qt::PlainText) << name->text().toStdString();

    const QStringList names = rowTexts(u"homeFolderRow"_s, u"homeFolderName"_s);
    ASSERT_FALSE(names.isEmpty());
    EXPECT_EQ(names.first(), "Documents"); // largest first
    EXPECT_EQ(rowTexts(u"homeFolderRow"_s, u"homeFolderSize"_s).first(),
              KSTFormatting::formatBytesShort(4096 * 1024));
    EXPECT_TRUE(text(u"homeVolume"_s).contains(" used of "));

    // Refresh measures again with du (Music never is).
    const qsizetype calls = mac.toolCalls("/usr/bin/du").size();
    EXPECT_GT(calls, 0);
    click(u"homeSizesRefreshButton"_s);
    EXPECT_TRUE(KSTTestSupport::pumpUntil(
        [this] { return button(u"homeSizesRefreshButton"_s)->isEnabled(); }));
    EXPECT_EQ(mac.toolCalls("/usr/bin/du").size(), 2 * calls);
    EXPECT_FALSE(mac.toolCalls("/usr/bin/du").join('\n').contains("Music"));
}

} // namespace
