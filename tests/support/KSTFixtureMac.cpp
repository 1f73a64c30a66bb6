#include "KSTFixtureMac.h"

#include "KSTPropertyList.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <sqlite3.h>
#include <unistd.h>

namespace {

using KSTTestSupport::readFile;

// The CREATE TABLE text real Macs store, from the recorded schema file.
QString accessTableSchema(KSTFixtureMac::PrivacySchema schema)
{
    const QString recorded = QString::fromUtf8(readFile(KSTTestSupport::recordedMacFile(
        QStringLiteral("TCC.db.access-schema.by-macos-version.sql"))));
    const char *marker = nullptr;
    switch (schema) {
    case KSTFixtureMac::PrivacySchema::Sonoma:
        marker = "-- macOS 14 Sonoma and later, unquoted";
        break;
    case KSTFixtureMac::PrivacySchema::BigSur:
        marker = "-- macOS 11 Big Sur .. 13 Ventura, unquoted";
        break;
    case KSTFixtureMac::PrivacySchema::Catalina:
        marker = "-- macOS 10.14 Mojave / 10.15 Catalina";
        break;
    }
    const qsizetype start = recorded.indexOf(QLatin1String(marker));
    if (start < 0)
        return {};
    const qsizetype create = recorded.indexOf(QLatin1String("CREATE TABLE access"), start);
    const qsizetype end = recorded.indexOf(QLatin1Char('\n'), create);
    return recorded.mid(create, end - create);
}

QByteArray syntheticHeader(quint32 magic, qint32 cpuType, qint32 cpuSubtype)
{
    QByteArray header(magic == 0xfeedfacfu ? 32 : 28, '\0');
    qToLittleEndian<quint32>(magic, header.data());
    qToLittleEndian<qint32>(cpuType, header.data() + 4);
    qToLittleEndian<qint32>(cpuSubtype, header.data() + 8);
    qToLittleEndian<quint32>(2, header.data() + 12); // MH_EXECUTE
    return header;
}

struct Slice
{
    qint32 cpuType = 0;
    qint32 cpuSubtype = 0;
    QByteArray bytes;
};

Slice sliceFor(const QString &architecture)
{
    if (architecture == QLatin1String("arm64"))
        return {0x0100000c, 0,
                readFile(KSTTestSupport::recordedMacFile(
                    QStringLiteral("macho-mach_header_64+loadcmds.fsevents-2.2.2.arm64.bin")))};
    if (architecture == QLatin1String("x86_64"))
        return {0x01000007, 3,
                readFile(KSTTestSupport::recordedMacFile(
                    QStringLiteral("macho-mach_header_64+loadcmds.fsevents-2.2.2.x86_64.bin")))};
    if (architecture == QLatin1String("arm64e"))
        return {0x0100000c, 2, syntheticHeader(0xfeedfacfu, 0x0100000c, 2)};
    if (architecture == QLatin1String("i386"))
        return {7, 3, syntheticHeader(0xfeedfaceu, 7, 3)};
    return {};
}

} // namespace

KSTFixtureMac::KSTFixtureMac(const QString &login)
    : KSTFixtureMachine(login, QStringLiteral("Users"), KSTLayout::Mac, getuid())
{
    if (!isValid())
        return;
    for (const char *folder :
         {"Applications", "System/Applications", "Library/LaunchAgents", "Library/LaunchDaemons",
          "Library/Application Support", "private/var/db/receipts", "private/var/log", "usr/bin",
          "usr/sbin", "bin", "Users/Shared"})
        makeDirectory(QLatin1String(folder));
    addUser(login);
    setSystemVersion(QStringLiteral("14.5"));
}

QString KSTFixtureMac::addUser(const QString &login)
{
    const QString userHome = root() + QLatin1String("/Users/") + login;
    for (const char *folder :
         {"Library/Caches", "Library/Application Support", "Library/Logs", "Library/Preferences",
          "Library/LaunchAgents", "Library/Saved Application State", "Desktop", "Documents",
          "Downloads", "Movies", "Music", "Pictures", "Public", ".Trash"})
        QDir().mkpath(userHome + QLatin1Char('/') + QLatin1String(folder));
    return userHome;
}

