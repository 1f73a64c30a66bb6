#include "KSTLinuxReportParsers.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cctype>
#include <cmath>

namespace KSTLinuxReportParsers {

namespace {

// Every tree walked below is far smaller on a real machine; a flood stops here.
constexpr qsizetype MaximumNodes = 100'000;

QByteArray bounded(const QByteArray &input)
{
    return input.left(MaximumInputBytes);
}

QList<QByteArray> lines(const QByteArray &input)
{
    return bounded(input).split('\n');
}

QJsonDocument jsonOf(const QByteArray &input)
{
    if (input.size() > MaximumInputBytes)
        return {};
    return QJsonDocument::fromJson(input);
}

bool isEncryptedLayer(const QJsonObject &device)
{
    return device.value(QLatin1String("type")).toString() == QLatin1String("crypt") ||
           device.value(QLatin1String("fstype")).toString() == QLatin1String("crypto_LUKS");
}

// The nodes of a tree of objects holding their children in @p childrenKey, parents before
// children, each knowing whether an encrypted layer lies above it (lsblk nests a LUKS
// container's opened device under it).
struct Node
{
    QJsonObject object;
    bool encryptedAbove = false;
};

template <typename Visit>
void walkTree(const QJsonArray &top, const QString &childrenKey, Visit visit)
{
    QList<Node> stack;
    for (qsizetype index = top.size() - 1; index >= 0; --index)
        stack.append({top.at(index).toObject(), false});
    qsizetype visited = 0;
    while (!stack.isEmpty() && visited++ < MaximumNodes) {
        Node node = stack.takeLast();
        if (!visit(node))
            return;
        const QJsonArray children = node.object.value(childrenKey).toArray();
        const bool encrypted = node.encryptedAbove || isEncryptedLayer(node.object);
        for (qsizetype index = children.size() - 1; index >= 0; --index)
            stack.append({children.at(index).toObject(), encrypted});
    }
}

bool mountedAtRoot(const QJsonObject &device)
{
    if (device.value(QLatin1String("mountpoint")).toString() == QLatin1String("/"))
        return true;
    const QJsonArray points = device.value(QLatin1String("mountpoints")).toArray();
    for (const QJsonValue &point : points)
        if (point.toString() == QLatin1String("/"))
            return true;
    return false;
}

// "1min 2.5s" → 62.5, "950ms" → 0.95; nullopt on any word that is not a duration.
std::optional<double> duration(const QByteArray &text)
{
    double total = 0;
    bool any = false;
    for (const QByteArray &word : text.simplified().split(' ')) {
        qsizetype digits = 0;
        while (digits < word.size() && (std::isdigit(uchar(word[digits])) || word[digits] == '.'))
            ++digits;
        bool ok = false;
        const double value = word.left(digits).toDouble(&ok);
        const QByteArray unit = word.mid(digits);
        if (!ok)
            return std::nullopt;
        if (unit == "ms")
            total += value / 1000;
        else if (unit == "s")
            total += value;
        else if (unit == "min")
            total += value * 60;
        else if (unit == "h")
            total += value * 3600;
        else if (unit == "us")
            total += value / 1'000'000;
        else
            return std::nullopt;
        any = true;
    }
    if (!any || !std::isfinite(total))
        return std::nullopt;
    return total;
}

// nmcli's terse fields: split on ":" not preceded by "\", with "\:" and "\\" unescaped.
QStringList terseFields(const QByteArray &line)
{
    QStringList fields;
    QByteArray field;
    for (qsizetype index = 0; index < line.size(); ++index) {
        const char c = line[index];
        if (c == '\\' && index + 1 < line.size()) {
            field += line[++index];
        } else if (c == ':') {
            fields.append(QString::fromUtf8(field));
            field.clear();
        } else {
            field += c;
        }
    }
    fields.append(QString::fromUtf8(field));
    return fields;
}

} // namespace

Mounts findmntMounts(const QByteArray &json)
{
    Mounts mounts;
    const QJsonValue filesystems = jsonOf(json).object().value(QLatin1String("filesystems"));
    if (!filesystems.isArray())
        return mounts;
    mounts.deviceVolumes = 0;
    walkTree(filesystems.toArray(), QStringLiteral("children"), [&](const Node &node) {
        const QString source = node.object.value(QLatin1String("source")).toString();
        if (source.startsWith(QLatin1String("/dev/")))
            ++mounts.deviceVolumes;
        if (node.object.value(QLatin1String("target")).toString() == QLatin1String("/")) {
            mounts.rootSource = source;
            mounts.rootFileSystem = node.object.value(QLatin1String("fstype")).toString();
        }
        return true;
    });
    return mounts;
}

std::optional<bool> rootOnLuks(const QByteArray &json)
{
    const QJsonValue devices = jsonOf(json).object().value(QLatin1String("blockdevices"));
    if (!devices.isArray())
        return std::nullopt;
    std::optional<bool> answer;
    walkTree(devices.toArray(), QStringLiteral("children"), [&](const Node &node) {
        if (!mountedAtRoot(node.object))
            return true;
        answer = node.encryptedAbove || isEncryptedLayer(node.object);
        return false;
    });
    return answer;
}

QString lockdownMode(const QByteArray &text)
{
    // One line of words, the active one bracketed.
    const QByteArray line = bounded(text).left(4096).split('\n').value(0);
    const qsizetype open = line.indexOf('[');
    const qsizetype close = line.indexOf(']', open + 1);
    if (open < 0 || close <= open + 1)
        return {};
    const QByteArray word = line.mid(open + 1, close - open - 1);
    for (const char c : word)
        if (!std::isalnum(uchar(c)) && c != '_' && c != '-')
            return {};
    return QString::fromUtf8(word);
}

std::optional<bool> efiFlag(const QByteArray &variable)
{
    if (variable.size() < 5)
        return std::nullopt;
    return variable.at(4) == 1;
}

std::optional<QString> shellSetting(const QByteArray &text, const QByteArray &key)
{
    std::optional<QString> value;
    for (const QByteArray &raw : lines(text)) {
        const QByteArray line = raw.trimmed();
        if (!line.startsWith(QByteArray(key + '=')))
            continue;
        QString found = QString::fromUtf8(line.mid(key.size() + 1).trimmed());
        if (found.size() >= 2 && (found.startsWith(u'"') || found.startsWith(u'\'')) &&
            found.endsWith(found.front()))
            found = found.mid(1, found.size() - 2);
        value = found; // the last setting wins, as for the shell
    }
    return value;
}

qint64 unitCount(const QByteArray &listUnitsOutput)
{
    qint64 count = 0;
    for (const QByteArray &line : lines(listUnitsOutput)) {
        const QByteArray first = line.simplified().split(' ').value(0);
        count += first.contains('.') && !first.startsWith('.') ? 1 : 0;
    }
    return count;
}

Modules loadedModules(const QByteArray &procModules)
{
    // "name size refcount users state address [(taints)]"
    Modules modules;
    for (const QByteArray &line : lines(procModules)) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() < 6)
            continue;
        ++modules.loaded;
        const QByteArray taints = fields.size() > 6 ? fields.at(6) : QByteArray();
        if (taints.startsWith('(') && (taints.contains('O') || taints.contains('E')))
            ++modules.outOfTree;
    }
    return modules;
}

