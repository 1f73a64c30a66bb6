#pragma once

#include <QByteArray>
#include <QString>

/// File names as the file system stores them: bytes, not text.
///
/// A POSIX name may hold any byte but '/' and NUL, including sequences that are not UTF-8.
/// Qt's own conversion replaces such bytes with U+FFFD, after which the file can no longer be
/// reached. These two functions convert losslessly instead: valid UTF-8 decodes as usual, and
/// every byte of an invalid sequence becomes the lone surrogate U+DC80 + (byte − 0x80), which
/// encoded() turns back into that byte. So decoded() then encoded() gives the original bytes
/// for every name, and encoded() then decoded() gives the original string for every string a
/// name can decode to.
///
/// Every engine that reads names from the file system or a tool and later acts on them goes
/// through these, never through QFile::encodeName()/decodeName(). Pure, thread-safe.
namespace KSTFileName {

/// The bytes of @p name as the file system wants them.
QByteArray encoded(const QString &name);

/// The text of @p bytes (up to the first NUL for the pointer form).
QString decoded(const QByteArray &bytes);
QString decoded(const char *bytes);
QString decoded(const char *bytes, qsizetype length);

/// True when @p name holds an escaped byte (it came from a name that is not UTF-8).
bool hasEscapedBytes(const QString &name);

/// The byte (0x80–0xFF) the code unit at @p index of @p name stands for when it is an escaped
/// byte (a lone surrogate U+DC80–U+DCFF, not the second half of a pair); -1 otherwise. Every
/// writer that must show or carry such a byte asks this.
int escapedByteAt(const QString &name, qsizetype index);

} // namespace KSTFileName
