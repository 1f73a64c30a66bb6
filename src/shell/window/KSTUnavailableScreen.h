#pragma once

#include "KSTToolScreen.h"

/// The screen of a tool whose engine is not part of this version yet: the tool's symbol and
/// title and one plain sentence saying so. It shows no figures at all.
class KSTUnavailableScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    explicit KSTUnavailableScreen(int section, QWidget *parent = nullptr);

    int section() const { return m_section; }
    /// "Mac Reporter is not available in this version of Kestrel yet."
    static QString messageForSection(int section);

private:
    int m_section;
};