Coredumps recentCoredumps(const QByteArray &json, const QDateTime &now)
{
    Coredumps dumps;
    const QJsonArray entries = jsonOf(json).array();
    const qint64 nowSeconds = now.toSecsSinceEpoch();
    for (qsizetype index = 0; index < std::min<qsizetype>(entries.size(), MaximumNodes); ++index) {
        const QJsonObject entry = entries.at(index).toObject();
        const double microseconds = entry.value(QLatin1String("time")).toDouble(-1);
        if (!(microseconds >= 0) || microseconds > 9.0e18)
            continue;
        const qint64 age = nowSeconds - qint64(microseconds / 1'000'000);
        if (age < 0 || age > 7 * 86'400)
            continue;
        ++dumps.recent;
        QString name = QFileInfo(entry.value(QLatin1String("exe")).toString()).fileName();
        if (name.isEmpty())
            name = entry.value(QLatin1String("comm")).toString();
        if (!name.isEmpty() && !dumps.names.contains(name))
            dumps.names.append(name);
    }
    return dumps;
}

std::optional<double> startupSeconds(const QByteArray &text)
{
    for (const QByteArray &line : lines(text)) {
        if (!line.startsWith("Startup finished in "))
            continue;
        const qsizetype equals = line.lastIndexOf('=');
        return duration(equals >= 0 ? line.mid(equals + 1)
                                    : line.mid(qsizetype(sizeof "Startup finished in") - 1));
    }
    return std::nullopt;
}

QString activeVpn(const QByteArray &nmcliOutput)
{
    for (const QByteArray &line : lines(nmcliOutput)) {
        const QStringList fields = terseFields(line.trimmed());
        if (fields.size() < 2)
            continue;
        const QString type = fields.at(fields.size() - 1);
        if (type == QLatin1String("vpn") || type == QLatin1String("wireguard"))
            return fields.mid(0, fields.size() - 1).join(u':');
    }
    return QStringLiteral("None detected");
}

QString wirelessQuality(const QByteArray &procNetWireless)
{
    // " wlp2s0: 0000   54.  -56.  -256 …": status, link quality, level, noise.
    for (const QByteArray &line : lines(procNetWireless)) {
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0 || line.left(colon).contains('|'))
            continue;
        const QList<QByteArray> fields = line.mid(colon + 1).simplified().split(' ');
        if (fields.size() < 4)
            continue;
        bool levelOk = false, noiseOk = false;
        const double level = QByteArray(fields.at(2)).replace('.', "").toDouble(&levelOk);
        const double noise = QByteArray(fields.at(3)).replace('.', "").toDouble(&noiseOk);
        if (!levelOk || level >= 0 || level < -255)
            continue;
        // A driver without a noise figure prints -256; then the level alone decides, with
        // the usual floor of -95 dBm.
        const double floor = noiseOk && noise < 0 && noise > -256 ? noise : -95;
        const double signalToNoise = level - floor;
        const QString word = signalToNoise < 16   ? QStringLiteral("Fair")
                             : signalToNoise < 26 ? QStringLiteral("Good")
                                                  : QStringLiteral("Excellent");
        return QStringLiteral("%1 \u00b7 %2 dBm").arg(word).arg(qint64(level));
    }
    return QStringLiteral("\u2014");
}

QStringList firefoxExtensions(const QByteArray &json)
{
    QStringList names;
    const QJsonArray addons = jsonOf(json).object().value(QLatin1String("addons")).toArray();
    for (qsizetype index = 0; index < std::min<qsizetype>(addons.size(), MaximumNodes); ++index) {
        const QJsonObject addon = addons.at(index).toObject();
        if (addon.value(QLatin1String("type")).toString() != QLatin1String("extension") ||
            addon.value(QLatin1String("location")).toString() != QLatin1String("app-profile"))
            continue;
        const QString name = addon.value(QLatin1String("defaultLocale"))
                                 .toObject()
                                 .value(QLatin1String("name"))
                                 .toString()
                                 .trimmed();
        names.append(name.isEmpty() ? addon.value(QLatin1String("id")).toString() : name);
    }
    return names;
}

} // namespace KSTLinuxReportParsers
