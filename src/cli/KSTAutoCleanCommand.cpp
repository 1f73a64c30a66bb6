#include "KSTAutoCleanCommand.h"

#include "KSTAutoCleanManager.h"
#include "KSTDispatch.h"
#include "KSTFormatting.h"
#include "KSTTerminalText.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>

namespace {

using Manager = KSTAutoCleanManager;

QJsonValue autoCleanDateJson(const std::optional<QDateTime> &date)
{
    return date ? QJsonValue(date->toUTC().toString(Qt::ISODate)) : QJsonValue(QJsonValue::Null);
}

QJsonObject stateJson(const Manager &manager)
{
    QJsonArray rules;
    for (const KSTAutoCleanRuleDefinition &rule : manager.rules()) {
        rules.append(QJsonObject{
            {QStringLiteral("ruleType"), qint64(rule.ruleType)},
            {QStringLiteral("symbolName"), rule.symbolName},
            {QStringLiteral("title"), rule.title},
            {QStringLiteral("detail"), rule.detail},
            {QStringLiteral("schedule"), rule.schedule},
            {QStringLiteral("enabled"), rule.enabled},
        });
    }
    return QJsonObject{
        {QStringLiteral("automationEnabled"), manager.automationEnabled()},
        {QStringLiteral("isAutomationActive"), manager.isAutomationActive()},
        {QStringLiteral("enabledRuleCount"), qint64(manager.enabledRuleCount())},
        {QStringLiteral("rules"), rules},
        {QStringLiteral("bytesSavedThisMonth"), qint64(manager.bytesSavedThisMonth())},
        {QStringLiteral("filesRemovedThisMonth"), qint64(manager.filesRemovedThisMonth())},
        {QStringLiteral("lastRunDate"), autoCleanDateJson(manager.lastRunDate())},
        {QStringLiteral("whitelistPaths"), QJsonArray::fromStringList(manager.whitelistPaths())},
        {QStringLiteral("keptAsideWhitelistPaths"),
         QJsonArray::fromStringList(manager.keptAsideWhitelistPaths())},
    };
}

QString filesText(quint64 count)
{
    return count == 1 ? QStringLiteral("1 file")
                      : QStringLiteral("%1 files").arg(KSTFormatting::formatCount(count));
}

int showState(KSTCliContext &context, const Manager &manager)
{
    if (context.json()) {
        context.printJson(stateJson(manager));
        return KSTCliContext::Success;
    }
    QTextStream &out = context.out();
    const QList<KSTAutoCleanRuleDefinition> rules = manager.rules();
    out << "Automation:   ";
    if (!manager.automationEnabled())
        out << "off\n";
    else if (manager.isAutomationActive())
        out << "on, active (" << manager.enabledRuleCount() << " of " << rules.size()
            << " rules enabled, run hourly)\n";
    else
        out << "on, but inactive: no rule is enabled\n";
    out << "Rules:\n";
    for (const KSTAutoCleanRuleDefinition &rule : rules) {
        out << "  " << rule.ruleType << "  " << (rule.enabled ? "on " : "off") << "  "
            << rule.title.leftJustified(18) << rule.detail << " (" << rule.schedule << ")\n";
    }
    out << "This month:   " << KSTFormatting::formatBytes(manager.bytesSavedThisMonth())
        << " saved, " << filesText(manager.filesRemovedThisMonth()) << " removed\n";
    const std::optional<QDateTime> lastRun = manager.lastRunDate();
    out << "Last run:     "
        << (lastRun ? lastRun->toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
                    : QStringLiteral("never"))
        << '\n';
    QStringList whitelist;
    for (const QString &path : manager.whitelistPaths())
        whitelist << KSTTerminalText::escaped(path);
    out << "Never touch:  "
        << (whitelist.isEmpty() ? QStringLiteral("nothing")
                                : whitelist.join(QStringLiteral("\n              ")))
        << '\n';
    const QStringList keptAside = manager.keptAsideWhitelistPaths();
    if (!keptAside.isEmpty()) {
        out << "Kept aside:   " << keptAside.join(QStringLiteral("\n              ")) << '\n'
            << "              Kestrel emptied the never-touch list when it was launched with\n"
               "              automation on; these entries still protect their files.\n"
               "              'kestrel autoclean whitelist restore' puts them back,\n"
               "              'kestrel autoclean whitelist dismiss' forgets them.\n";
    }
    return KSTCliContext::Success;
}

std::optional<bool> parseOnOff(const QString &text)
{
    if (text == QLatin1String("on"))
        return true;
    if (text == QLatin1String("off"))
        return false;
    return std::nullopt;
}

int refuse(KSTCliContext &context, const QString &message)
{
    context.err() << "kestrel: " << KSTTerminalText::escaped(message) << '\n';
    context.err().flush();
    return KSTCliContext::Failure;
}

int runRules(KSTCliContext &context, Manager &manager)
{
    const bool automationEnabled = manager.automationEnabled();
    const bool active = manager.isAutomationActive();
    bool done = false;
    quint64 rulesActed = 0;
    quint64 bytes = 0;
    quint64 files = 0;
    manager.runEnabledRulesWithCompletion([&](quint64 acted, quint64 removed, quint64 count) {
        rulesActed = acted;
        bytes = removed;
        files = count;
        done = true;
    });
    // The completion comes after the run's last rule, so nothing is cut off.
    KSTDispatch::runMainLoopUntil([&] { return done; }, -1);

    if (context.json()) {
        context.printJson(QJsonObject{{QStringLiteral("rulesActed"), qint64(rulesActed)},
                                      {QStringLiteral("bytesRemoved"), qint64(bytes)},
                                      {QStringLiteral("filesRemoved"), qint64(files)}});
        return KSTCliContext::Success;
    }
    QTextStream &out = context.out();
    if (!automationEnabled)
        out << "Automation is off, so no rule ran ('kestrel autoclean on' turns it on).\n";
    else if (!active)
        out << "No rule is enabled, so no rule ran ('kestrel autoclean rule TYPE on').\n";
    out << "Rules acted:   " << rulesActed << '\n';
    out << "Bytes removed: " << KSTFormatting::formatBytes(bytes) << " (" << bytes << " bytes)\n";
    out << "Files removed: " << files << '\n';
    return KSTCliContext::Success;
}

int changeWhitelist(KSTCliContext &context, Manager &manager, const QString &action, QString path)
{
    // A path typed relative to the current folder means that folder, as for any command;
    // "~" forms are left for the manager to expand against the analysed home.
    if (!path.startsWith(QLatin1Char('~')) && QDir::isRelativePath(path) && !path.isEmpty())
        path = QDir::current().absoluteFilePath(path);
    const QString shown = Manager::normalizedWhitelistPath(path);

    if (action == QLatin1String("add")) {
        if (shown.isEmpty())
            return refuse(context, QStringLiteral("an empty path cannot be a never-touch path"));
        if (manager.containsWhitelistPathEquivalentTo(path))
            return refuse(context,
                          QStringLiteral("%1 is already on the never-touch list").arg(shown));
        if (!manager.addWhitelistPath(path))
            return refuse(
                context, QStringLiteral("%1 does not exist, so it was not added to the never-touch "
                                        "list")
                             .arg(shown));
    } else if (!manager.removeWhitelistPath(path)) {
        return refuse(context, QStringLiteral("%1 is not on the never-touch list")
                                   .arg(shown.isEmpty() ? QStringLiteral("''") : shown));
    }
    return showState(context, manager);
}

} // namespace

