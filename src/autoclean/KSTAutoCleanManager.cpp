// The manager's state, its persistence in the preferences suite, the schedule and the runs.
// The rule actions are in KSTAutoCleanManagerActions.cpp, the never-touch list in
// KSTAutoCleanManagerWhitelist.cpp.
#include "KSTAutoCleanManager.h"

#include "KSTAutoCleanLocations.h"
#include "KSTAutoCleanLog.h"
#include "KSTDispatch.h"
#include "KSTDispatchQueue.h"
#include "KSTDispatchTimer.h"
#include "KSTNotificationCenter.h"
#include "KSTPermissionChecker.h"
#include "KSTPreferences.h"

#include <QDate>
#include <QLockFile>
#include <QSettings>

#include <algorithm>
#include <atomic>

namespace {

const QString AutomationEnabledKey = QStringLiteral("automationEnabled");
const QString RuleEnabledKeyPrefix = QStringLiteral("ruleEnabled.");
const QString BytesSavedKey = QStringLiteral("bytesSavedThisMonth");
const QString FilesRemovedKey = QStringLiteral("filesRemovedThisMonth");
const QString LastRunDateKey = QStringLiteral("lastRunDate");
const QString StatsMonthKey = QStringLiteral("statsMonth");
const QString WhitelistPathsKey = QStringLiteral("whitelistPaths");
const QString KeptAsideWhitelistPathsKey = QStringLiteral("whitelistPathsBeforeReset");

std::atomic<bool> &sharedInstanceIsLaunch()
{
    static std::atomic<bool> isLaunch{true};
    return isLaunch;
}

QStringList storedList(const QSettings &settings, const QString &key)
{
    // INI files give a one-element list back as a plain string; toStringList() copes.
    const QVariant value = settings.value(key);
    return value.isValid() ? value.toStringList() : QStringList();
}

QString ruleEnabledKey(quint64 ruleType)
{
    return RuleEnabledKeyPrefix + QString::number(ruleType);
}

KSTAutoCleanRuleDefinition ruleWithType(quint64 ruleType, const QString &symbol,
                                        const QString &title, const QString &detail,
                                        const QString &schedule)
{
    return KSTAutoCleanRuleDefinition{ruleType, symbol, title, detail, schedule, false};
}

// A copy with a buffer of its own, for lists that leave the state lock. Qt shares a copied
// list's buffer and decides whether a later write must copy it first with a relaxed read of
// the reference count, which orders nothing against another thread's last read of the shared
// buffer; a list read on the work queue while the main thread changes ours must not share it.
template <typename T> QList<T> ownCopy(const QList<T> &list)
{
    QList<T> copy;
    copy.reserve(list.size());
    for (const T &item : list)
        copy.append(item);
    return copy;
}

} // namespace

// Everything saveState() writes, copied under the state lock so the file work runs without it.
struct KSTAutoCleanManager::Snapshot
{
    bool automationEnabled = false;
    QList<KSTAutoCleanRuleDefinition> rules;
    quint64 bytesSavedThisMonth = 0;
    quint64 filesRemovedThisMonth = 0;
    std::optional<QDateTime> lastRunDate;
    QStringList whitelistPaths;
    QStringList keptAsideWhitelistPaths;
};

KSTAutoCleanManager &KSTAutoCleanManager::shared()
{
    // Never destroyed: the manager lives as long as the process, and a run must not be torn
    // down by static destruction while the work queue still holds it.
    static KSTAutoCleanManager *manager = [] {
        Options options;
        options.isLaunch = sharedInstanceIsLaunch().load();
        return new KSTAutoCleanManager(options);
    }();
    return *manager;
}

void KSTAutoCleanManager::setSharedInstanceIsLaunch(bool isLaunch)
{
    sharedInstanceIsLaunch().store(isLaunch);
}

KSTAutoCleanManager::KSTAutoCleanManager(Options options)
    : m_suiteName(std::move(options.suiteName)), m_firstDelay(options.firstDelay),
      m_interval(options.interval), m_leeway(options.leeway), m_clock(std::move(options.clock)),
      m_isLaunch(options.isLaunch),
      m_workQueue(std::make_unique<KSTDispatchQueue>(WorkQueueLabel, KSTQualityOfService::Utility))
{
    buildDefaultRules();
    loadPersistedState();
    resetMonthlyStatsIfNeeded();
}

KSTAutoCleanManager::~KSTAutoCleanManager()
{
    {
        std::lock_guard lock(m_timerMutex);
        m_scheduleTimer.reset();
    }
    // Runs already queued finish here, while every member they use is still alive.
    m_workQueue.reset();
}

