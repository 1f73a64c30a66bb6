#include "KSTShortcutListView.h"

#include "KSTCardFrame.h"
#include "KSTLayoutWords.h"
#include "KSTSectionCatalog.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

struct Shortcut
{
    int section;
    const char *title;
    const char *detail;
    const char *color;
};

const Shortcut Shortcuts[] = {
    {KSTSectionCatalog::CleanUp, "Clean Up Storage", "Caches, logs and leftovers", "sky"},
    {KSTSectionCatalog::Duplicates, "Find Duplicates", "Identical files in your folders", "violet"},
    {KSTSectionCatalog::AppManage, "Manage Apps", "Sizes, sources and uninstalling", "blue"},
    {KSTSectionCatalog::AutoClean, "Automatic Clean Up", "Rules that run every hour", "emerald"},
};

} // namespace

KSTShortcutListView::KSTShortcutListView(QWidget *parent) : QWidget(parent)
{
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *card = new KSTCardFrame(this);
    outer->addWidget(card);
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(14, 16, 14, 12);
    layout->setSpacing(2);
    QHBoxLayout *header =
        KSTCardFrame::headerRow(card, QStringLiteral("Shortcuts"), KSTStyle::Headline);
    header->setContentsMargins(6, 0, 0, 8);
    layout->addLayout(header);

    for (const Shortcut &shortcut : Shortcuts) {
        QPushButton *button = addRow(card, KSTSectionCatalog::symbolName(shortcut.section),
                                     QLatin1String(shortcut.color), QLatin1String(shortcut.title),
                                     QLatin1String(shortcut.detail));
        button->setObjectName(QStringLiteral("shortcut%1").arg(shortcut.section));
        const int section = shortcut.section;
        connect(button, &QPushButton::clicked, this,
                [this, section] { Q_EMIT didRequestSection(section); });
        layout->addWidget(button);
    }
    QPushButton *report = addRow(card, QStringLiteral("doc.text.fill"), QStringLiteral("amber"),
                                 QStringLiteral("System Report"),
                                 QStringLiteral("Every detail of %1, to save or share")
                                     .arg(KSTLayoutWords::current().thisComputer));
    report->setObjectName(QStringLiteral("shortcutSystemReport"));
    connect(report, &QPushButton::clicked, this, &KSTShortcutListView::didRequestSystemReport);
    layout->addWidget(report);
    layout->addStretch(1);
}

QPushButton *KSTShortcutListView::addRow(QWidget *card, const QString &symbolName,
                                         const QString &colorName, const QString &title,
                                         const QString &detail)
{
    auto *button = new QPushButton(card);
    KSTStyle::setButtonRole(button, KSTStyle::PlainButton);
    button->setAccessibleName(title);
    button->setFixedHeight(48);
    auto *row = new QHBoxLayout(button);
    row->setContentsMargins(6, 0, 6, 0);
    row->setSpacing(12);
    auto *symbol = new KSTSymbolView(symbolName, colorName, 16, button);
    symbol->setTile(30);
    row->addWidget(symbol);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(1);
    QLabel *titleLabel = KSTStyle::label(title, KSTStyle::Body, button);
    titleLabel->setStyleSheet(QStringLiteral("font-weight: 500;"));
    texts->addWidget(titleLabel);
    texts->addWidget(KSTStyle::label(detail, KSTStyle::Caption, button));
    row->addLayout(texts, 1);
    row->addWidget(new KSTSymbolView(QStringLiteral("chevron.right"), {}, 14, button));
    for (QLabel *label : button->findChildren<QLabel *>())
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
    return button;
}

QList<int> KSTShortcutListView::shortcutSections()
{
    QList<int> sections;
    for (const Shortcut &shortcut : Shortcuts)
        sections << shortcut.section;
    return sections;
}
