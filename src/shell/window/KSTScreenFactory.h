#pragma once

#include "KSTShellEngines.h"

class KSTToolScreen;
class QWidget;

/// Which screen each section shows. This is the one place to change when a tool's screen
/// arrives: replace the section's KSTUnavailableScreen with the tool's screen.
class KSTScreenFactory
{
public:
    /// A new screen for @p section, reading @p engines (which outlive it); an unavailable
    /// screen for a section without one.
    static KSTToolScreen *makeScreenForSection(int section, const KSTShellEngines &engines,
                                               QWidget *parent);
};
