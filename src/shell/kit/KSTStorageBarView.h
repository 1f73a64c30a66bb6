#pragma once

#include <QList>
#include <QString>
#include <QWidget>

/// A horizontal bar of the boot volume: one coloured segment per storage category, in order,
/// each as wide as its share of the volume's capacity; the rest of the track is free space.
class KSTStorageBarView : public QWidget
{
    Q_OBJECT

public:
    struct Segment
    {
        QString colorName; ///< a named palette colour
        quint64 bytes = 0;
    };

    explicit KSTStorageBarView(QWidget *parent = nullptr);

    /// Segments wider together than @p totalBytes are scaled down to fit the bar.
    void setSegments(const QList<Segment> &segments, quint64 totalBytes);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QList<Segment> m_segments;
    quint64 m_totalBytes = 0;
};
