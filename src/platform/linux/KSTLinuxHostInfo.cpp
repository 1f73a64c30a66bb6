#include "KSTLinuxHostInfo.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <cctype>
#include <climits>

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

std::optional<QByteArray> readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    // procfs reports size 0; readAll() reads to the end regardless.
    QByteArray contents = file.readAll();
    if (file.error() != QFile::NoError)
        return std::nullopt;
    return contents;
}

// Device-tree strings end in NUL; sysfs values end in a newline.
QString readTrimmed(const QString &path)
{
    const QByteArray contents = readFile(path).value_or(QByteArray());
    const qsizetype nul = contents.indexOf('\0');
    return QString::fromUtf8(nul < 0 ? contents : contents.left(nul)).trimmed();
}

std::optional<qint64> readInteger(const QString &path, int base = 10)
{
    bool ok = false;
    const qint64 value = readTrimmed(path).toLongLong(&ok, base);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

std::optional<quint64> readCounter(const QString &path)
{
    bool ok = false;
    const quint64 value = readTrimmed(path).toULongLong(&ok);
    return ok ? std::optional<quint64>(value) : std::nullopt;
}

QList<QByteArray> splitLines(const QByteArray &contents)
{
    return contents.split('\n');
}

// Vendors fill unused DMI strings with these; they say nothing about the machine.
bool isFirmwarePlaceholder(const QString &value)
{
    static const QStringList placeholders = {
        QStringLiteral("To Be Filled By O.E.M."),
        QStringLiteral("System Product Name"),
        QStringLiteral("System Serial Number"),
        QStringLiteral("Default string"),
        QStringLiteral("Not Specified"),
        QStringLiteral("Not Applicable"),
        QStringLiteral("None"),
        QStringLiteral("O.E.M."),
        QStringLiteral("0123456789"),
    };
    return std::any_of(placeholders.begin(), placeholders.end(), [&value](const QString &p) {
        return value.compare(p, Qt::CaseInsensitive) == 0;
    });
}

QString meaningfulFirmwareString(const QString &value)
{
    return isFirmwarePlaceholder(value) ? QString() : value;
}

// The value of the first "key : value" line of /proc/cpuinfo with this key.
QString cpuinfoValue(const QByteArray &cpuinfo, const QByteArray &key)
{
    for (const QByteArray &line : splitLines(cpuinfo)) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed() == key)
            return QString::fromUtf8(line.mid(colon + 1)).simplified();
    }
    return {};
}

// The numbers after the first word of the /proc/stat line starting with @p word.
std::optional<QList<quint64>> statNumbers(const QByteArray &stat, const QByteArray &word)
{
    for (const QByteArray &line : splitLines(stat)) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.isEmpty() || fields.first() != word)
            continue;
        QList<quint64> numbers;
        for (qsizetype i = 1; i < fields.size(); ++i) {
            bool ok = false;
            numbers.append(fields.at(i).toULongLong(&ok));
            if (!ok)
                return std::nullopt;
        }
        return numbers;
    }
    return std::nullopt;
}

// "MemTotal:  16384 kB" → bytes.
std::optional<quint64> meminfoBytes(const QByteArray &meminfo, const QByteArray &key)
{
    for (const QByteArray &line : splitLines(meminfo)) {
        if (!line.startsWith(key) || line.mid(key.size(), 1) != ":")
            continue;
        const QList<QByteArray> fields = line.mid(key.size() + 1).simplified().split(' ');
        bool ok = false;
        const quint64 value = fields.first().toULongLong(&ok);
        if (!ok)
            return std::nullopt;
        const bool inKiB = fields.size() > 1 && fields.at(1) == "kB";
        return inKiB ? value * 1024 : value;
    }
    return std::nullopt;
}

// One value of a shell-style assignment file (os-release, machine-info): KEY=value,
// KEY="value with \"escapes\"" or KEY='value'.
QString unquoteAssignment(const QByteArray &raw)
{
    const QByteArray value = raw.trimmed();
    if (value.isEmpty() || (value.front() != '"' && value.front() != '\''))
        return QString::fromUtf8(value);
    const char quote = value.front();
    QByteArray result;
    for (qsizetype i = 1; i < value.size(); ++i) {
        const char c = value.at(i);
        if (c == quote)
            break;
        if (quote == '"' && c == '\\' && i + 1 < value.size()) {
            result.append(value.at(++i));
            continue;
        }
        result.append(c);
    }
    return QString::fromUtf8(result);
}

QHash<QString, QString> parseAssignments(const QByteArray &contents)
{
    QHash<QString, QString> values;
    for (const QByteArray &line : splitLines(contents)) {
        const QByteArray trimmed = line.trimmed();
        const qsizetype equals = trimmed.indexOf('=');
        if (trimmed.startsWith('#') || equals <= 0)
            continue;
        values.insert(QString::fromUtf8(trimmed.left(equals).trimmed()),
                      unquoteAssignment(trimmed.mid(equals + 1)));
    }
    return values;
}

