#include "KSTDuplicateSetupView.h"

#include "KSTCardFrame.h"
#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"
#include "KSTSymbolView.h"
#include "KSTToggleSwitch.h"

#include <QAbstractItemView>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

KSTDuplicateSetupView::KSTDuplicateSetupView(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("duplicateSetup"));
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *card = new KSTCardFrame(this);
    outer->addWidget(card);
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(28, 24, 28, 22);
    layout->setSpacing(12);

    auto *header = new QHBoxLayout;
    header->setSpacing(16);
    auto *symbol =
        new KSTSymbolView(QStringLiteral("doc.on.doc.fill"), QStringLiteral("blue"), 24, card);
    symbol->setTile(48);
    header->addWidget(symbol, 0, Qt::AlignTop);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(4);
    texts->addWidget(
        KSTStyle::label(QStringLiteral("Find duplicate files"), KSTStyle::Title, card));
    auto *intro = KSTStyle::label(
        QStringLiteral("Kestrel compares the files in the folders you tick by their content and "
                       "groups identical copies. Nothing is removed until you choose; removed "
                       "copies go to the Trash."),
        KSTStyle::Secondary, card);
    intro->setWordWrap(true);
    texts->addWidget(intro);
    header->addLayout(texts, 1);
    layout->addLayout(header);
    layout->addSpacing(4);

    layout->addWidget(KSTStyle::label(QStringLiteral("FOLDERS"), KSTStyle::GroupHeader, card));
    m_list = new QListWidget(card);
    m_list->setObjectName(QStringLiteral("folderList"));
    m_list->setIconSize(QSize(18, 18));
    m_list->setUniformItemSizes(true);
    m_list->setSpacing(5);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setFocusPolicy(Qt::NoFocus);
    layout->addWidget(m_list, 1);

    auto *folderButtons = new QHBoxLayout;
    folderButtons->setSpacing(8);
    auto *add = new QPushButton(QStringLiteral("Add Folder…"), card);
    add->setObjectName(QStringLiteral("addFolderButton"));
    KSTStyle::setButtonRole(add, KSTStyle::SecondaryButton);
    folderButtons->addWidget(add);
    m_removeFolder = new QPushButton(QStringLiteral("Remove Folder"), card);
    m_removeFolder->setObjectName(QStringLiteral("removeFolderButton"));
    KSTStyle::setButtonRole(m_removeFolder, KSTStyle::SecondaryButton);
    folderButtons->addWidget(m_removeFolder);
    folderButtons->addStretch(1);
    layout->addLayout(folderButtons);

    auto *separator = new QWidget(card);
    separator->setFixedHeight(1);
    separator->setProperty("kstRole", QStringLiteral("separator"));
    separator->setAttribute(Qt::WA_StyledBackground);
    layout->addWidget(separator);

    auto *footer = new QHBoxLayout;
    footer->setSpacing(10);
    m_scanOnOpen = new KSTToggleSwitch(card);
    m_scanOnOpen->setObjectName(QStringLiteral("scanOnOpenSwitch"));
    footer->addWidget(m_scanOnOpen);
    footer->addWidget(KSTStyle::label(
        QStringLiteral("Scan these folders whenever Duplicate Files opens"), KSTStyle::Body, card));
    footer->addStretch(1);
    m_lastResults = new QPushButton(QStringLiteral("Show Last Results"), card);
    m_lastResults->setObjectName(QStringLiteral("lastResultsButton"));
    KSTStyle::setButtonRole(m_lastResults, KSTStyle::SecondaryButton);
    m_lastResults->hide();
    footer->addWidget(m_lastResults);
    m_scan = new QPushButton(QStringLiteral("Scan for Duplicates"), card);
    m_scan->setObjectName(QStringLiteral("scanButton"));
    KSTStyle::setButtonRole(m_scan, KSTStyle::PrimaryButton);
    footer->addWidget(m_scan);
    layout->addLayout(footer);

    connect(add, &QPushButton::clicked, this, &KSTDuplicateSetupView::addFolderRequested);
    connect(m_removeFolder, &QPushButton::clicked, this,
            &KSTDuplicateSetupView::removeCurrentFolder);
    connect(m_scan, &QPushButton::clicked, this, &KSTDuplicateSetupView::scanRequested);
    connect(m_lastResults, &QPushButton::clicked, this,
            &KSTDuplicateSetupView::lastResultsRequested);
    connect(m_scanOnOpen, &KSTToggleSwitch::clicked, this,
            &KSTDuplicateSetupView::scanOnOpenEdited);
    connect(m_list, &QListWidget::itemChanged, this, &KSTDuplicateSetupView::rowChanged);
    connect(m_list, &QListWidget::currentRowChanged, this, &KSTDuplicateSetupView::refreshButtons);
    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this, [this] {
        restyle();
        rebuild();
    });
    restyle();
    refreshButtons();
}