void KSTAutoCleanManager::buildDefaultRules()
{
    // The middle dot is U+00B7. Descriptions naming places or programs are the layout's.
    const KSTAutoCleanLocations::Table places = KSTAutoCleanLocations::table();
    const QList<KSTAutoCleanRuleDefinition> rules = {
        ruleWithType(0, QStringLiteral("arrow.down.circle.fill"),
                     QStringLiteral("Downloads Folder"),
                     QStringLiteral("Remove files older than 30 days"),
                     QStringLiteral("Daily \u00B7 03:00")),
        ruleWithType(1, QStringLiteral("trash.fill"), QStringLiteral("Trash"),
                     QStringLiteral("Empty automatically"), QStringLiteral("Weekly \u00B7 Sunday")),
        ruleWithType(2, QStringLiteral("photo.fill"), QStringLiteral("Screenshots"),
                     places.screenshotsDescription, QStringLiteral("Daily")),
        ruleWithType(3, QStringLiteral("globe"), QStringLiteral("Browser Caches"),
                     places.browserCachesDescription, QStringLiteral("Weekly")),
        ruleWithType(4, QStringLiteral("doc.text.fill"), QStringLiteral("Application Logs"),
                     QStringLiteral("Older than 7 days"), QStringLiteral("Daily")),
        ruleWithType(5, QStringLiteral("archivebox.fill"), QStringLiteral("iOS Backups"),
                     QStringLiteral("Keep only latest 2"), QStringLiteral("Monthly")),
    };
    std::lock_guard lock(m_stateMutex);
    m_rules = rules;
}

QDateTime KSTAutoCleanManager::now() const
{
    return m_clock ? m_clock() : QDateTime::currentDateTime();
}

KSTAutoCleanManager::Snapshot KSTAutoCleanManager::snapshot() const
{
    std::lock_guard lock(m_stateMutex);
    return Snapshot{m_automationEnabled,
                    ownCopy(m_rules),
                    m_bytesSavedThisMonth,
                    m_filesRemovedThisMonth,
                    m_lastRunDate,
                    ownCopy(m_whitelistPaths),
                    ownCopy(m_keptAsideWhitelistPaths)};
}

// ---- State -----------------------------------------------------------------------------

bool KSTAutoCleanManager::automationEnabled() const
{
    std::lock_guard lock(m_stateMutex);
    return m_automationEnabled;
}

bool KSTAutoCleanManager::isAutomationActive() const
{
    return automationEnabled() && enabledRuleCount() >= 1;
}

qsizetype KSTAutoCleanManager::enabledRuleCount() const
{
    std::lock_guard lock(m_stateMutex);
    return std::count_if(m_rules.cbegin(), m_rules.cend(),
                         [](const KSTAutoCleanRuleDefinition &rule) { return rule.enabled; });
}

bool KSTAutoCleanManager::isRuleEnabledAtIndex(qsizetype index) const
{
    std::lock_guard lock(m_stateMutex);
    return index >= 0 && index < m_rules.size() && m_rules.at(index).enabled;
}

QList<KSTAutoCleanRuleDefinition> KSTAutoCleanManager::rules() const
{
    std::lock_guard lock(m_stateMutex);
    return ownCopy(m_rules);
}

QStringList KSTAutoCleanManager::whitelistPaths() const
{
    std::lock_guard lock(m_stateMutex);
    return ownCopy(m_whitelistPaths);
}

quint64 KSTAutoCleanManager::bytesSavedThisMonth() const
{
    std::lock_guard lock(m_stateMutex);
    return m_bytesSavedThisMonth;
}

quint64 KSTAutoCleanManager::filesRemovedThisMonth() const
{
    std::lock_guard lock(m_stateMutex);
    return m_filesRemovedThisMonth;
}

std::optional<QDateTime> KSTAutoCleanManager::lastRunDate() const
{
    std::lock_guard lock(m_stateMutex);
    return m_lastRunDate;
}

bool KSTAutoCleanManager::hasScheduleTimer() const
{
    std::lock_guard lock(m_timerMutex);
    return m_scheduleTimer != nullptr;
}

QString KSTAutoCleanManager::currentStatsMonthKey() const
{
    const QDate today = now().date();
    return QStringLiteral("%1-%2").arg(today.year()).arg(today.month(), 2, 10, QLatin1Char('0'));
}

// ---- Changes ---------------------------------------------------------------------------

void KSTAutoCleanManager::setAutomationEnabled(bool enabled)
{
    const bool changed = changeStoredState([this, enabled] {
        std::lock_guard lock(m_stateMutex);
        if (m_automationEnabled == enabled)
            return false;
        m_automationEnabled = enabled;
        return true;
    });
    if (!changed)
        return;
    applyAutomationConfiguration();
    postStateChange();
}

