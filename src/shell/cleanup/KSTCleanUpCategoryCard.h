#pragma once

#include "KSTCardFrame.h"
#include "KSTCleanUpSnapshot.h"

#include <QStringList>

class KSTSymbolView;
class QLabel;
class QVBoxLayout;

/// One of the four category cards of the Clean Up screen: the category's symbol, title and
/// description, its reclaimable total, and its short list (the category's `items`, never
/// `allItems`) with each entry's size.
///
/// A placeholder category (a scan under way) shows its "Scanning…" description and its one
/// waiting entry without sizes or total, so nothing on the card claims a figure that is not
/// measured yet.
class KSTCleanUpCategoryCard : public KSTCardFrame
{
    Q_OBJECT

public:
    /// Entries shown at most; the rest are summed up in one "and N more" line.
    static constexpr qsizetype MaximumShownItems = 5;

    explicit KSTCleanUpCategoryCard(QWidget *parent = nullptr);

    void setCategory(const KSTCleanUpCategory &category, bool placeholder);

    /// The symbol and palette colour of a category type ("systemJunk", …); a neutral pair
    /// for an unknown type.
    static QString symbolNameForCategoryType(const QString &categoryType);
    static QString colorNameForCategoryType(const QString &categoryType);

private:
    KSTSymbolView *m_symbol = nullptr;
    QLabel *m_title = nullptr;
    QLabel *m_description = nullptr;
    QLabel *m_total = nullptr;
    QVBoxLayout *m_rows = nullptr;
};
