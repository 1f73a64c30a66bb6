#pragma once

#include <QString>

/// Text from the analysed machine (file names, paths, what a tool or a property list said),
/// made safe to print on a terminal: a name holding a newline must not break the output into
/// lines that look like other entries, and one holding an escape sequence must not drive the
/// terminal. Every command's readable output passes such text through escaped(); JSON output
/// needs nothing (its encoder escapes control characters itself).
namespace KSTTerminalText {

/// @p text with every control character written as a visible escape: "\n", "\r", "\t" and
/// "\xHH" for the other C0 and C1 controls and DEL; "\uHHHH" for the invisible characters
/// that reorder or hide text (bidirectional overrides, embeddings and isolates, the directional
/// marks, the line and paragraph separators). A backslash is doubled, so every escape reads
/// back unambiguously. Everything else, including all other non-ASCII text, is kept.
QString escaped(const QString &text);

} // namespace KSTTerminalText