void KSTAutoCleanManager::setRuleEnabled(bool enabled, qsizetype index)
{
    const bool changed = changeStoredState([this, enabled, index] {
        std::lock_guard lock(m_stateMutex);
        if (index < 0 || index >= m_rules.size() || m_rules.at(index).enabled == enabled)
            return false;
        m_rules[index].enabled = enabled;
        return true;
    });
    if (!changed)
        return;
    applyAutomationConfiguration();
    postStateChange();
}

// ---- Schedule and runs -----------------------------------------------------------------

void KSTAutoCleanManager::applyAutomationConfiguration()
{
    std::lock_guard lock(m_timerMutex);
    // Destroying the old timer waits for a firing in progress, which only queues a run and
    // never takes this lock.
    m_scheduleTimer.reset();
    if (!isAutomationActive())
        return;
    // The timer dies before the manager (destructor), so the handler may hold it plainly.
    m_scheduleTimer =
        std::make_unique<KSTDispatchTimer>(*m_workQueue, m_firstDelay, m_interval, m_leeway,
                                           [this] { runEnabledRulesWithCompletion(nullptr); });
    m_scheduleTimer->start();
    runEnabledRulesWithCompletion(nullptr);
}

void KSTAutoCleanManager::runEnabledRulesWithCompletion(RunCompletion completion)
{
    // Without a home grant (only a sandbox can lack one) there is nothing a rule may read.
    if (!automationEnabled() || !KSTPermissionChecker::hasHomeFolderAccess()) {
        if (completion)
            KSTDispatch::mainAsync([completion = std::move(completion)] { completion(0, 0, 0); });
        return;
    }
    m_workQueue->async(
        [this, completion = std::move(completion)] { runRulesOnWorkQueue(completion); });
}

void KSTAutoCleanManager::runRulesOnWorkQueue(const RunCompletion &completion)
{
    quint64 rulesActed = 0;
    quint64 bytes = 0;
    quint64 files = 0;
    KSTPermissionChecker::performWithGrantedHomeFolderAccess([&] {
        const QList<KSTAutoCleanRuleDefinition> definitions = rules();
        for (qsizetype index = 0; index < definitions.size(); ++index) {
            // Asked rule by rule: a rule switched off while an earlier one runs is skipped.
            if (!isRuleEnabledAtIndex(index))
                continue;
            quint64 ruleBytes = 0;
            quint64 ruleFiles = 0;
            if (!executeRule(definitions.at(index), &ruleBytes, &ruleFiles))
                continue;
            qCInfo(lcAutoClean) << "rule" << definitions.at(index).title << "removed" << ruleFiles
                                << "files," << ruleBytes << "bytes";
            ++rulesActed;
            bytes += ruleBytes;
            files += ruleFiles;
        }
    });

    if (rulesActed > 0) {
        changeStoredState([this, bytes, files] {
            std::lock_guard lock(m_stateMutex);
            m_lastRunDate = now();
            m_bytesSavedThisMonth += bytes;
            m_filesRemovedThisMonth += files;
            return true;
        });
        postStateChange();
    }
    if (completion) {
        KSTDispatch::mainAsync(
            [completion, rulesActed, bytes, files] { completion(rulesActed, bytes, files); });
    }
}

void KSTAutoCleanManager::waitUntilIdle()
{
    m_workQueue->sync([] {});
}

bool KSTAutoCleanManager::executeRule(const KSTAutoCleanRuleDefinition &rule, quint64 *bytesRemoved,
                                      quint64 *filesRemoved)
{
    switch (rule.ruleType) {
    case 0:
        return cleanDownloadsOlderThanDays(30, bytesRemoved, filesRemoved);
    case 1:
        return emptyTrash(bytesRemoved, filesRemoved);
    case 2:
        return archiveScreenshots(bytesRemoved, filesRemoved);
    case 3:
        return cleanBrowserCaches(bytesRemoved, filesRemoved);
    case 4:
        return cleanApplicationLogsOlderThanDays(7, bytesRemoved, filesRemoved);
    case 5:
        return trimIOSBackupsKeeping(2, bytesRemoved, filesRemoved);
    default:
        return false;
    }
}

// ---- Persistence -----------------------------------------------------------------------

void KSTAutoCleanManager::saveState()
{
    std::lock_guard saving(m_saveMutex);
    const std::unique_ptr<QSettings> settings = KSTPreferences::suite(m_suiteName);
    QLockFile lock(settings->fileName() + QLatin1String(".change-lock"));
    lock.tryLock(LockWaitMs);
    writeStoredState();
}

bool KSTAutoCleanManager::changeStoredState(const std::function<bool()> &change)
{
    std::lock_guard saving(m_saveMutex);
    const std::unique_ptr<QSettings> settings = KSTPreferences::suite(m_suiteName);
    // QSettings locks "<file>.lock" only around its own write; the read-modify-write needs a
    // lock of its own. Another process holding it longer than this is stuck; a change is
    // still better saved than dropped.
    QLockFile lock(settings->fileName() + QLatin1String(".change-lock"));
    lock.tryLock(LockWaitMs);
    readStoredState();
    if (!change())
        return false;
    writeStoredState();
    return true;
}

