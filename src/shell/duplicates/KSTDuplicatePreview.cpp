#include "KSTDuplicatePreview.h"

#include "KSTDispatch.h"
#include "KSTDuplicateCategories.h"
#include "KSTDuplicateFolderOptions.h"
#include "KSTDuplicateReviewModel.h"
#include "KSTDuplicateSetupView.h"
#include "KSTElidedLabel.h"
#include "KSTFormatting.h"
#include "KSTPalette.h"
#include "KSTReadOnlyFile.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"

#include <QBuffer>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr int ThumbnailSize = 72;
constexpr int CopyRowHeight = 44;
constexpr qint64 ThumbnailByteCap = 32ll * 1024 * 1024;

// The bytes of the regular file at @p path, when it is one of at most the cap; never follows
// a link nor waits on a pipe that took the file's place.
QByteArray pictureBytes(const QString &path)
{
    QByteArray contents;
    return KSTReadOnlyFile::readWholeFileWithoutLinks(path, ThumbnailByteCap, &contents) ==
                   KSTReadOnlyFile::Status::Read
               ? contents
               : QByteArray();
}

QImage thumbnailFromBytes(const QByteArray &bytes, int pixels)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid() && !size.isEmpty())
        reader.setScaledSize(size.scaled(pixels, pixels, Qt::KeepAspectRatio));
    return reader.read();
}

bool hasPictures(const QString &categoryType)
{
    return categoryType == QLatin1String("images") || categoryType == QLatin1String("photos");
}

} // namespace

KSTDuplicatePreview::KSTDuplicatePreview(KSTDuplicateReviewModel &review, QWidget *parent)
    : KSTCardFrame(parent), m_review(review)
{
    setObjectName(QStringLiteral("duplicatePreview"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 14);
    layout->setSpacing(10);

    auto *header = new QHBoxLayout;
    header->setSpacing(14);
    m_thumbnail = new QLabel(this);
    m_thumbnail->setObjectName(QStringLiteral("previewThumbnail"));
    m_thumbnail->setFixedSize(ThumbnailSize, ThumbnailSize);
    m_thumbnail->setAlignment(Qt::AlignCenter);
    header->addWidget(m_thumbnail);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(3);
    m_name = new KSTElidedLabel({}, KSTStyle::Title, this);
    m_name->setObjectName(QStringLiteral("previewName"));
    texts->addWidget(m_name);
    m_detail = KSTStyle::label({}, KSTStyle::Secondary, this);
    m_detail->setObjectName(QStringLiteral("previewDetail"));
    texts->addWidget(m_detail);
    m_note = KSTStyle::label(QStringLiteral("Auto-select: keep newest"), KSTStyle::Caption, this);
    m_note->setObjectName(QStringLiteral("autoSelectNote"));
    texts->addWidget(m_note);
    texts->addStretch(1);
    header->addLayout(texts, 1);
    layout->addLayout(header);

    m_copies = new QTreeWidget(this);
    m_copies->setObjectName(QStringLiteral("copiesList"));
    m_copies->setColumnCount(1);
    m_copies->setHeaderHidden(true);
    m_copies->setRootIsDecorated(false);
    m_copies->setUniformRowHeights(true);
    m_copies->setTextElideMode(Qt::ElideMiddle);
    m_copies->setSelectionMode(QAbstractItemView::NoSelection);
    m_copies->setFocusPolicy(Qt::NoFocus);
    m_copies->setFrameShape(QFrame::NoFrame);
    auto *caption =
        KSTStyle::label(QStringLiteral("Copies, newest first. Ticked copies go to the Trash."),
                        KSTStyle::Caption, this);
    layout->addWidget(caption);
    layout->addWidget(m_copies, 1);

    connect(m_copies, &QTreeWidget::itemChanged, this, &KSTDuplicatePreview::copyRowChanged);
    connect(&m_review, &KSTDuplicateReviewModel::selectionChanged, this,
            &KSTDuplicatePreview::reviewDidChange);
    connect(&m_review, &KSTDuplicateReviewModel::snapshotChanged, this,
            &KSTDuplicatePreview::reviewDidChange);
    connect(&m_review, &KSTDuplicateReviewModel::actionButtonsChanged, this,
            &KSTDuplicatePreview::rebuildCopies);
    KSTDuplicateSetupView::paintOnCard(m_copies);
    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this, [this] {
        KSTDuplicateSetupView::paintOnCard(m_copies);
        m_shownKey.clear();
        reviewDidChange();
    });
    reviewDidChange();
}

