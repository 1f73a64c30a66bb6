#pragma once

#include "KSTCardFrame.h"

#include <QString>

class KSTDuplicateReviewModel;
class KSTElidedLabel;
class QLabel;
class QTreeWidget;
class QTreeWidgetItem;

/// The preview of the review model's shown group: a thumbnail (the newest copy's picture for
/// images and photos, else the category's symbol), the file name and sizes, "Auto-select: keep
/// newest", and every copy newest first with its check box (ticked: removable), its date and
/// why it is kept or removable.
///
/// Holds no choice of its own: a box asks the review model (togglePreviewSelection) and the
/// rows are redrawn from it. Thumbnails are read on a worker thread from a regular file of at
/// most 32 MiB, opened without following a link or waiting on a pipe; a picture that arrives
/// after another group was shown is dropped.
class KSTDuplicatePreview : public KSTCardFrame
{
    Q_OBJECT

public:
    /// @p review must outlive the preview.
    explicit KSTDuplicatePreview(KSTDuplicateReviewModel &review, QWidget *parent = nullptr);

    /// Each copy is one row of the copies list: its path over its date and why it is kept or
    /// removable ("21 Nov 2026, 10:04 · Kept · newest"); the path (UserRole) is the full one.

private:
    void reviewDidChange();
    void rebuildCopies();
    void showSymbol(const QString &symbolName);
    void requestThumbnail(const QString &path);
    void copyRowChanged(QTreeWidgetItem *row, int column);

    KSTDuplicateReviewModel &m_review;
    QLabel *m_thumbnail = nullptr;
    KSTElidedLabel *m_name = nullptr;
    QLabel *m_detail = nullptr;
    QLabel *m_note = nullptr;
    QTreeWidget *m_copies = nullptr;
    QString m_shownKey;
    // Each thumbnail request gets a number; a picture for an older number is dropped.
    quint64 m_thumbnailRequest = 0;
    bool m_rebuilding = false;
};
