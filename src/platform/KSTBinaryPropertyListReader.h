#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

/// Reads binary property lists ("bplist00") into the QVariant mapping of KSTPropertyList.
///
/// Written for hostile bytes: the trailer, every offset, reference and length is checked
/// against the data before it is used; the tree is built with an explicit stack (never by
/// recursion), a container that contains itself is refused, and the caps of KSTPropertyList
/// (depth, value count, payload bytes) bound the work and memory a small file can demand,
/// even one that shares an object thousands of times.
class KSTBinaryPropertyListReader
{
public:
    /// The tree, or an invalid QVariant with @p error ("…: why") when the bytes are not a
    /// well-formed binary property list within the caps.
    static QVariant read(const QByteArray &data, QString *error = nullptr);
};