QString KSTFixtureMac::writePlist(const QString &rootRelative, const QVariant &value,
                                  PlistFormat format)
{
    return writeFile(rootRelative, format == PlistFormat::Xml ? KSTPropertyList::toXml(value)
                                                              : KSTPropertyList::toBinary(value));
}

QString KSTFixtureMac::writeHomePlist(const QString &homeRelative, const QVariant &value,
                                      PlistFormat format)
{
    return writePlist(QLatin1String("Users/") + login() + QLatin1Char('/') + homeRelative, value,
                      format);
}

void KSTFixtureMac::setSystemVersion(const QString &productVersion, const QString &productName,
                                     const QString &buildVersion)
{
    writePlist(QStringLiteral("System/Library/CoreServices/SystemVersion.plist"),
               QVariantMap{{QStringLiteral("ProductName"), productName},
                           {QStringLiteral("ProductVersion"), productVersion},
                           {QStringLiteral("ProductUserVisibleVersion"), productVersion},
                           {QStringLiteral("ProductBuildVersion"), buildVersion}});
}

QString KSTFixtureMac::addApp(const App &app)
{
    const QString folder = app.inHome ? homePath(app.location) : path(app.location);
    const QString bundle = folder + QLatin1Char('/') + app.name + QLatin1String(".app");
    const QString contents = bundle + QLatin1String("/Contents");
    QDir().mkpath(contents + QLatin1String("/MacOS"));
    QDir().mkpath(contents + QLatin1String("/Resources"));

    if (!app.recordedInfoPlist.isEmpty()) {
        QFile::copy(KSTTestSupport::recordedMacFile(app.recordedInfoPlist),
                    contents + QLatin1String("/Info.plist"));
    } else {
        QVariantMap info{{QStringLiteral("CFBundleName"), app.name},
                         {QStringLiteral("CFBundleExecutable"), app.name},
                         {QStringLiteral("CFBundlePackageType"), QStringLiteral("APPL")},
                         {QStringLiteral("CFBundleShortVersionString"), app.shortVersion},
                         {QStringLiteral("CFBundleVersion"), app.bundleVersion}};
        if (!app.bundleIdentifier.isEmpty())
            info.insert(QStringLiteral("CFBundleIdentifier"), app.bundleIdentifier);
        for (auto it = app.extraInfo.cbegin(); it != app.extraInfo.cend(); ++it)
            info.insert(it.key(), it.value());
        KSTTestSupport::writeFile(contents + QLatin1String("/Info.plist"),
                                  app.infoPlistFormat == PlistFormat::Xml
                                      ? KSTPropertyList::toXml(info)
                                      : KSTPropertyList::toBinary(info));
    }
    if (!app.architectures.isEmpty()) {
        const QString executable = contents + QLatin1String("/MacOS/") +
                                   (app.executableName.isEmpty() ? app.name : app.executableName);
        KSTTestSupport::writeFile(executable, machOExecutable(app.architectures));
        QFile::setPermissions(executable, QFile::permissions(executable) | QFile::ExeOwner |
                                              QFile::ExeGroup | QFile::ExeOther);
    }
    if (app.resourceBytes > 0) {
        KSTTestSupport::writeFile(contents + QLatin1String("/Resources/payload.bin"),
                                  QByteArray(app.resourceBytes, 'k'));
    }
    return bundle;
}

QString KSTFixtureMac::addLaunchdPlist(LaunchdDomain domain, const QString &label,
                                       const QVariantMap &keys, PlistFormat format)
{
    QVariantMap job = keys;
    job.insert(QStringLiteral("Label"), label);
    const QString file = label + QLatin1String(".plist");
    switch (domain) {
    case LaunchdDomain::UserAgent:
        return writeHomePlist(QLatin1String("Library/LaunchAgents/") + file, job, format);
    case LaunchdDomain::GlobalAgent:
        return writePlist(QLatin1String("Library/LaunchAgents/") + file, job, format);
    case LaunchdDomain::Daemon:
        return writePlist(QLatin1String("Library/LaunchDaemons/") + file, job, format);
    }
    return {};
}

