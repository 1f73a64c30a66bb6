#include "KSTAutoCleanScreen.h"

#include "KSTAutoCleanManager.h"
#include "KSTAutoCleanRuleRow.h"
#include "KSTCardFrame.h"
#include "KSTFormatting.h"
#include "KSTHeaderCard.h"
#include "KSTKeptAsideBanner.h"
#include "KSTNeverTouchListView.h"
#include "KSTNotificationCenter.h"
#include "KSTPermissionChecker.h"
#include "KSTStyle.h"
#include "KSTToggleSwitch.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

namespace {

QWidget *statisticTile(const QString &title, const QString &symbol, const QString &color,
                       QLabel *value)
{
    auto *card = new KSTCardFrame;
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(18, 12, 18, 12);
    layout->setSpacing(4);
    layout->addLayout(KSTCardFrame::headerRow(card, title, KSTStyle::Secondary, symbol, color, 15));
    value->setParent(card);
    layout->addWidget(value);
    return card;
}

} // namespace

KSTAutoCleanScreen::KSTAutoCleanScreen(KSTAutoCleanManager &manager, QWidget *parent)
    : KSTToolScreen(parent), m_manager(manager)
{
    setObjectName(QStringLiteral("autoCleanScreen"));
    m_folderPicker = [](QWidget *dialogParent) {
        return QFileDialog::getExistingDirectory(
            dialogParent, QStringLiteral("Choose a Folder Auto Clean Never Touches"),
            KSTPermissionChecker::accessibleUserHomeDirectoryPath());
    };

    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto *content = new QWidget;
    auto *layout = new QVBoxLayout(content);
    layout->setContentsMargins(28, 20, 28, 28);
    layout->setSpacing(14);
    m_keptAside = new KSTKeptAsideBanner;
    m_keptAside->setObjectName(QStringLiteral("keptAsideBanner"));
    connect(m_keptAside, &KSTKeptAsideBanner::restoreRequested, this, [this] {
        m_manager.restoreKeptAsideWhitelistPaths();
        refresh();
    });
    connect(m_keptAside, &KSTKeptAsideBanner::dismissRequested, this, [this] {
        m_manager.dismissKeptAsideWhitelistPaths();
        refresh();
    });
    layout->addWidget(m_keptAside);
    layout->addWidget(buildMasterCard());
    layout->addWidget(buildStatistics());
    layout->addWidget(buildRulesCard());
    m_neverTouch = new KSTNeverTouchListView;
    m_neverTouch->setObjectName(QStringLiteral("neverTouchList"));
    connect(m_neverTouch, &KSTNeverTouchListView::addRequested, this,
            &KSTAutoCleanScreen::addNeverTouchFolder);
    connect(m_neverTouch, &KSTNeverTouchListView::removeRequested, this,
            &KSTAutoCleanScreen::removeNeverTouchPath);
    layout->addWidget(m_neverTouch);
    layout->addStretch(1);
    scroll->setWidget(content);
    outer->addWidget(scroll);

    KSTNotificationCenter::defaultCenter().addObserver(
        KSTAutoCleanManager::StateDidChangeNotification, this,
        [this](const KSTNotification &notification) {
            if (notification.object == &m_manager)
                refresh();
        });
    refresh();
}

QWidget *KSTAutoCleanScreen::buildMasterCard()
{
    KSTHeaderCard::Look look;
    look.symbolSize = 20;
    look.tileSize = 40;
    look.titleRole = KSTStyle::Headline;
    auto *card = new KSTHeaderCard(QStringLiteral("gearshape.2.fill"), QStringLiteral("emerald"),
                                   {}, QStringLiteral("automationStatus"), look);
    card->titleLabel()->setText(QStringLiteral("Automatic Cleaning"));
    m_status = card->subtitleLabel();
    m_masterSwitch = new KSTToggleSwitch(card);
    m_masterSwitch->setObjectName(QStringLiteral("automationSwitch"));
    m_masterSwitch->setAccessibleName(QStringLiteral("Automatic Cleaning"));
    connect(m_masterSwitch, &KSTToggleSwitch::clicked, this, [this](bool checked) {
        m_manager.setAutomationEnabled(checked);
        refresh();
    });
    card->addTrailingWidget(m_masterSwitch);
    return card;
}

QWidget *KSTAutoCleanScreen::buildStatistics()
{
    auto *row = new QWidget;
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(16);
    m_bytesSaved = KSTStyle::label({}, KSTStyle::Value);
    m_bytesSaved->setObjectName(QStringLiteral("bytesSaved"));
    layout->addWidget(statisticTile(QStringLiteral("Saved this month"),
                                    QStringLiteral("internaldrive"), QStringLiteral("emerald"),
                                    m_bytesSaved),
                      1);
    m_filesRemoved = KSTStyle::label({}, KSTStyle::Value);
    m_filesRemoved->setObjectName(QStringLiteral("filesRemoved"));
    layout->addWidget(statisticTile(QStringLiteral("Items removed this month"),
                                    QStringLiteral("trash.fill"), QStringLiteral("rose"),
                                    m_filesRemoved),
                      1);
    m_lastRun = KSTStyle::label({}, KSTStyle::Value);
    m_lastRun->setObjectName(QStringLiteral("lastRun"));
    layout->addWidget(statisticTile(QStringLiteral("Last run"), QStringLiteral("clock"),
                                    QStringLiteral("sky"), m_lastRun),
                      1);
    return row;
}

