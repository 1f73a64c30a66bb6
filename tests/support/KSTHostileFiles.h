#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// Files a hostile user (or a damaged disk) leaves where Kestrel reads: crafted property
/// lists that crashed or exhausted earlier readers, FIFOs, huge sparse files. Shared by the
/// unit tests, the program tests and the fuzz corpora's generator.
namespace KSTHostileFiles {

/// A binary property list from encoded objects: "bplist00", the objects in order, a 1-byte
/// offset table when the offsets fit (else 4 bytes) and the trailer, with references of
/// @p referenceWidth bytes and @p top as the top object.
QByteArray binaryPlist(const QList<QByteArray> &objects, quint64 top = 0, int referenceWidth = 1);

/// The 52-byte binary plist { "\0": "abc" }: a dictionary whose only key is U+0000.
QByteArray nulKeyBinaryPlist();

/// A binary plist of @p depth arrays, each holding the next; the innermost is empty.
QByteArray nestedArraysBinaryPlist(int depth);

/// An XML plist of @p depth nested arrays.
QByteArray nestedArraysXmlPlist(int depth);

/// A binary plist of @p levels arrays of @p fanOut references to the next one, all shared:
/// tiny on disk, fanOut^levels leaves when expanded.
QByteArray sharedArraysBinaryPlist(int levels, int fanOut);

/// An XML document that declares entities each expanding to ten of the previous one.
QByteArray entityExpansionXmlPlist();

/// Makes a FIFO at @p path (nobody writes to it); false on failure.
bool makeFifo(const QString &path);

/// Makes (or extends) @p path into a sparse file of @p bytes that starts with @p head.
bool makeSparseFile(const QString &path, qint64 bytes, const QByteArray &head = {});

} // namespace KSTHostileFiles
