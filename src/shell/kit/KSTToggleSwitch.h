#pragma once

#include <QAbstractButton>

/// An on/off switch in the Mac's style: a pill track (green when on) with a round knob.
/// User changes arrive as clicked(bool); setChecked() from code does not emit clicked.
class KSTToggleSwitch : public QAbstractButton
{
    Q_OBJECT

public:
    explicit KSTToggleSwitch(QWidget *parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
};
