#include "KSTDuplicateOutcomeCard.h"

#include "KSTDuplicateFolderOptions.h"
#include "KSTDuplicateReviewModel.h"
#include "KSTFormatting.h"
#include "KSTStyle.h"

#include <QLabel>
#include <QVBoxLayout>

namespace {

constexpr qsizetype LeftInPlaceShown = 6;

QString copies(quint64 count)
{
    return count == 1 ? QStringLiteral("1 copy") : QStringLiteral("%1 copies").arg(count);
}

template <typename Skipped> QList<QPair<QString, QString>> pathsAndReasons(const Skipped &skipped)
{
    QList<QPair<QString, QString>> lines;
    for (const auto &entry : skipped)
        lines.append({entry.path, entry.reason});
    return lines;
}

} // namespace

KSTDuplicateOutcomeCard::KSTDuplicateOutcomeCard(QWidget *parent) : KSTCardFrame(parent)
{
    setObjectName(QStringLiteral("outcomeCard"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 10, 20, 10);
    layout->setSpacing(4);
    m_headline = KSTStyle::label({}, KSTStyle::Headline, this);
    m_headline->setObjectName(QStringLiteral("removalOutcome"));
    layout->addWidget(m_headline);
    m_leftInPlace = KSTStyle::label({}, KSTStyle::Secondary, this);
    m_leftInPlace->setObjectName(QStringLiteral("leftInPlace"));
    m_leftInPlace->setWordWrap(true);
    layout->addWidget(m_leftInPlace);
    hide();
}

void KSTDuplicateOutcomeCard::showRemoval(const KSTDuplicateRemovalOutcome &outcome)
{
    showLines(outcome.itemsRemoved == 0
                  ? QStringLiteral("Nothing was moved to the Trash.")
                  : QStringLiteral("Moved %1 (%2) to the Trash.")
                        .arg(copies(outcome.itemsRemoved),
                             KSTFormatting::formatBytesShort(outcome.bytesRemoved)),
              pathsAndReasons(outcome.skipped));
}

void KSTDuplicateOutcomeCard::showLinking(const KSTDuplicateLinkOutcome &outcome)
{
    showLines(outcome.itemsLinked == 0
                  ? QStringLiteral("No copy was replaced with a clone.")
                  : QStringLiteral("Replaced %1 with clones; %2 freed.")
                        .arg(copies(outcome.itemsLinked),
                             KSTFormatting::formatBytesShort(outcome.bytesFreed)),
              pathsAndReasons(outcome.skipped));
}

void KSTDuplicateOutcomeCard::showLines(const QString &headline,
                                        const QList<QPair<QString, QString>> &leftInPlace)
{
    const qsizetype left = leftInPlace.size();
    if (left == 0)
        m_headline->setText(headline);
    else if (left == 1)
        m_headline->setText(headline + QStringLiteral(" 1 file was left in place:"));
    else
        m_headline->setText(headline + QStringLiteral(" %1 files were left in place:").arg(left));
    QStringList lines;
    for (qsizetype index = 0; index < left && index < LeftInPlaceShown; ++index) {
        lines << KSTDuplicateFolderOptions::displayPathFor(leftInPlace.at(index).first) +
                     QStringLiteral(" — ") + leftInPlace.at(index).second;
    }
    if (left > LeftInPlaceShown)
        lines << QStringLiteral("… and %1 more").arg(left - LeftInPlaceShown);
    m_leftInPlace->setText(lines.join(QLatin1Char('\n')));
    m_leftInPlace->setVisible(left > 0);
    setTintColorName(left == 0 ? QStringLiteral("emerald") : QStringLiteral("amber"));
    show();
}
