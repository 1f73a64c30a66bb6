#pragma once

#include "KSTCardFrame.h"

#include <QList>
#include <QPair>
#include <QString>

class QLabel;
struct KSTDuplicateLinkOutcome;
struct KSTDuplicateRemovalOutcome;

/// What the last removal (or replacement with clones) on the Duplicates screen did: one line
/// of what moved, then each file left in place with why (the first few, then how many more).
/// Tinted green when nothing was left, amber otherwise; hidden until something is shown.
class KSTDuplicateOutcomeCard : public KSTCardFrame
{
    Q_OBJECT

public:
    explicit KSTDuplicateOutcomeCard(QWidget *parent = nullptr);

    void showRemoval(const KSTDuplicateRemovalOutcome &outcome);
    void showLinking(const KSTDuplicateLinkOutcome &outcome);

private:
    void showLines(const QString &headline, const QList<QPair<QString, QString>> &leftInPlace);

    QLabel *m_headline = nullptr;
    QLabel *m_leftInPlace = nullptr;
};
