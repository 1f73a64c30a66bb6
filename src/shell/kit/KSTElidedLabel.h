#pragma once

#include <QLabel>

/// A one-line label that gives its width up to its neighbours and shortens its text with an
/// ellipsis in the middle when the text does not fit (the start and the end of a file name
/// are what tell two apart). The whole text stays available as fullText() and, unless a tool
/// tip is set, as the tool tip.
class KSTElidedLabel : public QLabel
{
    Q_OBJECT

public:
    KSTElidedLabel(const QString &text, const char *role, QWidget *parent = nullptr);

    void setFullText(const QString &text);
    QString fullText() const { return m_fullText; }

    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void elide();

    QString m_fullText;
};
