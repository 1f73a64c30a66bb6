#pragma once

#include <QString>
#include <QWidget>

/// One row of the sidebar: a tool's symbol and title, and an optional badge ("ON"). It
/// highlights under the pointer and when selected, and reports a press at once (mouse-down,
/// as the Mac's sidebar does) through activated().
class KSTNavRowView : public QWidget
{
    Q_OBJECT

public:
    KSTNavRowView(int sectionIndex, const QString &title, const QString &symbolName,
                  QWidget *parent = nullptr);

    int sectionIndex() const { return m_sectionIndex; }
    QString title() const { return m_title; }
    QString symbolName() const { return m_symbolName; }

    bool isSelected() const { return m_selected; }
    void setSelected(bool selected);
    bool isHovered() const { return m_hovered; }

    QString badgeText() const { return m_badgeText; }
    void setBadgeText(const QString &text);
    bool isBadgeVisible() const { return m_badgeVisible; }
    void setBadgeVisible(bool visible);

    QSize sizeHint() const override;

Q_SIGNALS:
    /// The row was pressed; carries sectionIndex().
    void activated(int sectionIndex);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    int m_sectionIndex;
    QString m_title;
    QString m_symbolName;
    bool m_selected = false;
    bool m_hovered = false;
    QString m_badgeText;
    bool m_badgeVisible = false;
};
