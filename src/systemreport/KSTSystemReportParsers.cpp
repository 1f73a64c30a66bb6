#include "KSTSystemReportParsers.h"

#include "KSTReporterCharts.h"

#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cmath>

namespace KSTSystemReportParsers {

namespace {

QStringView bounded(const QString &text)
{
    return QStringView(text).left(MaximumInputCharacters);
}

QList<QStringView> linesOf(const QString &text)
{
    return bounded(text).split(QLatin1Char('\n'));
}

bool isTitleLine(QStringView line)
{
    return !line.isEmpty() && !line.front().isSpace() && line.trimmed().endsWith(QLatin1Char(':'));
}

// The text of a diskutil tree line after its "|", "+--", "+->", "+-<" marks.
QStringView afterTreeMarks(QStringView line)
{
    qsizetype index = 0;
    while (index < line.size()) {
        const QChar c = line[index];
        if (c.isSpace() || c == QLatin1Char('|') || c == QLatin1Char('+') ||
            c == QLatin1Char('-') || c == QLatin1Char('<') || c == QLatin1Char('>'))
            ++index;
        else
            break;
    }
    return line.mid(index);
}

} // namespace

QString profilerPart(const QString &profilerText, const QString &title)
{
    const QString wanted = title + QLatin1Char(':');
    QString part;
    bool inside = false;
    for (const QStringView line : linesOf(profilerText)) {
        if (isTitleLine(line)) {
            if (inside)
                break;
            inside = line.trimmed() == wanted;
            continue;
        }
        if (inside) {
            part += line;
            part += QLatin1Char('\n');
        }
    }
    return part;
}

QString profilerValueForKey(const QString &text, const QString &key)
{
    if (key.isEmpty())
        return {};
    const QString needle = key + QLatin1Char(':');
    for (const QStringView line : linesOf(text)) {
        if (!line.contains(needle))
            continue;
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        return line.mid(colon + 1).trimmed().toString();
    }
    return {};
}

QString profilerDevicesSummary(const QString &part)
{
    QStringList names;
    QString entry; // the last "Name:" heading seen
    for (const QStringView line : linesOf(part)) {
        const QStringView text = line.trimmed();
        if (text.endsWith(QLatin1Char(':')) && !text.contains(QLatin1String(": "))) {
            entry = text.chopped(1).toString();
            continue;
        }
        const bool identifies = text.startsWith(QLatin1String("Product ID:")) ||
                                text.startsWith(QLatin1String("Device Name:"));
        if (!identifies || entry.isEmpty())
            continue;
        QString name = entry;
        if (text.startsWith(QLatin1String("Device Name:")))
            name = text.mid(12).trimmed().toString();
        if (!name.isEmpty())
            names.append(name);
        entry.clear(); // one name per entry
    }
    if (names.isEmpty())
        return {};
    return QStringLiteral("%1 (%2)").arg(names.size()).arg(names.join(u", "));
}

int leadingNumber(const QString &value)
{
    const QStringView text = QStringView(value).trimmed();
    qint64 number = 0;
    qsizetype index = 0;
    while (index < text.size() && index < 9 && text[index].isDigit())
        number = number * 10 + text[index++].digitValue();
    return int(number);
}

bool sipEnabled(const QString &csrutilOutput)
{
    return bounded(csrutilOutput).contains(QLatin1String("enabled"), Qt::CaseInsensitive);
}

bool fileVaultOn(const QString &fdesetupOutput)
{
    return bounded(fdesetupOutput).contains(QLatin1String("on"), Qt::CaseInsensitive);
}

bool gatekeeperOn(const QString &spctlOutput)
{
    return bounded(spctlOutput).contains(QLatin1String("enabled"), Qt::CaseInsensitive);
}

StyledValue sipRow(const QString &csrutilOutput)
{
    if (csrutilOutput.trimmed().isEmpty())
        return {QStringLiteral("\u2014"), KSTReportRow::Normal};
    if (bounded(csrutilOutput)
            .contains(QLatin1String("unknown (Custom Configuration)"), Qt::CaseInsensitive))
        return {QStringLiteral("Custom configuration"), KSTReportRow::Warning};
    return flagRow(csrutilOutput, sipEnabled(csrutilOutput));
}

StyledValue flagRow(const QString &output, bool on)
{
    if (output.trimmed().isEmpty())
        return {QStringLiteral("\u2014"), KSTReportRow::Normal};
    return on ? StyledValue{QStringLiteral("Enabled"), KSTReportRow::Good}
              : StyledValue{QStringLiteral("Disabled"), KSTReportRow::Warning};
}

StyledValue firewallRow(const QString &socketfilterfwOutput)
{
    if (socketfilterfwOutput.trimmed().isEmpty())
        return {QStringLiteral("\u2014"), KSTReportRow::Normal};
    if (bounded(socketfilterfwOutput).contains(QLatin1String("(State = 2)")))
        return {QStringLiteral("Blocking all incoming"), KSTReportRow::Good};
    return flagRow(
        socketfilterfwOutput,
        bounded(socketfilterfwOutput).contains(QLatin1String("enabled"), Qt::CaseInsensitive));
}

QString bootMode(const QString &nvramOutput)
{
    const QStringView text = bounded(nvramOutput);
    if (text.contains(QLatin1String("error"), Qt::CaseInsensitive))
        return QStringLiteral("Normal");
    if (text.contains(QLatin1String("recovery"), Qt::CaseInsensitive) ||
        text.contains(QLatin1String("safe"), Qt::CaseInsensitive))
        return QStringLiteral("Special");
    return QStringLiteral("Normal");
}

StyledValue smartStatus(const QString &diskutilInfoOutput)
{
    for (const QStringView line : linesOf(diskutilInfoOutput)) {
        const qsizetype at = line.indexOf(QLatin1String("SMART Status:"));
        if (at < 0)
            continue;
        const QString value = line.mid(at + 13).trimmed().toString();
        if (value.isEmpty())
            break;
        if (value.compare(QLatin1String("Verified"), Qt::CaseInsensitive) == 0)
            return {value, KSTReportRow::Good};
        if (value.compare(QLatin1String("Failing"), Qt::CaseInsensitive) == 0)
            return {value, KSTReportRow::Critical};
        return {value, KSTReportRow::Warning};
    }
    return {QStringLiteral("\u2014"), KSTReportRow::Normal};
}

QString wearLevel(const QString &diskutilInfoOutput)
{
    for (const QStringView line : linesOf(diskutilInfoOutput)) {
        if (!line.contains(QLatin1String("percentage used"), Qt::CaseInsensitive) &&
            !line.contains(QLatin1String("available spare"), Qt::CaseInsensitive))
            continue;
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon >= 0)
            return line.mid(colon + 1).trimmed().toString();
    }
    return {};
}