// "22.04" → 22, 4, 0; parsing stops at the first part that is not a number ("rolling").
void parseVersionId(const QString &versionId, KSTOperatingSystemVersion *version)
{
    int *const parts[] = {&version->major, &version->minor, &version->patch};
    const QStringList pieces = versionId.split(QLatin1Char('.'));
    for (qsizetype i = 0; i < pieces.size() && i < 3; ++i) {
        bool ok = false;
        const int value = pieces.at(i).toInt(&ok);
        if (!ok || value < 0)
            return;
        *parts[i] = value;
    }
}

// A name taken from a caller must not walk out of /sys/class/net.
bool isPlainFileName(const QString &name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && name != QLatin1String(".") &&
           name != QLatin1String("..");
}

// A link counts even when its target is missing: a copied sysfs tree keeps only the link.
bool entryExists(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

std::optional<QStringList> listFolder(const QString &path)
{
    const QDir dir(path);
    if (!dir.exists() || !dir.isReadable())
        return std::nullopt;
    // sysfs class folders hold links to the device folders, which QDir::Dirs follows.
    return dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
}

} // namespace

KSTLinuxHostInfo::KSTLinuxHostInfo(const QString &procRoot, const QString &sysRoot,
                                   const QString &etcRoot)
    : m_procRoot(QDir::cleanPath(procRoot)), m_sysRoot(QDir::cleanPath(sysRoot)),
      m_etcRoot(QDir::cleanPath(etcRoot)), m_liveProc(m_procRoot == QLatin1String("/proc")),
      m_liveSys(m_sysRoot == QLatin1String("/sys")), m_liveEtc(m_etcRoot == QLatin1String("/etc"))
{
}

QString KSTLinuxHostInfo::procPath(const QString &relative) const
{
    return m_procRoot + QLatin1Char('/') + relative;
}

QString KSTLinuxHostInfo::sysPath(const QString &relative) const
{
    return m_sysRoot + QLatin1Char('/') + relative;
}

QString KSTLinuxHostInfo::hardwareModel()
{
    const QString product =
        meaningfulFirmwareString(readTrimmed(sysPath(QStringLiteral("class/dmi/id/product_name"))));
    if (!product.isEmpty())
        return product;
    return readTrimmed(sysPath(QStringLiteral("firmware/devicetree/base/model")));
}

QString KSTLinuxHostInfo::cpuBrandString()
{
    const QByteArray cpuinfo = readFile(procPath(QStringLiteral("cpuinfo"))).value_or(QByteArray());
    const QString modelName = cpuinfoValue(cpuinfo, "model name");
    return modelName.isEmpty() ? cpuinfoValue(cpuinfo, "Hardware") : modelName;
}

int KSTLinuxHostInfo::logicalCpuCount()
{
    if (m_liveProc)
        return int(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
    int count = 0;
    const QByteArray stat = readFile(procPath(QStringLiteral("stat"))).value_or(QByteArray());
    for (const QByteArray &line : splitLines(stat)) {
        if (line.size() > 3 && line.startsWith("cpu") && std::isdigit(uchar(line.at(3))))
            ++count;
    }
    return std::max(1, count);
}

std::optional<KSTCpuTickTotals> KSTLinuxHostInfo::cpuTickTotals()
{
    const std::optional<QByteArray> stat = readFile(procPath(QStringLiteral("stat")));
    if (!stat)
        return std::nullopt;
    const std::optional<QList<quint64>> numbers = statNumbers(*stat, "cpu");
    if (!numbers || numbers->size() < 4)
        return std::nullopt;
    // user nice system idle [iowait irq softirq steal guest guest_nice]; old kernels stop
    // after idle, so the optional columns count as 0.
    auto column = [&numbers](qsizetype index) { return numbers->value(index, 0); };
    KSTCpuTickTotals totals;
    totals.user = quint32(column(0));
    totals.nice = quint32(column(1));
    totals.system = quint32(column(2) + column(5) + column(6));
    totals.idle = quint32(column(3) + column(4));
    return totals;
}

quint64 KSTLinuxHostInfo::physicalMemoryBytes()
{
    const QByteArray meminfo = readFile(procPath(QStringLiteral("meminfo"))).value_or(QByteArray());
    return meminfoBytes(meminfo, "MemTotal").value_or(0);
}

std::optional<quint64> KSTLinuxHostInfo::usedMemoryBytes()
{
    const QByteArray meminfo = readFile(procPath(QStringLiteral("meminfo"))).value_or(QByteArray());
    const std::optional<quint64> total = meminfoBytes(meminfo, "MemTotal");
    const std::optional<quint64> available = meminfoBytes(meminfo, "MemAvailable");
    if (!total || !available || *available > *total)
        return std::nullopt;
    return *total - *available;
}

std::optional<qint64> KSTLinuxHostInfo::bootTimeSeconds()
{
    const QByteArray stat = readFile(procPath(QStringLiteral("stat"))).value_or(QByteArray());
    const std::optional<QList<quint64>> numbers = statNumbers(stat, "btime");
    if (!numbers || numbers->isEmpty())
        return std::nullopt;
    return qint64(numbers->first());
}

QList<KSTInterfaceAddress> KSTLinuxHostInfo::interfaceAddresses()
{
    if (!m_liveSys)
        return recordedInterfaceAddresses();
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0)
        return {};
    QList<KSTInterfaceAddress> addresses;
    for (const ifaddrs *entry = list; entry; entry = entry->ifa_next) {
        KSTInterfaceAddress address;
        address.name = QString::fromLocal8Bit(entry->ifa_name);
        address.isUp = entry->ifa_flags & IFF_UP;
        address.isRunning = entry->ifa_flags & IFF_RUNNING;
        address.isLoopback = entry->ifa_flags & IFF_LOOPBACK;
        const int family = entry->ifa_addr ? entry->ifa_addr->sa_family : AF_UNSPEC;
        address.isIPv4 = family == AF_INET;
        address.isLinkLayer = family == AF_PACKET;
        addresses.append(address);
    }
    freeifaddrs(list);
    return addresses;
}

