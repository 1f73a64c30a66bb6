#include "KSTAutoCleanRuleRow.h"

#include "KSTStyle.h"
#include "KSTSymbolView.h"
#include "KSTToggleSwitch.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

KSTAutoCleanRuleRow::KSTAutoCleanRuleRow(const KSTAutoCleanRuleDefinition &rule, QWidget *parent)
    : QWidget(parent), m_ruleType(rule.ruleType)
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 6, 0, 6);
    layout->setSpacing(14);
    m_symbol = new KSTSymbolView(rule.symbolName, colorNameForRuleType(rule.ruleType), 17, this);
    m_symbol->setTile(34);
    layout->addWidget(m_symbol);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(2);
    m_title = KSTStyle::label({}, KSTStyle::Body, this);
    m_title->setObjectName(QStringLiteral("ruleTitle"));
    m_title->setStyleSheet(QStringLiteral("font-weight: 500;"));
    texts->addWidget(m_title);
    m_detail = KSTStyle::label({}, KSTStyle::Secondary, this);
    texts->addWidget(m_detail);
    layout->addLayout(texts, 1);

    auto *scheduleRow = new QHBoxLayout;
    scheduleRow->setSpacing(5);
    scheduleRow->addWidget(new KSTSymbolView(QStringLiteral("calendar"), {}, 13, this));
    m_schedule = KSTStyle::label({}, KSTStyle::Secondary, this);
    m_schedule->setObjectName(QStringLiteral("ruleSchedule"));
    m_schedule->setMinimumWidth(96);
    scheduleRow->addWidget(m_schedule);
    layout->addLayout(scheduleRow);
    layout->addSpacing(12);

    m_toggle = new KSTToggleSwitch(this);
    m_toggle->setObjectName(QStringLiteral("ruleSwitch"));
    m_toggle->setAccessibleName(rule.title);
    layout->addWidget(m_toggle);
    connect(m_toggle, &KSTToggleSwitch::clicked, this,
            [this](bool checked) { Q_EMIT toggled(m_ruleType, checked); });
    setRule(rule);
}

void KSTAutoCleanRuleRow::setRule(const KSTAutoCleanRuleDefinition &rule)
{
    m_ruleType = rule.ruleType;
    m_symbol->setSymbolName(rule.symbolName);
    m_title->setText(rule.title);
    m_detail->setText(rule.detail);
    m_schedule->setText(rule.schedule);
    m_toggle->setChecked(rule.enabled);
}

QString KSTAutoCleanRuleRow::colorNameForRuleType(quint64 ruleType)
{
    static const char *const colors[] = {"sky", "rose", "violet", "blue", "amber", "orange"};
    return QLatin1String(colors[ruleType % 6]);
}
