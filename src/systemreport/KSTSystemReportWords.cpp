#include "KSTSystemReportWords.h"

#include "KSTLayoutWords.h"

#include <QHash>

namespace KSTSystemReportWords {

namespace {

// "%1" is the system's name. The words every tool shares come from the layout's set; the rest
// are the report's own labels.
const QHash<QString, QString> &linuxWords()
{
    static const QString lockdown = KSTLayoutWords::forLayout(KSTLayout::Linux).integrityProtection;
    static const QHash<QString, QString> words = {
        {QStringLiteral("macOS"), QStringLiteral("%1")},
        {QStringLiteral("macOS Information"), QStringLiteral("%1 Information")},
        {QStringLiteral("macOS version"), QStringLiteral("%1 version")},
        {QStringLiteral("Build number"), QStringLiteral("Kernel")},
        {QStringLiteral("SIP status"), lockdown},
        {KSTLayoutWords::forLayout(KSTLayout::Mac).integrityProtection, lockdown},
        {QStringLiteral("FileVault"), QStringLiteral("LUKS")},
        {QStringLiteral("Gatekeeper"), QStringLiteral("AppArmor / SELinux")},
        {QStringLiteral("SIP \u00b7 FileVault \u00b7 Gatekeeper"),
         lockdown + QStringLiteral(" \u00b7 LUKS \u00b7 AppArmor / SELinux")},
        {QStringLiteral("LaunchAgents"), QStringLiteral("Autostart entries")},
        {QStringLiteral("LaunchDaemons"), QStringLiteral("User units")},
        {QStringLiteral("Login Items"), QStringLiteral("System services")},
        {QStringLiteral("Running daemons"), QStringLiteral("Running services")},
        {QStringLiteral("User agents"), QStringLiteral("User services")},
        {QStringLiteral("Legacy kexts"), QStringLiteral("Kernel modules")},
        {QStringLiteral("Safari"), QStringLiteral("Firefox")},
        {QStringLiteral("Chrome"), QStringLiteral("Chromium / Chrome")},
    };
    return words;
}

} // namespace

QString linuxText(const QString &text, const QString &systemName)
{
    const auto found = linuxWords().constFind(text);
    if (found == linuxWords().constEnd())
        return text;
    return found->contains(QLatin1String("%1"))
               ? found->arg(systemName.isEmpty() ? QStringLiteral("Linux") : systemName)
               : *found;
}

void relabelForLinux(KSTSystemReportSnapshot &snapshot, const QString &systemName)
{
    for (KSTReportSummaryCard &card : snapshot.summaryCards) {
        card.title = linuxText(card.title, systemName);
        card.detail = linuxText(card.detail, systemName);
    }
    for (KSTReportSection &section : snapshot.sections) {
        section.title = linuxText(section.title, systemName);
        for (KSTReportRow &row : section.rows)
            row = KSTReportRow::rowWithLabel(linuxText(row.label(), systemName), row.value(),
                                             row.valueStyle());
    }
}

} // namespace KSTSystemReportWords
