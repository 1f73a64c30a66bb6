#pragma once

#include "KSTAutoCleanRuleDefinition.h"

#include <QWidget>

class KSTSymbolView;
class KSTToggleSwitch;
class QLabel;

/// One auto-clean rule on the Auto Clean screen: its symbol, title, detail and schedule
/// label, and its switch. The switch reports the user's choice (toggled); the row shows
/// whatever the manager says afterwards (setRule).
class KSTAutoCleanRuleRow : public QWidget
{
    Q_OBJECT

public:
    explicit KSTAutoCleanRuleRow(const KSTAutoCleanRuleDefinition &rule, QWidget *parent = nullptr);

    void setRule(const KSTAutoCleanRuleDefinition &rule);
    quint64 ruleType() const { return m_ruleType; }

    /// The tile colour of a rule's symbol.
    static QString colorNameForRuleType(quint64 ruleType);

Q_SIGNALS:
    void toggled(quint64 ruleType, bool enabled);

private:
    quint64 m_ruleType = 0;
    KSTSymbolView *m_symbol = nullptr;
    QLabel *m_title = nullptr;
    QLabel *m_detail = nullptr;
    QLabel *m_schedule = nullptr;
    KSTToggleSwitch *m_toggle = nullptr;
};