void KSTAutoCleanManager::writeStoredState()
{
    const Snapshot state = snapshot();
    const std::unique_ptr<QSettings> settings = KSTPreferences::suite(m_suiteName);
    settings->setValue(AutomationEnabledKey, state.automationEnabled);
    for (const KSTAutoCleanRuleDefinition &rule : state.rules)
        settings->setValue(ruleEnabledKey(rule.ruleType), rule.enabled);
    settings->setValue(BytesSavedKey, state.bytesSavedThisMonth);
    settings->setValue(FilesRemovedKey, state.filesRemovedThisMonth);
    if (state.lastRunDate)
        settings->setValue(LastRunDateKey, *state.lastRunDate);
    else
        settings->remove(LastRunDateKey);
    settings->setValue(StatsMonthKey, currentStatsMonthKey());
    settings->setValue(WhitelistPathsKey, state.whitelistPaths);
    if (state.keptAsideWhitelistPaths.isEmpty())
        settings->remove(KeptAsideWhitelistPathsKey);
    else
        settings->setValue(KeptAsideWhitelistPathsKey, state.keptAsideWhitelistPaths);
    settings->sync();
}

void KSTAutoCleanManager::readStoredState()
{
    const std::unique_ptr<QSettings> settings = KSTPreferences::suite(m_suiteName);
    QStringList whitelist;
    for (const QString &entry : storedList(*settings, WhitelistPathsKey)) {
        const QString normalized = normalizedWhitelistPath(entry);
        if (!normalized.isEmpty())
            whitelist << normalized;
    }
    const QDateTime lastRun = settings->value(LastRunDateKey).toDateTime();

    std::lock_guard lock(m_stateMutex);
    m_automationEnabled = settings->value(AutomationEnabledKey).toBool();
    for (KSTAutoCleanRuleDefinition &rule : m_rules)
        rule.enabled = settings->value(ruleEnabledKey(rule.ruleType)).toBool();
    m_bytesSavedThisMonth = settings->value(BytesSavedKey).toULongLong();
    m_filesRemovedThisMonth = settings->value(FilesRemovedKey).toULongLong();
    m_lastRunDate = lastRun.isValid() ? std::optional<QDateTime>(lastRun) : std::nullopt;
    m_whitelistPaths = whitelist;
    m_keptAsideWhitelistPaths = storedList(*settings, KeptAsideWhitelistPathsKey);
}

void KSTAutoCleanManager::loadPersistedState()
{
    if (!m_isLaunch) {
        readStoredState();
        return;
    }
    const std::unique_ptr<QSettings> settings = KSTPreferences::suite(m_suiteName);
    const bool storedSwitch = settings->value(AutomationEnabledKey).toBool();
    if (storedSwitch) {
        // The launch below empties the never-touch list; keep it aside first, together with
        // a list kept aside before and not dealt with yet.
        QStringList keptAside = storedList(*settings, KeptAsideWhitelistPathsKey);
        for (const QString &entry : storedList(*settings, WhitelistPathsKey)) {
            if (!entry.isEmpty() && !keptAside.contains(entry))
                keptAside << entry;
        }
        std::lock_guard lock(m_stateMutex);
        m_keptAsideWhitelistPaths = keptAside;
    }

    // Applying the switch first saves the state held at that moment before anything else is
    // read, so a stored "on" wipes the rules, totals and list read below. Kept on purpose:
    // it is how a launch of Kestrel has always behaved.
    bool changed = false;
    {
        std::lock_guard lock(m_stateMutex);
        changed = m_automationEnabled != storedSwitch;
        m_automationEnabled = storedSwitch;
    }
    if (changed) {
        saveState();
        applyAutomationConfiguration();
        postStateChange();
    }
    readStoredState();
}

void KSTAutoCleanManager::resetMonthlyStatsIfNeeded()
{
    const QString storedMonth = KSTPreferences::suite(m_suiteName)->value(StatsMonthKey).toString();
    if (storedMonth.isEmpty() || storedMonth == currentStatsMonthKey())
        return;
    changeStoredState([this] {
        std::lock_guard lock(m_stateMutex);
        m_bytesSavedThisMonth = 0;
        m_filesRemovedThisMonth = 0;
        return true;
    });
}

void KSTAutoCleanManager::postStateChange()
{
    // The object is an identity for observers, never dereferenced, so a notification still
    // queued when a (test) manager goes away is harmless.
    const void *object = this;
    KSTDispatch::mainAsync([object] {
        KSTNotificationCenter::defaultCenter().post(StateDidChangeNotification, object);
    });
}
