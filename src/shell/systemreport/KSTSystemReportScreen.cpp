#include "KSTSystemReportScreen.h"

#include "KSTBusyIndicator.h"
#include "KSTCardFrame.h"
#include "KSTHeaderCard.h"
#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"
#include "KSTSystemReportSnapshot.h"

#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLayoutItem>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace {

constexpr int SectionColumns = 2;

QString defaultSavePath(QWidget *parent, const QString &title, const QString &fileName,
                        const QString &extension)
{
    const QString filter = extension == QLatin1String("pdf")
                               ? QStringLiteral("PDF Document (*.pdf)")
                               : QStringLiteral("Plain Text (*.txt)");
    QFileDialog dialog(parent, title, QDir::homePath(), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setDefaultSuffix(extension);
    dialog.selectFile(fileName);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return {};
    return dialog.selectedFiles().constFirst();
}

void defaultFailure(QWidget *parent, const QString &title, const QString &text)
{
    QMessageBox box(QMessageBox::Warning, title, title, QMessageBox::Ok, parent);
    box.setInformativeText(text);
    box.exec();
}

// Deletes every widget and nested layout of @p layout, leaving it empty.
void clearLayout(QLayout *layout)
{
    while (QLayoutItem *item = layout->takeAt(0)) {
        if (QWidget *widget = item->widget())
            delete widget;
        else if (QLayout *inner = item->layout())
            clearLayout(inner);
        delete item;
    }
}

QWidget *summaryCardWidget(const KSTReportSummaryCard &summary)
{
    auto *card = new KSTCardFrame;
    card->setObjectName(QStringLiteral("summaryCard"));
    auto *layout = new QHBoxLayout(card);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(12);
    auto *symbol = new KSTSymbolView(summary.symbolName, summary.iconColor, 16, card);
    symbol->setTile(34);
    layout->addWidget(symbol, 0, Qt::AlignTop);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(2);
    auto *title = KSTStyle::label(summary.title, KSTStyle::Caption, card);
    title->setObjectName(QStringLiteral("summaryCardTitle"));
    texts->addWidget(title);
    auto *value = KSTStyle::label(summary.value, KSTStyle::Headline, card);
    value->setObjectName(QStringLiteral("summaryCardValue"));
    value->setWordWrap(true);
    texts->addWidget(value);
    auto *detail = KSTStyle::label(summary.detail, KSTStyle::Secondary, card);
    detail->setObjectName(QStringLiteral("summaryCardDetail"));
    detail->setWordWrap(true);
    texts->addWidget(detail);
    texts->addStretch(1);
    layout->addLayout(texts, 1);
    return card;
}

QWidget *sectionCardWidget(const KSTReportSection &section)
{
    auto *card = new KSTCardFrame;
    card->setObjectName(QStringLiteral("reportSection"));
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(18, 14, 18, 14);
    layout->setSpacing(8);

    auto *header = new QHBoxLayout;
    header->setSpacing(10);
    auto *symbol = new KSTSymbolView(section.symbolName, section.iconColor, 13, card);
    symbol->setTile(26);
    header->addWidget(symbol);
    auto *title = KSTStyle::label(section.title, KSTStyle::Headline, card);
    title->setObjectName(QStringLiteral("sectionTitle"));
    header->addWidget(title);
    header->addStretch(1);
    layout->addLayout(header);
    if (!section.subtitle.isEmpty()) {
        auto *subtitle = KSTStyle::label(section.subtitle, KSTStyle::Secondary, card);
        subtitle->setObjectName(QStringLiteral("sectionSubtitle"));
        subtitle->setWordWrap(true);
        layout->addWidget(subtitle);
    }

    auto *rows = new QGridLayout;
    rows->setHorizontalSpacing(14);
    rows->setVerticalSpacing(5);
    rows->setColumnStretch(1, 1);
    for (int i = 0; i < section.rows.size(); ++i) {
        const KSTReportRow &row = section.rows.at(i);
        auto *label = KSTStyle::label(row.label(), KSTStyle::Secondary, card);
        label->setObjectName(QStringLiteral("rowLabel"));
        rows->addWidget(label, i, 0, Qt::AlignTop | Qt::AlignLeft);
        auto *value = KSTStyle::label(row.value(), KSTStyle::Body, card);
        value->setObjectName(QStringLiteral("rowValue"));
        value->setWordWrap(true);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        // Normal rows keep the body text colour so they stay readable in both appearances;
        // the three hints take their palette colour.
        if (row.effectiveStyle() != KSTReportRow::Normal) {
            value->setStyleSheet(
                QStringLiteral("color: %1;")
                    .arg(KSTPalette::css(KSTPalette::color(row.styleColorName()))));
        }
        value->setProperty("kstValueStyle", qint64(row.effectiveStyle()));
        rows->addWidget(value, i, 1, Qt::AlignTop);
    }
    layout->addLayout(rows);
    layout->addStretch(1);
    return card;
}

} // namespace

