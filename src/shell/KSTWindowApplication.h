#pragma once

#include "KSTWindowOptions.h"

/// Kestrel with its window: creates the QApplication, starts the application delegate and
/// runs until the window closes, or, with --screenshot, until the picture is saved.
///
/// The machine environment must be current before run() (main() sets it from the global
/// options). For a screenshot the caller selects the off-screen platform beforehand.
class KSTWindowApplication
{
public:
    /// How long a screenshot waits for the section's data.
    static constexpr int ScreenshotTimeoutMs = 180'000;

    static int run(int &argc, char **argv, const KSTWindowOptions &options);
};
