#pragma once

#include <QByteArray>

/// Setting one key of one group in an ini-style file (a desktop entry, mimeapps.list) while
/// keeping every other byte: other groups, other keys, comments, blank lines and their order.
///
/// The text is the user's own file, so hostile: at most maximumBytes are accepted (larger
/// input gives nothing back and must not be written), lines are split on "\n" only and kept
/// as they are (a "\r" stays with its line). Pure and thread-safe.
namespace KSTIniKeyEdit {

constexpr qsizetype maximumBytes = 1024 * 1024;

/// @p contents with "<key>=<value>" in the first group named @p group ("Desktop Entry", no
/// brackets): the first line of that key there is replaced and later lines of it in the group
/// are dropped; a group without the key gets it after its last key line (before trailing
/// blank lines); a file without the group gets it at the end. Every line of the result ends
/// with "\n", the last one too. An empty result means
/// @p contents was over maximumBytes. @p key and @p value hold no line break.
QByteArray withKey(const QByteArray &contents, const QByteArray &group, const QByteArray &key,
                   const QByteArray &value);

/// The value of the first line "<key>=" in the first group @p group, blanks around "=" and at
/// the ends trimmed; empty when there is none.
QByteArray valueOf(const QByteArray &contents, const QByteArray &group, const QByteArray &key);

} // namespace KSTIniKeyEdit