void KSTDuplicatePreview::reviewDidChange()
{
    const std::optional<KSTDuplicateGroup> &group = m_review.selectedGroup();
    if (!group) {
        m_shownKey.clear();
        ++m_thumbnailRequest;
        showSymbol(QStringLiteral("doc.on.doc.fill"));
        m_name->setFullText(QStringLiteral("No group shown"));
        m_detail->setText(QStringLiteral("Choose a group to see its copies."));
        m_note->hide();
        rebuildCopies();
        return;
    }
    m_note->show();
    if (group->hashKey != m_shownKey) {
        m_shownKey = group->hashKey;
        ++m_thumbnailRequest;
        m_name->setFullText(group->fileName);
        m_detail->setText(QStringLiteral("%1 copies · %2 each · %3 can be freed")
                              .arg(group->files.size())
                              .arg(KSTFormatting::formatBytesShort(group->fileSize),
                                   KSTFormatting::formatBytesShort(group->reclaimableBytes)));
        showSymbol(KSTDuplicateCategories::duplicateCategorySymbol(group->categoryType));
        if (hasPictures(group->categoryType) && !group->files.isEmpty())
            requestThumbnail(group->files.first().path);
    }
    rebuildCopies();
}

void KSTDuplicatePreview::showSymbol(const QString &symbolName)
{
    const qreal dpr = devicePixelRatioF();
    QPixmap tile(QSize(ThumbnailSize, ThumbnailSize) * dpr);
    tile.setDevicePixelRatio(dpr);
    tile.fill(Qt::transparent);
    QPainter painter(&tile);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor fill = KSTPalette::color(QStringLiteral("blue"));
    fill.setAlpha(KSTPalette::isDark() ? 60 : 34);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(QRectF(0, 0, ThumbnailSize, ThumbnailSize), 14, 14);
    painter.drawPixmap(
        QRect(20, 20, 32, 32),
        KSTSymbolImage::pixmap(symbolName, KSTPalette::color(QStringLiteral("blue")), 32, dpr));
    painter.end();
    m_thumbnail->setPixmap(tile);
}

void KSTDuplicatePreview::requestThumbnail(const QString &path)
{
    const quint64 request = m_thumbnailRequest;
    const int pixels = int(ThumbnailSize * devicePixelRatioF());
    auto deliver = KSTDispatch::onMainFor<QImage>(this, [this, request](QImage image) {
        if (request != m_thumbnailRequest || image.isNull())
            return;
        QPixmap picture = QPixmap::fromImage(image);
        picture.setDevicePixelRatio(devicePixelRatioF());
        m_thumbnail->setPixmap(picture);
    });
    KSTDispatch::globalAsync(KSTQualityOfService::UserInitiated, [path, pixels, deliver] {
        const QByteArray bytes = pictureBytes(path);
        deliver(bytes.isEmpty() ? QImage() : thumbnailFromBytes(bytes, pixels));
    });
}

void KSTDuplicatePreview::rebuildCopies()
{
    const std::optional<KSTDuplicateGroup> &group = m_review.selectedGroup();
    m_rebuilding = true;
    m_copies->clear();
    if (group) {
        const bool busy = m_review.isBusy();
        for (const KSTDuplicateFileRecord &file : group->files) {
            const auto reason = m_review.selectionReason(*group, file);
            const bool kept = KSTDuplicateReviewModel::isKeptReason(reason);
            auto *row = new QTreeWidgetItem(m_copies);
            const QString date = QLocale().toString(file.modificationDate.toLocalTime(),
                                                    QStringLiteral("d MMM yyyy, HH:mm"));
            row->setText(0,
                         KSTDuplicateFolderOptions::displayPathFor(file.path) + QLatin1Char('\n') +
                             date + QStringLiteral(" · ") +
                             (kept ? QStringLiteral("Kept · ") : QStringLiteral("Removable · ")) +
                             KSTDuplicateReviewModel::selectionReasonText(reason));
            row->setToolTip(0, file.path);
            row->setSizeHint(0, QSize(0, CopyRowHeight));
            row->setData(0, Qt::UserRole, file.path);
            row->setForeground(0, kept ? KSTPalette::color(QStringLiteral("emerald"))
                                       : KSTPalette::primaryText());
            Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
            if (!busy)
                flags |= Qt::ItemIsUserCheckable;
            row->setFlags(flags);
            row->setCheckState(0, kept ? Qt::Unchecked : Qt::Checked);
        }
    }
    m_rebuilding = false;
}

void KSTDuplicatePreview::copyRowChanged(QTreeWidgetItem *row, int column)
{
    const std::optional<KSTDuplicateGroup> &group = m_review.selectedGroup();
    if (m_rebuilding || column != 0 || !group || m_review.isBusy())
        return;
    const QString path = row->data(0, Qt::UserRole).toString();
    const bool removable = row->checkState(0) == Qt::Checked;
    // The model's signals rebuild the rows (this one included) once the call returns.
    const KSTDuplicateGroup shown = *group;
    QMetaObject::invokeMethod(
        this,
        [this, shown, path, removable] { m_review.togglePreviewSelection(shown, path, removable); },
        Qt::QueuedConnection);
}
