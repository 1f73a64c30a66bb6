// Default apps from a fixture Mac's own files: installed apps' document types and type
// declarations (a recorded GarageBand Info.plist among them) and the user's LSHandlers, and
// changing a choice by rewriting that file through the removal guard.
#include "KSTLaunchServicesHandlers.h"
#include "KSTPropertyList.h"
#include "KSTUtilitiesTestSupport.h"

#include <gtest/gtest.h>

namespace {

QVariantMap documentType(const QStringList &types, const QString &rank = {})
{
    QVariantMap map{{"LSItemContentTypes", types}};
    if (!rank.isEmpty())
        map.insert("LSHandlerRank", rank);
    return map;
}

class DefaultAppsTest : public KSTUtilitiesTest
{
protected:
    void SetUp() override
    {
        KSTUtilitiesTest::SetUp();
        KSTFixtureMac::App garageBand;
        garageBand.name = "GarageBand";
        garageBand.recordedInfoPlist = "Info.plist.GarageBand.bplist";
        mac.addApp(garageBand);
        addApp("Preview", "com.apple.Preview",
               {documentType({"com.adobe.pdf", "public.png"}, "Owner"),
                documentType({"public.jpeg"}, "Alternate")});
        addApp("Reader", "com.example.reader",
               {documentType({"com.adobe.pdf"}, "Default"), documentType({"com.example.noext"}),
                documentType({"public.plain-text"}, "None"), QVariant("not a dictionary"),
                QVariantMap{{"LSItemContentTypes", "not an array"}}},
               false, "Reader");
        mac.writeFile("Applications/Reader.app/Contents/Resources/Reader.icns", "icns");
        addApp("Viewer", "com.example.viewer", {documentType({"public.jpeg"})}, true);
        preferences = mac.homePath(
            "Library/Preferences/com.apple.LaunchServices/com.apple.launchservices.secure.plist");
        mac.writeHomePlist(
            "Library/Preferences/com.apple.LaunchServices/com.apple.launchservices.secure.plist",
            QVariantMap{{"LSHandlers",
                         QVariantList{QVariantMap{{"LSHandlerContentType", "public.jpeg"},
                                                  {"LSHandlerRoleViewer", "com.example.viewer"}},
                                      QVariantMap{{"LSHandlerContentType", "public.html"},
                                                  {"LSHandlerRoleAll", "com.example.gone"}},
                                      QVariantMap{{"LSHandlerURLScheme", "mailto"},
                                                  {"LSHandlerRoleAll", "com.example.mail"}},
                                      QVariantMap{{"LSHandlerContentType", "COM.ADOBE.PDF"},
                                                  {"LSHandlerRoleAll", "com.example.reader"}},
                                      QVariant(42)}}},
            KSTFixtureMac::PlistFormat::Binary);
    }

    void addApp(const QString &name, const QString &identifier, const QVariantList &types,
                bool inHome = false, const QString &iconFile = {})
    {
        KSTFixtureMac::App app;
        app.name = name;
        app.bundleIdentifier = identifier;
        app.inHome = inHome;
        app.extraInfo = {{"CFBundleName", name}, {"CFBundleDocumentTypes", types}};
        if (!iconFile.isEmpty())
            app.extraInfo.insert("CFBundleIconFile", iconFile);
        mac.addApp(app);
    }

    KSTDefaultAppRecord row(const QList<KSTDefaultAppRecord> &records, const QString &uti)
    {
        for (const KSTDefaultAppRecord &record : records) {
            if (record.contentTypeUTI == uti)
                return record;
        }
        ADD_FAILURE() << "no row for " << uti.toStdString();
        return {};
    }

    static QStringList candidateIdentifiers(const KSTDefaultAppRecord &record)
    {
        QStringList identifiers;
        for (const KSTDefaultAppCandidate &candidate : record.candidates)
            identifiers << candidate.bundleIdentifier;
        return identifiers;
    }

