#pragma once

#include "KSTCardFrame.h"

class KSTElidedLabel;
class QLabel;

/// One of the report's count cards: a symbol and a title, the count in large type, and a
/// line under it (a change against last week, or the names behind the count).
class KSTReporterStatCard : public KSTCardFrame
{
    Q_OBJECT

public:
    KSTReporterStatCard(const QString &title, const QString &symbolName, const QString &colorName,
                        QWidget *parent = nullptr);

    void setFigures(const QString &value, const QString &detail);

private:
    QLabel *m_value = nullptr;
    KSTElidedLabel *m_detail = nullptr;
};
