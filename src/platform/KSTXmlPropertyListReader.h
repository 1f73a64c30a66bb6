#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

/// Reads XML property lists into the QVariant mapping of KSTPropertyList, on
/// QXmlStreamReader.
///
/// The tree is built with an explicit stack under the caps of KSTPropertyList. A document
/// that declares its own entities is refused (Apple's lists never do, and entity expansion
/// is how a small XML file becomes a huge one); so is anything outside the property-list
/// elements, a value without its key, or a second top-level value.
class KSTXmlPropertyListReader
{
public:
    /// The tree, or an invalid QVariant with @p error when the bytes are not a well-formed
    /// XML property list within the caps.
    static QVariant read(const QByteArray &data, QString *error = nullptr);
};