void KSTDuplicateSetupView::setOptions(const QList<KSTDuplicateFolderOption> &options)
{
    m_options = options;
    rebuild();
}

void KSTDuplicateSetupView::setScanOnOpen(bool on)
{
    m_scanOnOpen->setChecked(on);
}

bool KSTDuplicateSetupView::scanOnOpen() const
{
    return m_scanOnOpen->isChecked();
}

void KSTDuplicateSetupView::setLastResultsAvailable(bool available)
{
    m_lastResults->setVisible(available);
}

void KSTDuplicateSetupView::rebuild()
{
    m_rebuilding = true;
    const int current = m_list->currentRow();
    m_list->clear();
    const QIcon folder(KSTSymbolImage::pixmap(QStringLiteral("folder"), KSTPalette::accent(), 18,
                                              devicePixelRatioF()));
    const QIcon added(KSTSymbolImage::pixmap(QStringLiteral("folder.badge.plus"),
                                             KSTPalette::accent(), 18, devicePixelRatioF()));
    for (const KSTDuplicateFolderOption &option : std::as_const(m_options)) {
        auto *row =
            new QListWidgetItem(option.isCustom ? added : folder,
                                option.name + QStringLiteral("   ") + option.displayPath, m_list);
        row->setToolTip(option.path);
        row->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
        row->setCheckState(option.selected ? Qt::Checked : Qt::Unchecked);
    }
    m_list->setCurrentRow(qMin(current, m_list->count() - 1));
    m_rebuilding = false;
    refreshButtons();
}

void KSTDuplicateSetupView::rowChanged()
{
    if (m_rebuilding)
        return;
    for (int row = 0; row < m_list->count() && row < m_options.size(); ++row)
        m_options[row].selected = m_list->item(row)->checkState() == Qt::Checked;
    refreshButtons();
    Q_EMIT optionsEdited();
}

void KSTDuplicateSetupView::removeCurrentFolder()
{
    const int row = m_list->currentRow();
    if (row < 0 || row >= m_options.size() || !m_options.at(row).isCustom)
        return;
    m_options.removeAt(row);
    rebuild();
    Q_EMIT optionsEdited();
}

void KSTDuplicateSetupView::refreshButtons()
{
    const int row = m_list->currentRow();
    m_removeFolder->setEnabled(row >= 0 && row < m_options.size() && m_options.at(row).isCustom);
    const bool anySelected =
        std::any_of(m_options.cbegin(), m_options.cend(),
                    [](const KSTDuplicateFolderOption &option) { return option.selected; });
    m_scan->setEnabled(anySelected);
}

void KSTDuplicateSetupView::restyle()
{
    KSTDuplicateSetupView::paintOnCard(m_list);
}

void KSTDuplicateSetupView::paintOnCard(QWidget *view)
{
    // Colours through the palette, not a style sheet: a sheet's background on a view leaves the
    // style's check boxes without their fill.
    QPalette colors = view->palette();
    colors.setColor(QPalette::Base, KSTPalette::cardBackground());
    // The style outlines a check box in a darker shade of the window colour.
    colors.setColor(QPalette::Window, KSTPalette::secondaryText());
    for (const QPalette::ColorRole role :
         {QPalette::Text, QPalette::WindowText, QPalette::HighlightedText})
        colors.setColor(role, KSTPalette::primaryText());
    colors.setColor(QPalette::Highlight, KSTPalette::selectionFill());
    view->setPalette(colors);
    if (auto *items = qobject_cast<QAbstractItemView *>(view))
        items->viewport()->setPalette(colors);
}