QString apfsContainers(const QString &diskutilApfsListOutput)
{
    QStringList identifiers;
    for (const QStringView line : linesOf(diskutilApfsListOutput)) {
        const QStringView text = afterTreeMarks(line);
        if (!text.startsWith(QLatin1String("Container ")))
            continue;
        const QStringView rest = text.mid(10).trimmed();
        const qsizetype space = rest.indexOf(QLatin1Char(' '));
        const QString identifier = (space < 0 ? rest : rest.left(space)).toString();
        if (!identifier.isEmpty())
            identifiers.append(identifier);
    }
    if (identifiers.isEmpty())
        return QStringLiteral("0");
    return QStringLiteral("%1 (%2)").arg(identifiers.size()).arg(identifiers.join(u", "));
}

SystemExtensions systemExtensions(const QString &systemextensionsctlOutput)
{
    SystemExtensions result;
    QSet<QString> teams;
    for (const QStringView line : linesOf(systemextensionsctlOutput)) {
        const qsizetype open = line.lastIndexOf(QLatin1Char('['));
        const qsizetype close = line.lastIndexOf(QLatin1Char(']'));
        // Extension rows are tab separated and end in their bracketed state; the column header
        // ends in the literal "[state]".
        if (open < 0 || close < open || !line.contains(QLatin1Char('\t')))
            continue;
        const QStringView state = line.mid(open + 1, close - open - 1);
        if (state == QLatin1String("state"))
            continue;
        if (state.contains(QLatin1String("enabled")))
            ++result.active;
        if (state.contains(QLatin1String("terminated waiting to uninstall")) ||
            state.contains(QLatin1String("waiting for user")))
            ++result.blocked;
        const QList<QStringView> columns = line.split(QLatin1Char('\t'));
        if (columns.size() > 2) {
            const QString team = columns[2].trimmed().toString();
            if (!team.isEmpty() && team != QLatin1String("-") && !teams.contains(team)) {
                teams.insert(team);
                result.providers.append(team);
            }
        }
    }
    return result;
}

qint64 thirdPartyKexts(const QString &kextstatOutput)
{
    qint64 count = 0;
    for (const QStringView line : linesOf(kextstatOutput)) {
        // "  Index Refs Address Size Wired Name (Version) UUID <Linked Against>": the name is
        // the first word holding a dot after the numeric columns.
        const QList<QStringView> words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (words.size() < 6 || !words[0].front().isDigit())
            continue;
        const QStringView name = words[5];
        if (name.contains(QLatin1Char('.')) && !name.startsWith(QLatin1String("com.apple.")))
            ++count;
    }
    return count;
}

qint64 launchctlServiceCount(const QString &launchctlPrintOutput)
{
    qint64 count = 0;
    int depth = -1; // inside the services block when >= 0
    for (const QStringView line : linesOf(launchctlPrintOutput)) {
        const QStringView text = line.trimmed();
        if (depth < 0) {
            if (text == QLatin1String("services = {"))
                depth = 0;
            continue;
        }
        if (text == QLatin1String("}")) {
            if (depth == 0)
                break;
            --depth;
            continue;
        }
        if (text.endsWith(QLatin1Char('{'))) {
            ++depth;
            continue;
        }
        if (depth == 0 && !text.isEmpty())
            ++count;
    }
    return count;
}

