// The pure readers of App Manage against recorded and crafted bytes: Mach-O headers, the
// category table, the copyright line, InfoPlist.strings in every encoding, launch jobs,
// language folders, and the identifier and containment matches.
#include "KSTAppBundleLabels.h"
#include "KSTAppBundleReader.h"
#include "KSTFixtureMac.h"
#include "KSTInfoPlistStrings.h"
#include "KSTLaunchAgentJob.h"
#include "KSTMachOHeader.h"
#include "KSTPropertyList.h"
#include "KSTRelatedPathMatcher.h"
#include "KSTTestSupport.h"

#include <QStringDecoder>
#include <QStringEncoder>
#include <QtEndian>

#include <gtest/gtest.h>

namespace {

using KSTTestSupport::readFile;
using KSTTestSupport::recordedMacFile;

QByteArray recorded(const char *name)
{
    return readFile(recordedMacFile(QString::fromLatin1(name)));
}

QByteArray words(std::initializer_list<quint32> values, bool bigEndian)
{
    QByteArray bytes;
    for (const quint32 value : values) {
        char word[4];
        if (bigEndian)
            qToBigEndian(value, word);
        else
            qToLittleEndian(value, word);
        bytes.append(word, 4);
    }
    return bytes;
}

// A thin header: magic, CPU type, subtype, then zeros up to @p length bytes.
QByteArray thinHeader(quint32 magic, quint32 cpuType, bool bigEndian, qsizetype length)
{
    QByteArray bytes = words({magic, cpuType, 0}, bigEndian);
    bytes.append(QByteArray(length - bytes.size(), '\0'));
    return bytes;
}

QByteArray fatHeader(quint32 announced, std::initializer_list<quint32> cpuTypes, bool bigEndian)
{
    QByteArray bytes = words({0xCAFEBABE, announced}, bigEndian);
    for (const quint32 type : cpuTypes)
        bytes += words({type, 0, 0x4000, 0x1000, 14}, bigEndian);
    return bytes;
}

struct HeaderCase
{
    const char *name;
    QByteArray bytes;
    QString label;
    qsizetype cpuTypeCount;
};

class MachOHeaderTest : public ::testing::TestWithParam<HeaderCase>
{
};

TEST_P(MachOHeaderTest, LabelsTheArchitecturesTheHeaderNames)
{
    const HeaderCase &header = GetParam();
    EXPECT_EQ(KSTMachOHeader::cpuTypesFromHeader(header.bytes).size(), header.cpuTypeCount);
    EXPECT_EQ(KSTMachOHeader::architectureLabelForHeader(header.bytes), header.label);
}

const QString Both = QStringLiteral("Intel & Apple Silicon");
const QString Silicon = QStringLiteral("Apple Silicon");
const QString Intel = QStringLiteral("Intel");
const QString None = QStringLiteral("—");

INSTANTIATE_TEST_SUITE_P(
    Headers, MachOHeaderTest,
    ::testing::Values(
        HeaderCase{"RecordedArm64",
                   recorded("macho-mach_header_64+loadcmds.fsevents-2.2.2.arm64.bin"), Silicon, 1},
        HeaderCase{"RecordedX86_64",
                   recorded("macho-mach_header_64+loadcmds.fsevents-2.2.2.x86_64.bin"), Intel, 1},
        HeaderCase{"RecordedUniversal", recorded("macho-fat-header-region.fsevents-2.2.2.bin"),
                   Both, 2},
        HeaderCase{
            "BuiltUniversal",
            KSTFixtureMac::machOExecutable({QStringLiteral("x86_64"), QStringLiteral("arm64")}),
            Both, 2},
        // Announces five slices; only two whole 20-byte entries and half of a third follow.
        HeaderCase{"FatCountBeyondTheBytes",
                   fatHeader(5, {0x01000007, 0x0100000C, 0x12}, true).left(8 + 20 * 2 + 10), Both,
                   2},
        HeaderCase{"FatWrittenLittleEndian", fatHeader(1, {0x0100000C}, false), Silicon, 1},
        HeaderCase{"PowerPcOnly", fatHeader(1, {0x12}, true), None, 1},
        HeaderCase{"FatWithoutItsCount", QByteArray("\xCA\xFE\xBA\xBE\0\0", 6), None, 0},
        HeaderCase{"Thin32BigEndianI386", thinHeader(0xFEEDFACE, 7, true, 28), Intel, 1},
        HeaderCase{"Thin32LittleEndianArm", thinHeader(0xFEEDFACE, 12, false, 28), Silicon, 1},
        HeaderCase{"Thin32ShortOfItsHeader", thinHeader(0xFEEDFACE, 7, false, 27), None, 0},
        HeaderCase{"Thin64ShortOfItsHeader", thinHeader(0xFEEDFACF, 0x0100000C, false, 31), None,
                   0},
        HeaderCase{"Thin64BigEndian", thinHeader(0xFEEDFACF, 0x01000007, true, 32), Intel, 1},
        HeaderCase{"Arm64eSubtype", KSTFixtureMac::machOExecutable({QStringLiteral("arm64e")}),
                   Silicon, 1},
        HeaderCase{"ShellScript", QByteArray("#!/bin/sh\nexec true\n"), None, 0},
        HeaderCase{"ThreeBytes", QByteArray("\xCF\xFA\xED", 3), None, 0},
        HeaderCase{"Empty", QByteArray(), None, 0}),
    [](const auto &info) { return std::string(info.param.name); });

struct CategoryCase
{
    const char *value;
    const char *label;
};

TEST(AppBundleLabelsTest, CategoryFromTheTableOrTheSubCategoryRule)
{
    const CategoryCase cases[] = {
        {"public.app-category.music", "Audio"},
        {"public.app-category.graphics-design", "Design"},
        {"public.app-category.developer-tools", "Developer Tools"},
        {"public.app-category.social-networking", "Social"},
        {"public.app-category.action-games", "Action Games"},
        {"public.app-category.KIDS-games", "Kids Games"},
        {"public.app-category.", "Other"},
        {"com.example.category", "Other"},
        {"Public.App-Category.music", "Other"},
        {"", "Other"},
    };
    for (const CategoryCase &category : cases)
        EXPECT_EQ(KSTAppBundleLabels::categoryLabelForPlistValue(QString::fromUtf8(category.value)),
                  QString::fromUtf8(category.label))
            << category.value;
}

struct CopyrightCase
{
    const char *copyright;
    const char *fallback;
    const char *developer;
};

TEST(AppBundleLabelsTest, DeveloperFromTheCopyrightLine)
{
    const CopyrightCase cases[] = {
        {"© 2012–2024 Example Corp. All rights reserved.", "X", "Example Corp"},
        {"Copyright © 2019 Microsoft", "X", "Microsoft"},
        {"Copyright ©2012-2018 Zoom Video Communications, Inc.", "X",
         "Zoom Video Communications, Inc"},
        // White space and digits as Unicode has them: no-break and em spaces, Arabic digits.
        {"©\u00a02020\u2003Acme Tools", "X", "Acme Tools"},
        {"© \u0662\u0660\u0662\u0660 Acme", "X", "Acme"},
        {"© 2020   Acme   . More", "X", "Acme"},
        {"© 2020 Acme Inc\n", "X", "Acme Inc"},
        // A name may not run over a line break that does not end the text.
        {"© 2020 Acme\nInc.", "X", "X"},
        {"Copyright (C) 2019 Microsoft. All rights reserved", "Code", "Code"},
        {"© Example Corp", "Example", "Example"},
        {"© 20 Example", "Example", "Example"},
        {"", "Fallback", "Fallback"},
        {"", "", "Unknown"},
        {"© 2020   ", "", "Unknown"},
        // Whatever stands before the end counts, even a lone full stop.
        {"© 2020 .", "", "."},
    };
    for (const CopyrightCase &line : cases)
        EXPECT_EQ(KSTAppBundleLabels::developerFromCopyright(QString::fromUtf8(line.copyright),
                                                             QString::fromUtf8(line.fallback)),
                  QString::fromUtf8(line.developer))
            << line.copyright;
}

QByteArray utf16(const QString &text, QStringConverter::Encoding encoding, bool byteOrderMark)
{
    QStringEncoder encoder(encoding, byteOrderMark ? QStringConverter::Flag::WriteBom
                                                   : QStringConverter::Flag::Default);
    return encoder.encode(text);
}

TEST(InfoPlistStringsTest, ReadsEveryFormAStringsFileTakes)
{
    const QString text = QStringLiteral("/* Localized versions of Info.plist keys */\n"
                                        "\"CFBundleDisplayName\" = \"Café Éclair\";\n"
                                        "CFBundleName = \"Café\";\n");
    const QVariantMap dictionary{
        {QStringLiteral("CFBundleDisplayName"), QStringLiteral("Café Éclair")},
        {QStringLiteral("CFBundleName"), QStringLiteral("Café")}};
    const struct
    {
        const char *name;
        QByteArray bytes;
    } forms[] = {
        {"utf8", text.toUtf8()},
        {"utf8WithMark", QByteArray("\xEF\xBB\xBF") + text.toUtf8()},
        {"utf16LittleEndianWithMark", utf16(text, QStringConverter::Utf16LE, true)},
        {"utf16BigEndianWithMark", utf16(text, QStringConverter::Utf16BE, true)},
        {"utf16LittleEndianWithoutMark", utf16(text, QStringConverter::Utf16LE, false)},
        {"utf16BigEndianWithoutMark", utf16(text, QStringConverter::Utf16BE, false)},
        {"binary", KSTPropertyList::toBinary(dictionary)},
        {"xml", KSTPropertyList::toXml(dictionary)},
    };
    for (const auto &form : forms) {
        const QVariantMap strings = KSTInfoPlistStrings::stringsFromData(form.bytes);
        EXPECT_EQ(KSTInfoPlistStrings::stringValue(strings, QStringLiteral("CFBundleDisplayName")),
                  QStringLiteral("Café Éclair"))
            << form.name;
        EXPECT_EQ(KSTInfoPlistStrings::stringValue(strings, QStringLiteral("CFBundleName")),
                  QStringLiteral("Café"))
            << form.name;
    }
}

TEST(InfoPlistStringsTest, KeepsOnlyStringsAndRefusesWhatIsNoStringsFile)
{
    const QVariantMap mixed{{QStringLiteral("CFBundleName"), QStringLiteral("Name")},
                            {QStringLiteral("Count"), 3},
                            {QStringLiteral("List"), QVariantList{QStringLiteral("a")}}};
    EXPECT_EQ(KSTInfoPlistStrings::stringsFromData(KSTPropertyList::toBinary(mixed)).keys(),
              QStringList{QStringLiteral("CFBundleName")});
    for (const QByteArray &bytes :
         {QByteArray(), QByteArray("\"unterminated = \"x\";"), QByteArray("(\"an\", \"array\")"),
          KSTPropertyList::toXml(QVariantList{QStringLiteral("x")}),
          QByteArray(QByteArray(KSTInfoPlistStrings::MaximumBytes + 1, ' ') + "\"a\" = \"b\";")})
        EXPECT_TRUE(KSTInfoPlistStrings::stringsFromData(bytes).isEmpty()) << bytes.left(40).data();
    // UTF-8 never holds a zero byte, so text with one is not taken for UTF-16 by accident.
    EXPECT_EQ(KSTInfoPlistStrings::withByteOrderMark("\"k\" = \"v\";"), "\"k\" = \"v\";");
}

TEST(LaunchAgentJobTest, ReadsTheLabelProgramAndArgumentsOfRecordedJobs)
{
    const struct
    {
        const char *file;
        const char *label;
        const char *executable;
        qsizetype arguments;
    } jobs[] = {
        {"LaunchAgent.com.google.keystone.agent.plist", "com.google.keystone.user.agent",
         "/Users/haydenbradshaw/Library/Google/GoogleSoftwareUpdate/GoogleSoftwareUpdate.bundle/"
         "Contents/Resources/GoogleSoftwareUpdateAgent.app/Contents/MacOS/"
         "GoogleSoftwareUpdateAgent",
         3},
        {"LaunchAgent.homebrew.mxcl.postgresql.plist", "homebrew.mxcl.postgresql",
         "/usr/local/opt/postgresql/bin/postgres", 3},
        {"LaunchAgent.com.googlecode.munki.MunkiStatus.plist", "com.googlecode.munki.MunkiStatus",
         "/Applications/Managed Software Center.app/Contents/Helpers/MunkiStatus.app/Contents/"
         "MacOS/MunkiStatus",
         1},
    };
    for (const auto &recordedJob : jobs) {
        const KSTLaunchAgentJob job = KSTLaunchAgentJob::fromData(recorded(recordedJob.file));
        ASSERT_TRUE(job.isValid) << recordedJob.file;
        EXPECT_EQ(job.label, QString::fromUtf8(recordedJob.label));
        EXPECT_EQ(job.executable(), QString::fromUtf8(recordedJob.executable)) << recordedJob.file;
        EXPECT_EQ(job.programArguments.size(), recordedJob.arguments) << recordedJob.file;
    }
}

TEST(LaunchAgentJobTest, SkipsValuesOfTheWrongTypeAndCapsTheArguments)
{
    QVariantList arguments{42, QStringLiteral("/Applications/Go.app/Contents/MacOS/go")};
    for (int index = 0; index < 300; ++index)
        arguments << QStringLiteral("-v");
    const KSTLaunchAgentJob job = KSTLaunchAgentJob::fromData(KSTPropertyList::toXml(
        QVariantMap{{QStringLiteral("Label"), 7},
                    {QStringLiteral("Program"), QStringLiteral("/usr/bin/open")},
                    {QStringLiteral("ProgramArguments"), arguments}}));
    ASSERT_TRUE(job.isValid);
    EXPECT_TRUE(job.label.isNull());
    EXPECT_EQ(job.executable(), QStringLiteral("/usr/bin/open"));
    EXPECT_EQ(job.programArguments.size(), KSTLaunchAgentJob::MaximumArguments);
    EXPECT_EQ(job.programArguments.first(),
              QStringLiteral("/Applications/Go.app/Contents/MacOS/go"));
    EXPECT_FALSE(KSTLaunchAgentJob::fromData("(\"not\", \"a\", \"dictionary\")").isValid);
    EXPECT_FALSE(KSTLaunchAgentJob::fromData(QByteArray()).isValid);
}

TEST(AppBundleReaderTest, LanguageFoldersBestFirstAndNeverAPath)
{
    const struct
    {
        const char *language;
        QStringList folders;
    } cases[] = {
        {"de-DE", {"de-DE", "de_DE", "de", "German"}},
        {"en", {"en", "English"}},
        {"English", {"English"}},
        {"pt_BR", {"pt-BR", "pt_BR", "pt"}},
        {"zh-Hans-CN", {"zh-Hans-CN", "zh_Hans_CN", "zh-Hans", "zh_Hans", "zh"}},
        {"../../Documents", {}},
        {"..", {}},
        {".hidden", {}},
        {"", {}},
    };
    for (const auto &language : cases)
        EXPECT_EQ(KSTAppBundleReader::localizationFolderNames(QString::fromUtf8(language.language)),
                  language.folders)
            << language.language;
}

TEST(RelatedPathMatcherTest, IdentifiersHeldWholeByDotSeparatedParts)
{
    const struct
    {
        const char *name;
        const char *identifier;
        bool held;
    } cases[] = {
        {"com.example.app.helper.plist", "com.example.app", true},
        {"group.com.example.app", "com.example.app", true},
        {"ABCDE12345.com.example.app", "com.example.app", true},
        {"COM.Example.APP.savedState", "com.example.app", true},
        {"com.example.application", "com.example.app", false},
        {"com.example", "com.example.app", false},
        {"xcom.example.app", "com.example.app", false},
        {"com.example.app", "", false},
    };
    for (const auto &match : cases)
        EXPECT_EQ(KSTRelatedPathMatcher::holdsIdentifierWhole(QString::fromUtf8(match.name),
                                                              QString::fromUtf8(match.identifier)),
                  match.held)
            << match.name << " / " << match.identifier;
}

TEST(RelatedPathMatcherTest, EntryAndPathMatchesWithTheTwoCharacterRule)
{
    const QStringList goTokens = {QStringLiteral("com.example.go"), QStringLiteral("Go")};
    const QStringList xTokens = {QStringLiteral("com.example.x"), QStringLiteral("X")};
    const struct
    {
        const char *name;
        const QStringList *tokens;
        const char *identifier;
        const char *token; ///< nullptr: no match
    } entries[] = {
        {"com.google.Chrome", &goTokens, "com.example.go", "Go"},
        {"GOOGLE", &goTokens, "", "Go"},
        {"com.example.go.helper", &goTokens, "com.example.go", "com.example.go"},
        {"Safari", &goTokens, "com.example.go", nullptr},
        // One character takes no part in containment; the identifier still matches itself.
        {"Xcode", &xTokens, "com.example.x", nullptr},
        {"com.example.x", &xTokens, "com.example.x", "com.example.x"},
        {"com.example.x.savedState", &xTokens, "com.example.x", "com.example.x"},
        // The identifier is a token too: contained, it matches (weakly, see isStrongMatch).
        {"com.example.xylophone", &xTokens, "com.example.x", "com.example.x"},
        {"", &goTokens, "com.example.go", nullptr},
    };
    for (const auto &entry : entries) {
        const std::optional<QString> token = KSTRelatedPathMatcher::matchingTokenForEntry(
            QString::fromUtf8(entry.name), *entry.tokens, QString::fromUtf8(entry.identifier));
        EXPECT_EQ(token.has_value(), entry.token != nullptr) << entry.name;
        if (token && entry.token) {
            EXPECT_EQ(*token, QString::fromUtf8(entry.token)) << entry.name;
        }
    }
    EXPECT_TRUE(KSTRelatedPathMatcher::relatedPath(
        QStringLiteral("/private/var/folders/ab/cd/T/com.example.go/cache"), goTokens));
    EXPECT_FALSE(KSTRelatedPathMatcher::relatedPath(
        QStringLiteral("/private/var/folders/ab/cd/T/other"), {QStringLiteral("com.example.go")}));
    EXPECT_FALSE(KSTRelatedPathMatcher::relatedPathEntry(QStringLiteral("Google"), {}));
}

TEST(RelatedPathMatcherTest, SaysWhyAPathMatchedInWords)
{
    const auto related = [](const char *path, const char *rule, const char *token) {
        KSTInstalledAppRelatedPath relatedPath;
        relatedPath.path = QString::fromUtf8(path);
        relatedPath.matchRule = QString::fromUtf8(rule);
        relatedPath.matchedToken = QString::fromUtf8(token);
        return KSTRelatedPathMatcher::explanation(relatedPath);
    };
    EXPECT_EQ(related("/h/Library/Containers/com.google.Chrome", "container", "Go"),
              QStringLiteral("Name contains “go”"));
    EXPECT_EQ(related("/h/Library/Caches/com.example.go", "template", "com.example.go"),
              QStringLiteral("Named after “com.example.go”"));
    EXPECT_EQ(related("/r/private/var/db/receipts/com.example.go.bom", "receipt", "com.example.go"),
              QStringLiteral("Installer receipt of “com.example.go”"));
    EXPECT_EQ(related("/h/Library/LaunchAgents/org.user.job.plist", "launchAgentProgram", "Go"),
              QStringLiteral("Its launch job names “Go”"));
    EXPECT_EQ(related("/r/private/var/folders/ab/com.example.go.T/x", "temporaryFolder",
                      "com.example.go"),
              QStringLiteral("Path contains “com.example.go”"));
}

} // namespace