QList<KSTInterfaceAddress> KSTLinuxHostInfo::recordedInterfaceAddresses() const
{
    const QString net = sysPath(QStringLiteral("class/net/"));
    QStringList names = listFolder(net).value_or(QStringList());
    // getifaddrs lists interfaces in index order; a missing index sorts last, by name.
    std::stable_sort(names.begin(), names.end(), [&net](const QString &a, const QString &b) {
        return readInteger(net + a + QLatin1String("/ifindex")).value_or(INT_MAX) <
               readInteger(net + b + QLatin1String("/ifindex")).value_or(INT_MAX);
    });

    QSet<QString> routed;
    const QByteArray routes =
        readFile(procPath(QStringLiteral("net/route"))).value_or(QByteArray());
    for (const QByteArray &line : splitLines(routes).mid(1)) {
        const QByteArray name = line.simplified().split(' ').first();
        if (!name.isEmpty())
            routed.insert(QString::fromUtf8(name));
    }

    QList<KSTInterfaceAddress> linkLayer;
    QList<KSTInterfaceAddress> ipv4;
    for (const QString &name : std::as_const(names)) {
        const qint64 flags = readInteger(net + name + QLatin1String("/flags"), 16).value_or(0);
        const QString operstate = readTrimmed(net + name + QLatin1String("/operstate"));
        KSTInterfaceAddress address;
        address.name = name;
        address.isUp = flags & IFF_UP;
        address.isRunning = address.isUp && (operstate == QLatin1String("up") ||
                                             operstate == QLatin1String("unknown"));
        address.isLoopback = flags & IFF_LOOPBACK;
        address.isLinkLayer = true;
        linkLayer.append(address);
        if (routed.contains(name) || (address.isLoopback && address.isUp)) {
            address.isLinkLayer = false;
            address.isIPv4 = true;
            ipv4.append(address);
        }
    }
    return linkLayer + ipv4;
}

std::optional<QList<KSTInterfaceByteCounts>> KSTLinuxHostInfo::interfaceByteCounts()
{
    const QString net = sysPath(QStringLiteral("class/net/"));
    const std::optional<QStringList> names = listFolder(net);
    if (!names)
        return std::nullopt;
    QList<KSTInterfaceByteCounts> counts;
    for (const QString &name : *names) {
        const QString folder = net + name;
        const std::optional<quint64> received =
            readCounter(folder + QLatin1String("/statistics/rx_bytes"));
        const std::optional<quint64> sent =
            readCounter(folder + QLatin1String("/statistics/tx_bytes"));
        if (!received || !sent)
            continue;
        const std::optional<qint64> flags = readInteger(folder + QLatin1String("/flags"), 16);
        KSTInterfaceByteCounts entry;
        entry.name = name;
        entry.isLoopback = flags ? (*flags & IFF_LOOPBACK) != 0 : name == QLatin1String("lo");
        entry.receivedBytes = *received;
        entry.sentBytes = *sent;
        counts.append(entry);
    }
    return counts;
}

QString KSTLinuxHostInfo::interfaceDisplayName(const QString &bsdName)
{
    if (!isPlainFileName(bsdName))
        return {};
    const QString folder = sysPath(QStringLiteral("class/net/")) + bsdName;
    if (!QFileInfo(folder).isDir())
        return {};
    const std::optional<qint64> flags = readInteger(folder + QLatin1String("/flags"), 16);
    if (flags ? (*flags & IFF_LOOPBACK) != 0 : bsdName == QLatin1String("lo"))
        return {};
    if (entryExists(folder + QLatin1String("/wireless")) ||
        entryExists(folder + QLatin1String("/phy80211")))
        return QStringLiteral("Wi-Fi");
    return QStringLiteral("Ethernet");
}

