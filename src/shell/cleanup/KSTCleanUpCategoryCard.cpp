#include "KSTCleanUpCategoryCard.h"

#include "KSTElidedLabel.h"
#include "KSTFormatting.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace {

struct CategoryLook
{
    const char *type;
    const char *symbol;
    const char *color;
};

constexpr CategoryLook Looks[] = {
    {"systemJunk", "folder.badge.gearshape", "sky"},
    {"trashes", "trash.fill", "rose"},
    {"largeFiles", "square.stack.3d.up.fill", "amber"},
    {"removable", "shippingbox.fill", "violet"},
};

const CategoryLook *lookFor(const QString &categoryType)
{
    for (const CategoryLook &look : Looks) {
        if (categoryType == QLatin1String(look.type))
            return &look;
    }
    return nullptr;
}

} // namespace

KSTCleanUpCategoryCard::KSTCleanUpCategoryCard(QWidget *parent) : KSTCardFrame(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 14, 14);
    layout->setSpacing(0);

    auto *header = new QHBoxLayout;
    header->setSpacing(10);
    m_symbol = new KSTSymbolView({}, {}, 16, this);
    m_symbol->setTile(32);
    header->addWidget(m_symbol, 0, Qt::AlignTop);
    auto *titles = new QVBoxLayout;
    titles->setSpacing(1);
    m_title = KSTStyle::label({}, KSTStyle::Headline, this);
    m_title->setObjectName(QStringLiteral("categoryTitle"));
    titles->addWidget(m_title);
    m_total = KSTStyle::label({}, KSTStyle::Title, this);
    m_total->setObjectName(QStringLiteral("categoryTotal"));
    titles->addWidget(m_total);
    header->addLayout(titles, 1);
    layout->addLayout(header);
    layout->addSpacing(8);

    m_description = KSTStyle::label({}, KSTStyle::Caption, this);
    m_description->setWordWrap(true);
    // Two lines whatever the description, so the four cards' lists start level.
    m_description->setMinimumHeight(m_description->fontMetrics().lineSpacing() * 2 + 2);
    m_description->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    layout->addWidget(m_description);
    layout->addSpacing(8);

    auto *line = new QWidget(this);
    line->setFixedHeight(1);
    line->setProperty("kstRole", QStringLiteral("separator"));
    line->setAttribute(Qt::WA_StyledBackground);
    layout->addWidget(line);
    layout->addSpacing(6);

    m_rows = new QVBoxLayout;
    m_rows->setSpacing(2);
    layout->addLayout(m_rows);
    layout->addStretch(1);
}

void KSTCleanUpCategoryCard::setCategory(const KSTCleanUpCategory &category, bool placeholder)
{
    m_symbol->setSymbolName(symbolNameForCategoryType(category.categoryType));
    m_symbol->setColorName(colorNameForCategoryType(category.categoryType));
    m_title->setText(category.name);
    m_description->setText(category.categoryDescription);
    m_total->setText(placeholder ? QStringLiteral("…")
                                 : KSTFormatting::formatBytesShort(category.totalBytes));

    while (QLayoutItem *item = m_rows->takeAt(0)) {
        delete item->widget(); // plain labels: nothing of theirs is on the stack
        delete item;
    }
    const auto addRow = [this](const QString &name, const QString &size, const char *role,
                               const QString &toolTip = {}) {
        auto *row = new QWidget(this);
        auto *rowLayout = new QHBoxLayout(row);
        rowLayout->setContentsMargins(0, 2, 0, 2);
        rowLayout->setSpacing(8);
        auto *label = new KSTElidedLabel(name, role, row);
        label->setObjectName(QStringLiteral("categoryRow"));
        // A point smaller than body text: four cards share the row, and names are long.
        if (role == KSTStyle::Body)
            label->setStyleSheet(QStringLiteral("font-size: 12px;"));
        if (!toolTip.isEmpty())
            label->setToolTip(toolTip);
        rowLayout->addWidget(label, 1);
        if (!size.isEmpty())
            rowLayout->addWidget(KSTStyle::label(size, KSTStyle::Secondary, row));
        m_rows->addWidget(row);
    };
    if (category.items.isEmpty() && !placeholder)
        addRow(QStringLiteral("Nothing to clean"), {}, KSTStyle::Secondary);
    const qsizetype shown = std::min(category.items.size(), MaximumShownItems);
    for (qsizetype index = 0; index < shown; ++index) {
        const KSTCleanUpItem &item = category.items.at(index);
        addRow(item.name, placeholder ? QString() : KSTFormatting::formatBytesShort(item.bytes),
               placeholder ? KSTStyle::Secondary : KSTStyle::Body, item.displayPath);
    }
    if (category.items.size() > shown) {
        addRow(QStringLiteral("and %1 more").arg(category.items.size() - shown), {},
               KSTStyle::Caption);
    }
}

QString KSTCleanUpCategoryCard::symbolNameForCategoryType(const QString &categoryType)
{
    const CategoryLook *look = lookFor(categoryType);
    return look ? QLatin1String(look->symbol) : QStringLiteral("sparkles");
}

QString KSTCleanUpCategoryCard::colorNameForCategoryType(const QString &categoryType)
{
    const CategoryLook *look = lookFor(categoryType);
    return look ? QLatin1String(look->color) : QStringLiteral("zinc");
}