    QString preferences;
};

TEST_F(DefaultAppsTest, HandlersComeFromChoicesThenOwnersThenTheFirstApp)
{
    const QList<KSTDefaultAppRecord> records = manager->scanDefaultAppBindings();
    const struct
    {
        const char *uti;
        const char *label;
        const char *current;
        const char *currentName;
        QStringList candidates;
    } cases[] = {
        // Chosen for all roles (the type compared ignoring case).
        {"com.adobe.pdf",
         ".pdf",
         "com.example.reader",
         "Reader",
         {"com.apple.Preview", "com.example.reader"}},
        // Chosen for the viewer role only; the table's label, one row.
        {"public.jpeg",
         ".jpg / .jpeg",
         "com.example.viewer",
         "Viewer",
         {"com.apple.Preview", "com.example.viewer"}},
        // No choice: the owner.
        {"public.png", ".png", "com.apple.Preview", "Preview", {"com.apple.Preview"}},
        // The chosen app is gone: its identifier stands for its name, and it alone is offered.
        {"public.html",
         ".html / .htm",
         "com.example.gone",
         "com.example.gone",
         {"com.example.gone"}},
        // Declared without an extension anywhere: the type is its label; no choice, no owner.
        {"com.example.noext",
         "com.example.noext",
         "com.example.reader",
         "Reader",
         {"com.example.reader"}},
        // From GarageBand's own declarations and from the built-in table.
        {"com.apple.garageband.project",
         ".band",
         "com.apple.garageband10",
         "GarageBand",
         {"com.apple.garageband10"}},
        {"com.microsoft.waveform-audio",
         ".wav",
         "com.apple.garageband10",
         "GarageBand",
         {"com.apple.garageband10"}},
    };
    for (const auto &expected : cases) {
        const KSTDefaultAppRecord record = row(records, QString::fromUtf8(expected.uti));
        EXPECT_EQ(record.extensionLabel, QString::fromUtf8(expected.label)) << expected.uti;
        EXPECT_EQ(record.currentBundleIdentifier, QString::fromUtf8(expected.current))
            << expected.uti;
        EXPECT_EQ(record.currentAppName, QString::fromUtf8(expected.currentName)) << expected.uti;
        EXPECT_EQ(candidateIdentifiers(record), expected.candidates) << expected.uti;
    }
    // Only handled types are listed: plain text is declared with rank None only.
    for (const KSTDefaultAppRecord &record : records) {
        EXPECT_NE(record.contentTypeUTI, "public.plain-text");
        EXPECT_NE(record.contentTypeUTI, "public.zip-archive");
    }
    EXPECT_EQ(std::count_if(records.cbegin(), records.cend(),
                            [](const KSTDefaultAppRecord &record) {
                                return record.contentTypeUTI == "public.jpeg";
                            }),
              1);
    for (qsizetype index = 1; index < records.size(); ++index)
        EXPECT_LE(records.at(index - 1).extensionLabel.compare(records.at(index).extensionLabel,
                                                               Qt::CaseInsensitive),
                  0);
    // Icons are the handlers' icon files; an app that names none has none.
    const KSTDefaultAppRecord pdf = row(records, "com.adobe.pdf");
    EXPECT_EQ(pdf.currentAppIcon,
              mac.path("Applications/Reader.app/Contents/Resources/Reader.icns"));
    ASSERT_EQ(pdf.candidates.size(), 2);
    EXPECT_EQ(pdf.candidates.at(0).icon, QString());
    EXPECT_EQ(pdf.candidates.at(1).icon, pdf.currentAppIcon);
    EXPECT_EQ(manager->iconForBundleIdentifier("com.example.reader"), pdf.currentAppIcon);
    EXPECT_EQ(manager->iconForBundleIdentifier("com.example.gone"), QString());
}

TEST_F(DefaultAppsTest, SettingRewritesOneEntryAndKeepsTheRest)
{
    KSTError error;
    ASSERT_TRUE(
        manager->setDefaultAppWithBundleIdentifier("com.apple.Preview", "com.adobe.pdf", &error))
        << error.description.toStdString();
    QString parseError;
    KSTPropertyList::Format format = KSTPropertyList::Format::Xml;
    const QVariantMap written =
        KSTPropertyList::fromData(KSTTestSupport::readFile(preferences), &parseError, &format)
            .toMap();
    EXPECT_EQ(format, KSTPropertyList::Format::Binary);
    const QVariantList handlers = written.value("LSHandlers").toList();
    ASSERT_EQ(handlers.size(), 5);
    EXPECT_EQ(handlers.at(3).toMap().value("LSHandlerRoleAll"), "com.apple.Preview");
    EXPECT_EQ(handlers.at(3).toMap().value("LSHandlerContentType"), "COM.ADOBE.PDF");
    EXPECT_EQ(handlers.at(2).toMap().value("LSHandlerURLScheme"), "mailto");
    EXPECT_EQ(handlers.at(4), QVariant(qint64(42)));
    EXPECT_EQ(row(manager->scanDefaultAppBindings(), "com.adobe.pdf").currentAppName, "Preview");

    // A type without an entry gets one appended.
    ASSERT_TRUE(
        manager->setDefaultAppWithBundleIdentifier("com.example.viewer", "public.png", &error));
    EXPECT_EQ(KSTLaunchServicesHandlers::handlerForContentType(
                  KSTPropertyList::readDictionary(preferences), "public.png",
                  KSTLaunchServicesHandlers::RoleAll),
              "com.example.viewer");
}

TEST_F(DefaultAppsTest, RefusedChangesLeaveTheFileAsItWas)
{
    const QByteArray before = KSTTestSupport::readFile(preferences);
    const struct
    {
        const char *bundle;
        const char *uti;
        const char *domain;
        qint64 code;
    } cases[] = {
        {"", "public.png", "KSTUtilitiesManager", 30},
        {"com.apple.Preview", "", "KSTUtilitiesManager", 30},
        {"com.example.gone", "public.png", "NSOSStatusErrorDomain", -10814},
    };
    for (const auto &row : cases) {
        KSTError error;
        EXPECT_FALSE(manager->setDefaultAppWithBundleIdentifier(
            QString::fromUtf8(row.bundle), QString::fromUtf8(row.uti), &error));
        EXPECT_EQ(error.domain, QString::fromUtf8(row.domain));
        EXPECT_EQ(error.code, row.code);
    }
    EXPECT_EQ(KSTTestSupport::readFile(preferences), before);

    // A file that does not parse is the user's: never written over.
    KSTTestSupport::writeFile(preferences, "bplist00 but not really");
    KSTError error;
    EXPECT_FALSE(
        manager->setDefaultAppWithBundleIdentifier("com.apple.Preview", "public.png", &error));
    EXPECT_EQ(error.description, "macOS rejected the default app change.");
    EXPECT_EQ(KSTTestSupport::readFile(preferences), "bplist00 but not really");
}

TEST_F(DefaultAppsTest, AMissingFileIsCreatedAndALinkIsNeverWrittenThrough)
{
    QFile::remove(preferences);
    KSTError error;
    ASSERT_TRUE(
        manager->setDefaultAppWithBundleIdentifier("com.apple.Preview", "public.png", &error));
    EXPECT_EQ(KSTLaunchServicesHandlers::handlerForContentType(
                  KSTPropertyList::readDictionary(preferences), "PUBLIC.PNG",
                  KSTLaunchServicesHandlers::RoleAll),
              "com.apple.Preview");

    const QString elsewhere =
        mac.writeFile("Outside/prefs.plist", KSTPropertyList::toXml(QVariantMap{}));
    QFile::remove(preferences);
    mac.makeSymlink("Users/alice/Library/Preferences/com.apple.LaunchServices/"
                    "com.apple.launchservices.secure.plist",
                    elsewhere);
    EXPECT_FALSE(
        manager->setDefaultAppWithBundleIdentifier("com.apple.Preview", "public.png", &error));
    EXPECT_EQ(KSTTestSupport::readFile(elsewhere), KSTPropertyList::toXml(QVariantMap{}));
}

TEST(LaunchServicesHandlers, HostileShapesAreSkipped)
{
    using namespace KSTLaunchServicesHandlers;
    const QVariantMap odd{
        {"LSHandlers",
         QVariantList{
             QVariant(), QVariantMap{{"LSHandlerContentType", 7}},
             QVariantMap{{"LSHandlerContentType", "a.b"}, {"LSHandlerRoleAll", QVariantList{}}},
             QVariantMap{{"LSHandlerContentType", "A.B"}, {"LSHandlerRoleAll", "x.y"}}}}};
    EXPECT_EQ(handlerForContentType(odd, "a.b", RoleAll), "x.y");
    EXPECT_EQ(handlerForContentType(odd, "", RoleAll), "");
    EXPECT_EQ(handlerForContentType({{"LSHandlers", "not a list"}}, "a.b", RoleAll), "");
    const QVariantMap fresh =
        withHandlerForContentType({{"LSHandlers", 3}, {"Other", 1}}, "c.d", "e.f");
    EXPECT_EQ(fresh.value("Other"), 1);
    EXPECT_EQ(handlerForContentType(fresh, "C.D", RoleAll), "e.f");
}

} // namespace