QString highCpuProcess(const QString &psOutput)
{
    QString bestName;
    double bestShare = -1;
    for (const QStringView line : linesOf(psOutput)) {
        const QStringView text = line.trimmed();
        const qsizetype first = text.indexOf(QLatin1Char(' '));
        if (first <= 0)
            continue;
        bool pidOk = false;
        const qint64 pid = text.left(first).toLongLong(&pidOk);
        if (!pidOk || pid < 0)
            continue; // the header
        const QStringView rest = text.mid(first).trimmed();
        const qsizetype second = rest.indexOf(QLatin1Char(' '));
        if (second <= 0)
            continue;
        bool shareOk = false;
        const double share = rest.left(second).toString().replace(u',', u'.').toDouble(&shareOk);
        const QString name = rest.mid(second).trimmed().toString();
        if (!shareOk || !std::isfinite(share) || name.isEmpty())
            continue;
        if (share > bestShare) {
            bestShare = share;
            bestName = name;
        }
    }
    if (bestShare < 5)
        return QStringLiteral("None detected");
    return QStringLiteral("%1 (%2%)").arg(bestName, QString::number(bestShare, 'f', 0));
}

QString connectedVpn(const QString &scutilOutput)
{
    for (const QStringView line : linesOf(scutilOutput)) {
        if (!line.contains(QLatin1String("(Connected)")))
            continue;
        const qsizetype open = line.indexOf(QLatin1Char('"'));
        const qsizetype close = open < 0 ? -1 : line.indexOf(QLatin1Char('"'), open + 1);
        if (close > open + 1)
            return line.mid(open + 1, close - open - 1).toString();
        return QStringLiteral("Connected");
    }
    return QStringLiteral("None detected");
}

QString wifiQuality(const QString &airportOutput)
{
    const qint64 rssi =
        profilerValueForKey(airportOutput, QStringLiteral("agrCtlRSSI")).toLongLong();
    const qint64 noise =
        profilerValueForKey(airportOutput, QStringLiteral("agrCtlNoise")).toLongLong();
    if (rssi == 0)
        return QStringLiteral("\u2014");
    const qint64 signalToNoise = rssi - noise;
    const QString word = signalToNoise < 16   ? QStringLiteral("Fair")
                         : signalToNoise < 26 ? QStringLiteral("Good")
                                              : QStringLiteral("Excellent");
    return QStringLiteral("%1 \u00b7 %2 dBm").arg(word).arg(rssi);
}

QString maskedSerial(const QString &serial)
{
    const QString bullets = QString(8, QChar(0x2022));
    if (serial.size() < 4)
        return bullets;
    return bullets + serial.right(4);
}

StyledValue memoryPressure(double usedFraction)
{
    if (usedFraction > 0.85)
        return {QStringLiteral("Critical"), KSTReportRow::Critical};
    if (usedFraction > 0.7)
        return {QStringLiteral("Warning"), KSTReportRow::Warning};
    if (usedFraction > 0.55)
        return {QStringLiteral("Fair"), KSTReportRow::Good};
    return {QStringLiteral("Normal"), KSTReportRow::Normal};
}

double estimatedBootToLoginSeconds(double uptimeSeconds)
{
    if (uptimeSeconds < 0 || !std::isfinite(uptimeSeconds))
        return 12;
    if (uptimeSeconds < 5)
        return uptimeSeconds;
    return std::min(45.0, std::max(8.0, 10 + 0.015 * uptimeSeconds));
}

QVariantMap networkSevenDayTotals(const QVariantList &historyRecords, const QDateTime &now)
{
    quint64 download = 0;
    quint64 upload = 0;
    quint64 previousIn = 0;
    quint64 previousOut = 0;
    for (int daysAgo = 6; daysAgo >= 0; --daysAgo) {
        const QString key =
            KSTReporterCharts::historyDayKeyForDate(now.addSecs(-qint64(daysAgo) * 86'400));
        quint64 in = 0;
        quint64 out = 0;
        for (const QVariant &record : historyRecords) {
            const QVariantMap map = record.toMap();
            if (map.value(QStringLiteral("day")).toString() != key)
                continue;
            in = map.value(QStringLiteral("networkIn")).toULongLong();
            out = map.value(QStringLiteral("networkOut")).toULongLong();
            break;
        }
        if (daysAgo < 6) {
            if (in > previousIn)
                download += in - previousIn;
            if (out >= previousOut)
                upload += out - previousOut;
        }
        previousIn = in;
        previousOut = out;
    }
    return {{QStringLiteral("download"), QVariant::fromValue(download)},
            {QStringLiteral("upload"), QVariant::fromValue(upload)}};
}

} // namespace KSTSystemReportParsers
