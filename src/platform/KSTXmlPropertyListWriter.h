#pragma once

#include <QByteArray>
#include <QVariant>

/// Writes a QVariant tree as an XML property list in Apple's layout (the plist DOCTYPE,
/// tab-indented), on QXmlStreamWriter, in the mapping of KSTPropertyList.
class KSTXmlPropertyListWriter
{
public:
    /// The UTF-8 bytes of @p value. Types outside the mapping become strings, containers
    /// deeper than KSTPropertyList::MaximumDepth empty strings, and characters XML cannot
    /// hold (most control characters, lone surrogates) U+FFFD. Dates are written in whole
    /// seconds, reals in their shortest exact form.
    static QByteArray write(const QVariant &value);
};