KSTSystemReportScreen::KSTSystemReportScreen(KSTSystemReportService &service, QWidget *parent)
    : KSTToolScreen(parent), m_model(service), m_savePath(&defaultSavePath),
      m_failure(&defaultFailure)
{
    setObjectName(QStringLiteral("systemReportScreen"));
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    outer->addWidget(scroll);

    auto *content = new QWidget;
    auto *layout = new QVBoxLayout(content);
    layout->setContentsMargins(28, 20, 28, 24);
    layout->setSpacing(14);
    auto *back = new QPushButton(QStringLiteral("\u2039 Back"), content);
    back->setObjectName(QStringLiteral("backButton"));
    back->setAccessibleName(QStringLiteral("Back"));
    KSTStyle::setButtonRole(back, KSTStyle::PlainButton);
    connect(back, &QPushButton::clicked, this, &KSTSystemReportScreen::didRequestBack);
    layout->addWidget(back, 0, Qt::AlignLeft);
    layout->addWidget(buildHeaderCard());

    m_cardsHost = new QWidget(content);
    m_cardsHost->setObjectName(QStringLiteral("summaryCards"));
    m_cardsLayout = new QHBoxLayout(m_cardsHost);
    m_cardsLayout->setContentsMargins(0, 0, 0, 0);
    m_cardsLayout->setSpacing(14);
    layout->addWidget(m_cardsHost);

    m_sectionsHost = new QWidget(content);
    m_sectionsHost->setObjectName(QStringLiteral("reportSections"));
    m_sectionsLayout = new QGridLayout(m_sectionsHost);
    m_sectionsLayout->setContentsMargins(0, 0, 0, 0);
    m_sectionsLayout->setSpacing(14);
    for (int column = 0; column < SectionColumns; ++column)
        m_sectionsLayout->setColumnStretch(column, 1);
    layout->addWidget(m_sectionsHost);
    layout->addStretch(1);
    scroll->setWidget(content);

    connect(&m_model, &KSTSystemReportModel::snapshotChanged, this,
            &KSTSystemReportScreen::snapshotDidChange);
    connect(&m_model, &KSTSystemReportModel::reportCompleted, this,
            &KSTSystemReportScreen::reportDidComplete);
    connect(&m_model, &KSTSystemReportModel::fetchingChanged, this,
            &KSTSystemReportScreen::refreshControls);
    // Value colours are set when a section is drawn, so a new appearance redraws them.
    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this,
            &KSTSystemReportScreen::rebuildSections);
    snapshotDidChange();
}

