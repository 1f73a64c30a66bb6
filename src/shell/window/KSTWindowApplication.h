#pragma once

#include "KSTWindowOptions.h"

/// Kestrel with its window: creates the QApplication, starts the application delegate and
/// runs until the window closes, or, with --screenshot, until the picture is saved.
///
/// Before run(), the caller installs the engines' build routines into KSTSystemInfo::shared()
/// and makes the machine environment current (main() does both). For a screenshot it selects
/// the off-screen platform beforehand.
class KSTWindowApplication
{
public:
    /// How long a screenshot waits for the section's data.
    static constexpr int ScreenshotTimeoutMs = 180'000;

    static int run(int &argc, char **argv, const KSTWindowOptions &options);
};