QString KSTFixtureMac::writePrivacyDatabase(const QList<PrivacyRow> &rows, PrivacySchema schema)
{
    const QString databasePath =
        makeHomeDirectory(QStringLiteral("Library/Application Support/com.apple.TCC")) +
        QLatin1String("/TCC.db");
    QFile::remove(databasePath);
    sqlite3 *db = nullptr;
    if (sqlite3_open(QFile::encodeName(databasePath).constData(), &db) != SQLITE_OK) {
        sqlite3_close(db);
        return {};
    }
    const QByteArray create = accessTableSchema(schema).toUtf8();
    sqlite3_exec(db, create.constData(), nullptr, nullptr, nullptr);
    const char *insert =
        schema == PrivacySchema::Catalina
            ? "INSERT INTO access (service, client, client_type, allowed, prompt_count) "
              "VALUES (?1, ?2, ?3, ?4, 1)"
            : "INSERT INTO access (service, client, client_type, auth_value, auth_reason, "
              "auth_version) VALUES (?1, ?2, ?3, ?4, 4, 1)";
    for (const PrivacyRow &row : rows) {
        sqlite3_stmt *statement = nullptr;
        if (sqlite3_prepare_v2(db, insert, -1, &statement, nullptr) != SQLITE_OK)
            break;
        const QByteArray service = row.service.toUtf8();
        const QByteArray client = row.client.toUtf8();
        sqlite3_bind_text(statement, 1, service.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(statement, 2, client.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int(statement, 3, row.clientType);
        sqlite3_bind_int(statement, 4, row.authValue);
        sqlite3_step(statement);
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    return databasePath;
}

QString KSTFixtureMac::writeCorruptPrivacyDatabase()
{
    return writeHomeFile(QStringLiteral("Library/Application Support/com.apple.TCC/TCC.db"),
                         QByteArray("this is not an SQLite database, just text\n").repeated(64));
}

QString KSTFixtureMac::addRecordedTool(const QString &toolPath, const QString &recordedName,
                                       int exitCode)
{
    return addTool(toolPath, readFile(KSTTestSupport::recordedMacFile(recordedName)), exitCode);
}

QByteArray KSTFixtureMac::machOExecutable(const QStringList &architectures)
{
    QList<Slice> slices;
    for (const QString &architecture : architectures) {
        Slice slice = sliceFor(architecture);
        if (!slice.bytes.isEmpty())
            slices << slice;
    }
    if (slices.isEmpty())
        return {};
    if (slices.size() == 1)
        return slices.first().bytes;

    // Universal binary: a big-endian fat header, then each slice at a 2^14 boundary.
    constexpr quint32 alignment = 14;
    constexpr quint32 sliceStride = 1u << alignment;
    QByteArray fat(8 + 20 * slices.size(), '\0');
    qToBigEndian<quint32>(0xcafebabeu, fat.data());
    qToBigEndian<quint32>(static_cast<quint32>(slices.size()), fat.data() + 4);
    quint32 offset = sliceStride;
    for (qsizetype index = 0; index < slices.size(); ++index) {
        char *arch = fat.data() + 8 + 20 * index;
        qToBigEndian<qint32>(slices[index].cpuType, arch);
        qToBigEndian<qint32>(slices[index].cpuSubtype, arch + 4);
        qToBigEndian<quint32>(offset, arch + 8);
        qToBigEndian<quint32>(static_cast<quint32>(slices[index].bytes.size()), arch + 12);
        qToBigEndian<quint32>(alignment, arch + 16);
        offset += sliceStride;
    }
    QByteArray binary = fat;
    for (qsizetype index = 0; index < slices.size(); ++index) {
        const qsizetype sliceOffset = qsizetype(sliceStride) * (index + 1);
        binary.append(QByteArray(sliceOffset - binary.size(), '\0'));
        binary.append(slices[index].bytes);
    }
    return binary;
}
