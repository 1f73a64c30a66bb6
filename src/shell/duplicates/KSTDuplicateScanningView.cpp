#include "KSTDuplicateScanningView.h"

#include "KSTBusyIndicator.h"
#include "KSTCardFrame.h"
#include "KSTDuplicateFolderOptions.h"
#include "KSTFormatting.h"
#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int BarSteps = 1000;

} // namespace

KSTDuplicateScanningView::KSTDuplicateScanningView(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("duplicateScanning"));
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *card = new KSTCardFrame(this);
    outer->addWidget(card);
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(80, 24, 80, 24);
    layout->setSpacing(12);
    layout->addStretch(2);

    auto *symbol =
        new KSTSymbolView(QStringLiteral("doc.on.doc.fill"), QStringLiteral("blue"), 30, card);
    symbol->setTile(64);
    layout->addWidget(symbol, 0, Qt::AlignHCenter);
    auto *title = KSTStyle::label(QStringLiteral("Looking for duplicates"), KSTStyle::Title, card);
    layout->addWidget(title, 0, Qt::AlignHCenter);

    auto *statusRow = new QHBoxLayout;
    statusRow->addStretch(1);
    m_indicator = new KSTBusyIndicator(14, card);
    statusRow->addWidget(m_indicator);
    statusRow->addSpacing(6);
    m_status = KSTStyle::label({}, KSTStyle::Body, card);
    m_status->setObjectName(QStringLiteral("scanStatus"));
    statusRow->addWidget(m_status);
    statusRow->addStretch(1);
    layout->addLayout(statusRow);

    m_bar = new QProgressBar(card);
    m_bar->setObjectName(QStringLiteral("scanProgress"));
    m_bar->setRange(0, BarSteps);
    m_bar->setTextVisible(false);
    m_bar->setFixedHeight(8);
    m_bar->setMaximumWidth(520);
    layout->addWidget(m_bar, 0, Qt::AlignHCenter);
    m_bar->setMinimumWidth(420);

    m_detail = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_detail->setObjectName(QStringLiteral("scanDetail"));
    m_detail->setAlignment(Qt::AlignHCenter);
    m_detail->setWordWrap(true);
    layout->addWidget(m_detail);

    auto *cancel = new QPushButton(QStringLiteral("Cancel"), card);
    cancel->setObjectName(QStringLiteral("cancelScanButton"));
    KSTStyle::setButtonRole(cancel, KSTStyle::SecondaryButton);
    layout->addSpacing(6);
    layout->addWidget(cancel, 0, Qt::AlignHCenter);
    layout->addStretch(3);

    connect(cancel, &QPushButton::clicked, this, &KSTDuplicateScanningView::cancelRequested);
    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this,
            &KSTDuplicateScanningView::restyle);
    restyle();
}

void KSTDuplicateScanningView::restyle()
{
    m_bar->setStyleSheet(
        QStringLiteral("QProgressBar { background: %1; border: none; "
                       "border-radius: 4px; } QProgressBar::chunk { "
                       "background: %2; border-radius: 4px; }")
            .arg(KSTPalette::css(KSTPalette::trackFill()), KSTPalette::css(KSTPalette::accent())));
}

void KSTDuplicateScanningView::showProgress(const KSTDuplicateSnapshot &snapshot)
{
    m_indicator->setRunning(snapshot.isScanning);
    m_status->setText(snapshot.statusText.value_or(QString()));
    m_bar->setValue(int(qBound(0.0, snapshot.scanProgress, 1.0) * BarSteps));
    QStringList folders;
    for (const QString &path : snapshot.scanPaths)
        folders << KSTDuplicateFolderOptions::displayPathFor(path);
    const QString files =
        snapshot.filesScanned == 1
            ? QStringLiteral("1 file")
            : QStringLiteral("%1 files").arg(KSTFormatting::formatCount(snapshot.filesScanned));
    m_detail->setText(files + QStringLiteral(" · ") + folders.join(QStringLiteral(", ")));
}
