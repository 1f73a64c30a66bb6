#pragma once

#include <QString>

/// Path pieces by text, as Foundation's path methods cut them (nothing is looked up on disk).
namespace KSTPathText {

/// "/a/b.txt" → "b.txt"; trailing slashes ignored ("/a/b/" → "b"); "/" → "/".
QString lastPathComponent(const QString &path);
/// "/a/b.txt" → "/a"; "/a" → "/"; "b" → "".
QString deletingLastPathComponent(const QString &path);
/// The text after the last dot of the last component ("b.tar.gz" → "gz"); "" when there is
/// none or the dot starts the name (".env").
QString pathExtension(const QString &path);
/// The path without its extension and the dot before it.
QString deletingPathExtension(const QString &path);

} // namespace KSTPathText