QWidget *KSTSystemReportScreen::buildHeaderCard()
{
    auto *card =
        new KSTHeaderCard(QStringLiteral("doc.text.fill"), QStringLiteral("blue"),
                          QStringLiteral("reportMachineTitle"), QStringLiteral("reportSubtitle"));
    m_title = card->titleLabel();
    m_subtitle = card->subtitleLabel();
    m_busy = card->busyIndicator();
    m_refreshButton = card->addButton(QStringLiteral("Refresh"), QStringLiteral("refreshButton"),
                                      KSTStyle::SecondaryButton);
    connect(m_refreshButton, &QPushButton::clicked, &m_model, &KSTSystemReportModel::refresh);
    connect(m_refreshButton, &QPushButton::clicked, this, &KSTSystemReportScreen::refreshControls);
    m_exportTextButton =
        card->addButton(QStringLiteral("Export Text…"), QStringLiteral("exportTextButton"),
                        KSTStyle::SecondaryButton);
    connect(m_exportTextButton, &QPushButton::clicked, this,
            [this] { exportReport(KSTSystemReportExport::Format::Text); });
    m_exportPdfButton = card->addButton(QStringLiteral("Export PDF…"),
                                        QStringLiteral("exportPdfButton"), KSTStyle::PrimaryButton);
    connect(m_exportPdfButton, &QPushButton::clicked, this,
            [this] { exportReport(KSTSystemReportExport::Format::Pdf); });
    return card;
}

void KSTSystemReportScreen::setExportPresenters(SavePathPresenter savePath,
                                                FailurePresenter failure)
{
    m_savePath = std::move(savePath);
    m_failure = std::move(failure);
}

void KSTSystemReportScreen::exportReport(KSTSystemReportExport::Format format)
{
    const QString extension = KSTSystemReportModel::allowedExtension(format);
    const QString chosen = m_savePath(this, KSTSystemReportModel::exportDialogTitle(),
                                      KSTSystemReportModel::suggestedFileName(format), extension);
    if (chosen.isEmpty())
        return;
    QString refusal;
    const std::optional<QString> path =
        KSTSystemReportModel::exportPathForChosenName(chosen, format, &refusal);
    if (!path) {
        m_failure(this, KSTSystemReportModel::exportFailedTitle(), refusal);
        return;
    }
    if (const std::optional<QString> failure = m_model.exportToPath(*path, format))
        m_failure(this, KSTSystemReportModel::exportFailedTitle(), *failure);
}

bool KSTSystemReportScreen::isContentReady() const
{
    return m_model.isComplete();
}

void KSTSystemReportScreen::showEvent(QShowEvent *event)
{
    KSTToolScreen::showEvent(event);
    m_model.show();
    refreshControls();
}

void KSTSystemReportScreen::snapshotDidChange()
{
    const KSTSystemReportService::SnapshotPtr snapshot = m_model.snapshot();
    m_title->setText(snapshot->machineTitle);
    // The placeholder does not know the machine yet.
    m_title->setVisible(!snapshot->machineTitle.isEmpty());
    m_subtitle->setText(snapshot->generatedSubtitle);
    rebuildCards();
    rebuildSections();
    refreshControls();
}

void KSTSystemReportScreen::reportDidComplete()
{
    refreshControls();
    Q_EMIT contentReady();
}

void KSTSystemReportScreen::rebuildCards()
{
    clearLayout(m_cardsLayout);
    const QList<KSTReportSummaryCard> &cards = m_model.snapshot()->summaryCards;
    for (const KSTReportSummaryCard &card : cards)
        m_cardsLayout->addWidget(summaryCardWidget(card), 1);
    m_cardsHost->setVisible(!cards.isEmpty());
}

void KSTSystemReportScreen::rebuildSections()
{
    clearLayout(m_sectionsLayout);
    const QList<KSTReportSection> &sections = m_model.snapshot()->sections;
    for (int i = 0; i < sections.size(); ++i) {
        m_sectionsLayout->addWidget(sectionCardWidget(sections.at(i)), i / SectionColumns,
                                    i % SectionColumns);
    }
}

void KSTSystemReportScreen::refreshControls()
{
    const bool fetching = m_model.isFetching();
    m_busy->setRunning(fetching);
    m_refreshButton->setEnabled(!fetching);
}
