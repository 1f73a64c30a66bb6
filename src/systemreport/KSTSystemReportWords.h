#pragma once

#include "KSTSystemReportSnapshot.h"

#include <QString>

/// The report's own texts that name the Mac or its parts ("macOS version", "SIP",
/// "FileVault", "Safari"), in a Linux machine's words ("Debian GNU/Linux version", "Kernel
/// lockdown", "LUKS", "Firefox"). Only labels, titles and the security card's detail change:
/// nothing is ever recognised by these words. The words every tool shares (the SIP row's
/// "Kernel lockdown") come from KSTLayoutWords. Constant tables; thread-safe.
namespace KSTSystemReportWords {

/// @p text in the linux layout's words, "macOS" becoming @p systemName ("Linux" when
/// empty); a text without a Linux counterpart is returned as it stands.
QString linuxText(const QString &text, const QString &systemName);

/// Every section title, row label, card title and card detail of @p snapshot in the linux
/// layout's words.
void relabelForLinux(KSTSystemReportSnapshot &snapshot, const QString &systemName);

} // namespace KSTSystemReportWords
