#include "KSTSystemReportLayout.h"

namespace KSTSystemReportLayout {

namespace {

QStringList labels(std::initializer_list<const char *> names)
{
    QStringList list;
    for (const char *name : names)
        list.append(QString::fromUtf8(name));
    return list;
}

} // namespace

const QList<SectionShape> &sections()
{
    static const QList<SectionShape> shapes = {
        {QStringLiteral("macOS Information"), QStringLiteral("apple.logo"), QStringLiteral("zinc"),
         labels({"macOS version", "Build number", "Boot volume", "File system", "Boot mode",
                 "Secure Boot", "SIP status", "FileVault", "Model identifier", "Serial number",
                 "Uptime"})},
        {QStringLiteral("Hardware Information"), QStringLiteral("memorychip"),
         QStringLiteral("purple"),
         labels({"CPU", "Memory", "GPU", "Internal SSD", "External disks", "SMART status",
                 "Thunderbolt devices", "USB devices"})},
        {QStringLiteral("Storage Information"), QStringLiteral("externaldrive.fill"),
         QStringLiteral("emerald"),
         labels({"Free space", "Used space", "APFS containers", "Mounted volumes"})},
        {QStringLiteral("Memory Information"), QStringLiteral("memorychip.fill"),
         QStringLiteral("blue"),
         labels({"Installed RAM", "Memory pressure", "App memory", "Wired memory", "Compressed",
                 "Swap used"})},
        {QStringLiteral("Launch Items"), QStringLiteral("power.circle"), QStringLiteral("orange"),
         labels(
             {"LaunchAgents", "LaunchDaemons", "Login Items", "Startup Items", "Slowing startup"})},
        {QStringLiteral("Background Services"), QStringLiteral("gearshape.2.fill"),
         QStringLiteral("zinc"),
         labels({"Running daemons", "User agents", "Third-party services", "High CPU service"})},
        {QStringLiteral("Installed Applications"), QStringLiteral("app.fill"),
         QStringLiteral("purple"),
         labels({"Apple-signed", "Developer-signed", "Unsigned / ad-hoc", "Recently updated",
                 "Outdated (>1yr)"})},
        {QStringLiteral("Kernel & System Extensions"), QStringLiteral("cpu.fill"),
         QStringLiteral("sky"),
         labels({"Architecture", "Legacy kexts", "System Extensions", "Providers",
                 "Blocked / needs approval"})},
        {QStringLiteral("Security"), QStringLiteral("shield.fill"), QStringLiteral("emerald"),
         labels(
             {"SIP", "Gatekeeper", "FileVault", "Secure Boot", "Firewall", "Unsigned software"})},
        {QStringLiteral("Crash & Panic Reports"), QStringLiteral("exclamationmark.triangle.fill"),
         QStringLiteral("rose"),
         labels({"Recent crashes (7d)", "Hung apps", "Kernel panic", "Sleep/Wake panic",
                 "GPU panic", "Last panic"})},
        {QStringLiteral("Disk Health"), QStringLiteral("heart.fill"), QStringLiteral("rose"),
         labels({"SMART \u00b7 internal", "SMART \u00b7 external", "APFS health",
                 "Disk errors (7d)", "Wear level (internal)"})},
        {QStringLiteral("Network"), QStringLiteral("globe"), QStringLiteral("blue"),
         labels({"Download (7d)", "Upload (7d)", "Top app", "Top domain", "VPN usage",
                 "Wi-Fi quality"})},
        {QStringLiteral("Browser Extensions"), QStringLiteral("puzzlepiece.extension.fill"),
         QStringLiteral("purple"), labels({"Safari", "Chrome", "Suspicious / unknown"})},
        {QStringLiteral("Launch Time"), QStringLiteral("stopwatch.fill"), QStringLiteral("amber"),
         labels({"Estimated boot to login", "Login items runtime", "Total to desktop",
                 "Vs. last week", "Recommendation"})},
    };
    return shapes;
}

const QList<CardShape> &cards()
{
    static const QList<CardShape> shapes = {
        {QStringLiteral("macOS"), QStringLiteral("display"), QStringLiteral("blue")},
        {QStringLiteral("Chip"), QStringLiteral("cpu"), QStringLiteral("purple")},
        {QStringLiteral("Storage"), QStringLiteral("internaldrive"), QStringLiteral("emerald")},
        {QStringLiteral("Security"), QStringLiteral("shield.fill"), QStringLiteral("amber")},
    };
    return shapes;
}

KSTReportSection section(const SectionShape &shape, const QList<KSTReportRow> &rows,
                         const QString &subtitle)
{
    KSTReportSection result{shape.title, shape.symbolName, shape.iconColor, subtitle, {}};
    for (qsizetype index = 0; index < shape.rowLabels.size(); ++index)
        result.rows.append(index < rows.size()
                               ? KSTReportRow::rowWithLabel(shape.rowLabels[index],
                                                            rows[index].value(),
                                                            rows[index].valueStyle())
                               : KSTReportRow::rowWithLabel(shape.rowLabels[index], QString()));
    return result;
}

KSTSystemReportSnapshot placeholderSnapshot()
{
    const QString loading = QStringLiteral("Loading\u2026");
    KSTSystemReportSnapshot snapshot;
    snapshot.generatedAt = QDateTime::currentDateTime();
    snapshot.generatedSubtitle = QStringLiteral("Preparing system report\u2026");
    for (const CardShape &card : cards())
        snapshot.summaryCards.append(KSTReportSummaryCard::summaryCard(
            card.title, card.symbolName, card.iconColor, loading, loading));
    for (const SectionShape &shape : sections()) {
        QList<KSTReportRow> rows;
        for (const QString &label : shape.rowLabels)
            rows.append(KSTReportRow::rowWithLabel(label, loading));
        snapshot.sections.append(
            section(shape, rows,
                    shape.title == QLatin1String("Installed Applications") ? loading : QString()));
    }
    return snapshot;
}

} // namespace KSTSystemReportLayout