int kstRunAutoCleanCommand(KSTCliContext &context)
{
    const QStringList arguments = context.arguments();
    // A command is not a launch: it works on the stored state as it is.
    Manager::setSharedInstanceIsLaunch(false);
    Manager &manager = Manager::shared();
    if (arguments.isEmpty())
        return showState(context, manager);

    const QString &action = arguments.first();
    if (action == QLatin1String("run")) {
        if (arguments.size() != 1)
            return context.usageError(QStringLiteral("autoclean run takes no further arguments"));
        return runRules(context, manager);
    }
    if (const std::optional<bool> enabled = parseOnOff(action)) {
        if (arguments.size() != 1)
            return context.usageError(
                QStringLiteral("autoclean %1 takes no further arguments").arg(action));
        manager.setAutomationEnabled(*enabled);
        // Turning it on runs the enabled rules at once; let that run end before exiting.
        manager.waitUntilIdle();
        return showState(context, manager);
    }
    if (action == QLatin1String("rule")) {
        // Exactly one digit: "+3", " 3" or "03" are not rule types.
        const QString type = arguments.value(1);
        const bool validType =
            type.size() == 1 && type.at(0) >= QLatin1Char('0') && type.at(0) <= QLatin1Char('5');
        const std::optional<bool> enabled = parseOnOff(arguments.value(2));
        if (arguments.size() != 3 || !validType || !enabled)
            return context.usageError(QStringLiteral(
                "usage: autoclean rule TYPE on|off, with TYPE a number from 0 to 5"));
        manager.setRuleEnabled(*enabled, type.at(0).digitValue());
        manager.waitUntilIdle();
        return showState(context, manager);
    }
    if (action == QLatin1String("whitelist")) {
        const QString change = arguments.value(1);
        if (arguments.size() == 2 &&
            (change == QLatin1String("restore") || change == QLatin1String("dismiss"))) {
            const bool done = change == QLatin1String("restore")
                                  ? manager.restoreKeptAsideWhitelistPaths()
                                  : manager.dismissKeptAsideWhitelistPaths();
            if (!done)
                return refuse(context, QStringLiteral("no never-touch list is kept aside"));
            return showState(context, manager);
        }
        if (arguments.size() != 3 ||
            (change != QLatin1String("add") && change != QLatin1String("remove")))
            return context.usageError(
                QStringLiteral("usage: autoclean whitelist add|remove PATH, or "
                               "autoclean whitelist restore|dismiss"));
        return changeWhitelist(context, manager, change, arguments.at(2));
    }
    return context.usageError(QStringLiteral("unknown autoclean action '%1'").arg(action));
}
