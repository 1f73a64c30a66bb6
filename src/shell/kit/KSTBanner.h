#pragma once

#include "KSTCardFrame.h"

class QHBoxLayout;
class QLabel;
class QPushButton;

/// A tinted strip above a screen's content: a symbol, a headline, a wrapped message and
/// buttons on the right. It only shows what it is given; the screen decides when it is due.
class KSTBanner : public KSTCardFrame
{
    Q_OBJECT

public:
    /// A strip tinted and marked with the palette colour @p colorName and @p symbolName.
    KSTBanner(const QString &symbolName, const QString &colorName, QWidget *parent = nullptr);

    void setTexts(const QString &title, const QString &message);

protected:
    /// Adds a button after the earlier ones, styled as @p role (a KSTStyle button role).
    QPushButton *addButton(const QString &text, const char *role, const QString &objectName);

private:
    QHBoxLayout *m_layout = nullptr;
    QLabel *m_title = nullptr;
    QLabel *m_message = nullptr;
};
