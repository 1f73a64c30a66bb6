#pragma once

#include <QByteArray>
#include <QVariant>

/// Writes a QVariant tree as a binary property list ("bplist00") in the mapping of
/// KSTPropertyList: every value its own object (nothing shared), the smallest integer and
/// reference widths that hold it, strings as ASCII or UTF-16.
class KSTBinaryPropertyListWriter
{
public:
    /// The bytes of @p value; types outside the mapping become strings, containers deeper
    /// than KSTPropertyList::MaximumDepth empty strings.
    static QByteArray write(const QVariant &value);
};
