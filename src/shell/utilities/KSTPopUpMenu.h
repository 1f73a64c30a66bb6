#pragma once

#include <QComboBox>

/// A pop-up menu drawn as the window's controls are: a rounded field in the card colour with
/// the chosen item and a chevron, in the current appearance. Behaves as a QComboBox.
class KSTPopUpMenu : public QComboBox
{
    Q_OBJECT

public:
    explicit KSTPopUpMenu(QWidget *parent = nullptr);

    void showPopup() override;

Q_SIGNALS:
    /// Just before the list opens: what only the open list shows can be made now.
    void popupAboutToShow();

protected:
    void paintEvent(QPaintEvent *event) override;
};
