#pragma once

#include "KSTPalette.h"

#include <QSize>
#include <QString>
#include <QStringList>

#include <optional>

/// The options of `kestrel` that concern the window rather than a command:
/// --screenshot FILE [--section N] [--size WxH] [--appearance light|dark] [--system-report]
/// [--after MS].
///
/// Parsed before any Qt application object exists, so that main() can choose the platform
/// (a screenshot renders off-screen) before it creates one.
class KSTWindowOptions
{
public:
    /// Where to save a picture of the window; empty: open the window for the user.
    QString screenshotPath;
    int section = 0;
    /// The picture shows the System Report opened over the section.
    bool systemReport = false;
    QSize size{1280, 800};
    /// Light or dark regardless of the system; nothing follows the system.
    std::optional<KSTPalette::Appearance> appearance;
    /// The picture is taken this many milliseconds after the section is shown, whether its
    /// data has arrived or not (a picture of work in progress); unset: once it has arrived.
    std::optional<int> afterMs;
    /// Whether any of the options was given.
    bool given = false;

    bool isScreenshot() const { return !screenshotPath.isEmpty(); }

    /// Takes the window options ("--section 4" or "--section=4") out of @p arguments and
    /// leaves the rest. On a bad value returns what it parsed and sets @p error to a sentence.
    /// --section, --size, --appearance, --system-report and --after without --screenshot are
    /// an error too.
    static KSTWindowOptions take(QStringList &arguments, QString *error);
};
