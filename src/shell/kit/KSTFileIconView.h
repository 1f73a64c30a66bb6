#pragma once

#include <QIcon>
#include <QWidget>

/// An application's icon from its icon file (KSTIconLoader), loaded when the view is first
/// drawn; until it has been read, and where there is no file or it cannot be drawn, a symbol
/// in a palette colour instead (as KSTSymbolView draws it). The icon's path is the view's
/// tool tip.
class KSTFileIconView : public QWidget
{
    Q_OBJECT

public:
    /// @p iconPath may be empty. @p colorName is a named palette colour for the fallback
    /// symbol, or empty for the secondary text colour.
    KSTFileIconView(const QString &iconPath, const QString &symbolName, const QString &colorName,
                    int iconSize, QWidget *parent = nullptr);

    QString iconPath() const { return m_iconPath; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void iconLoaded(const QString &path);

    QString m_iconPath;
    QString m_symbolName;
    QString m_colorName;
    int m_iconSize;
    bool m_loaded = false;
    QIcon m_icon;
};