QWidget *KSTAutoCleanScreen::buildRulesCard()
{
    auto *card = new KSTCardFrame;
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 10);
    layout->setSpacing(0);
    layout->addLayout(KSTCardFrame::headerRow(card, QStringLiteral("Rules"), KSTStyle::Headline));
    layout->addSpacing(2);
    layout->addWidget(KSTStyle::label(
        QStringLiteral("While automation is on, every enabled rule runs once an hour. Rules "
                       "delete for good; they do not use the Trash."),
        KSTStyle::Secondary, card));
    layout->addSpacing(8);
    bool first = true;
    for (const KSTAutoCleanRuleDefinition &rule : m_manager.rules()) {
        if (!first) {
            // A hairline that starts at the titles, as the Mac's grouped lists draw it.
            auto *separator = new QHBoxLayout;
            separator->setContentsMargins(48, 0, 0, 0);
            auto *line = new QWidget(card);
            line->setFixedHeight(1);
            line->setProperty("kstRole", QStringLiteral("separator"));
            line->setAttribute(Qt::WA_StyledBackground);
            separator->addWidget(line);
            layout->addLayout(separator);
        }
        first = false;
        auto *row = new KSTAutoCleanRuleRow(rule, card);
        row->setObjectName(QStringLiteral("rule%1").arg(rule.ruleType));
        connect(row, &KSTAutoCleanRuleRow::toggled, this, [this](quint64 ruleType, bool enabled) {
            m_manager.setRuleEnabled(enabled, qsizetype(ruleType));
            refresh();
        });
        m_ruleRows << row;
        layout->addWidget(row);
    }
    return card;
}

void KSTAutoCleanScreen::setFolderPicker(FolderPicker picker)
{
    m_folderPicker = std::move(picker);
}

void KSTAutoCleanScreen::refresh()
{
    const bool enabled = m_manager.automationEnabled();
    m_masterSwitch->setChecked(enabled);
    if (m_manager.isAutomationActive())
        m_status->setText(QStringLiteral("On · enabled rules run every hour"));
    else if (enabled)
        m_status->setText(QStringLiteral("On · turn on a rule below for it to run"));
    else
        m_status->setText(QStringLiteral("Off · nothing is cleaned automatically"));

    m_bytesSaved->setText(KSTFormatting::formatBytes(m_manager.bytesSavedThisMonth()));
    m_filesRemoved->setText(KSTFormatting::formatCount(m_manager.filesRemovedThisMonth()));
    const std::optional<QDateTime> lastRun = m_manager.lastRunDate();
    m_lastRun->setText(lastRun ? KSTFormatting::formatRelativeScanTime(lastRun)
                               : QStringLiteral("Not yet"));

    const QList<KSTAutoCleanRuleDefinition> rules = m_manager.rules();
    for (KSTAutoCleanRuleRow *row : std::as_const(m_ruleRows)) {
        for (const KSTAutoCleanRuleDefinition &rule : rules) {
            if (rule.ruleType == row->ruleType())
                row->setRule(rule);
        }
    }
    m_neverTouch->setPaths(m_manager.whitelistPaths());
    m_keptAside->setPaths(m_manager.keptAsideWhitelistPaths());
}

void KSTAutoCleanScreen::addNeverTouchFolder()
{
    const QString path = m_folderPicker ? m_folderPicker(this) : QString();
    if (path.isEmpty())
        return;
    const QString shown = KSTAutoCleanManager::normalizedWhitelistPath(path);
    if (m_manager.addWhitelistPath(path)) {
        m_neverTouch->setNotice({});
    } else if (m_manager.containsWhitelistPathEquivalentTo(path)) {
        m_neverTouch->setNotice(QStringLiteral("%1 is already on the list.").arg(shown));
    } else {
        m_neverTouch->setNotice(
            QStringLiteral("%1 could not be added: it no longer exists.").arg(shown));
    }
    refresh();
}

void KSTAutoCleanScreen::removeNeverTouchPath(const QString &path)
{
    m_manager.removeWhitelistPath(path);
    m_neverTouch->setNotice({});
    refresh();
}

void KSTAutoCleanScreen::showEvent(QShowEvent *event)
{
    // The last run is shown relative to now.
    refresh();
    KSTToolScreen::showEvent(event);
}