std::optional<QList<QVariantMap>> KSTLinuxHostInfo::powerSourceDescriptions()
{
    const QString supplies = sysPath(QStringLiteral("class/power_supply/"));
    if (!QFileInfo::exists(supplies))
        return QList<QVariantMap>();
    const std::optional<QStringList> names = listFolder(supplies);
    if (!names)
        return std::nullopt;
    QList<QVariantMap> descriptions;
    for (const QString &name : *names) {
        const QString folder = supplies + name + QLatin1Char('/');
        if (readTrimmed(folder + QLatin1String("type")) != QLatin1String("Battery") ||
            readTrimmed(folder + QLatin1String("scope")) == QLatin1String("Device"))
            continue;
        QVariantMap description;
        description.insert(QStringLiteral("Type"), QStringLiteral("InternalBattery"));
        description.insert(QStringLiteral("Name"), name);
        if (const std::optional<qint64> capacity = readInteger(folder + QLatin1String("capacity")))
            description.insert(QStringLiteral("Current Capacity"), int(*capacity));
        if (const std::optional<qint64> present = readInteger(folder + QLatin1String("present")))
            description.insert(QStringLiteral("Is Present"), *present != 0);
        description.insert(QStringLiteral("Is Charging"),
                           readTrimmed(folder + QLatin1String("status")) ==
                               QLatin1String("Charging"));
        descriptions.append(description);
    }
    return descriptions;
}

QString KSTLinuxHostInfo::hostName() const
{
    if (!m_liveEtc)
        return readTrimmed(m_etcRoot + QLatin1String("/hostname"));
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0)
        return {};
    return QString::fromLocal8Bit(name);
}

QString KSTLinuxHostInfo::computerName()
{
    const QByteArray machineInfo =
        readFile(m_etcRoot + QLatin1String("/machine-info")).value_or(QByteArray());
    const QString pretty = parseAssignments(machineInfo).value(QStringLiteral("PRETTY_HOSTNAME"));
    return pretty.trimmed().isEmpty() ? hostName() : pretty.trimmed();
}

QString KSTLinuxHostInfo::localizedHostName()
{
    return hostName();
}

QString KSTLinuxHostInfo::serialNumber()
{
    const QString dmi = readTrimmed(sysPath(QStringLiteral("class/dmi/id/product_serial")));
    if (!dmi.isEmpty())
        return meaningfulFirmwareString(dmi);
    return readTrimmed(sysPath(QStringLiteral("firmware/devicetree/base/serial-number")));
}

std::optional<QHash<QString, QString>> KSTLinuxHostInfo::osReleaseValues() const
{
    std::optional<QByteArray> contents = readFile(m_etcRoot + QLatin1String("/os-release"));
    if (!contents)
        contents = readFile(QDir::cleanPath(m_etcRoot + QLatin1String("/../usr/lib/os-release")));
    if (!contents)
        return std::nullopt;
    return parseAssignments(*contents);
}

QString KSTLinuxHostInfo::operatingSystemName() const
{
    const QString name =
        osReleaseValues().value_or(QHash<QString, QString>()).value(QStringLiteral("NAME"));
    return name.trimmed().isEmpty() ? QStringLiteral("Linux") : name.trimmed();
}

KSTOperatingSystemVersion KSTLinuxHostInfo::operatingSystemVersion()
{
    const std::optional<QHash<QString, QString>> read = osReleaseValues();
    KSTOperatingSystemVersion version;
    if (!read)
        return version;
    const QHash<QString, QString> &values = *read;
    version.versionString = values.value(QStringLiteral("PRETTY_NAME")).trimmed();
    if (version.versionString.isEmpty()) {
        const QString nameAndVersion = values.value(QStringLiteral("NAME")) + QLatin1Char(' ') +
                                       values.value(QStringLiteral("VERSION"));
        version.versionString = nameAndVersion.trimmed();
    }
    if (version.versionString.isEmpty())
        version.versionString = QStringLiteral("Linux");
    parseVersionId(values.value(QStringLiteral("VERSION_ID")), &version);
    return version;
}

std::optional<KSTVolumeUsage> KSTLinuxHostInfo::volumeUsage(const QString &path)
{
    struct statvfs info = {};
    if (path.isEmpty() || statvfs(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    KSTVolumeUsage usage;
    usage.totalBytes = quint64(info.f_blocks) * info.f_frsize;
    usage.freeBytes = quint64(info.f_bavail) * info.f_frsize;
    return usage;
}
