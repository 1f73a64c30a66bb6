#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

/// Reads old-style text property lists (the OpenStep format) and ".strings" files into the
/// QVariant mapping of KSTPropertyList.
///
/// Values: quoted strings ("…" or '…', with C escapes, \Uxxxx and octal escapes), unquoted
/// strings of letters, digits and _$+/:.-, data as <hex digits>, arrays ( a, b, ) and
/// dictionaries { key = value; }. Comments (// and /* */) count as white space. A text whose
/// first string is followed by "=" is a dictionary without braces, as ".strings" files are;
/// there an entry may be a bare key ("key";) standing for itself. Text that is only white
/// space and comments is an empty dictionary (an empty ".strings" file).
///
/// The bytes are UTF-16 when they start with a byte-order mark, UTF-8 otherwise. The tree is
/// built with an explicit stack under the caps of KSTPropertyList.
class KSTTextPropertyListReader
{
public:
    /// The tree, or an invalid QVariant with @p error when the bytes are not a well-formed
    /// text property list within the caps.
    static QVariant read(const QByteArray &data, QString *error = nullptr);

    /// The text the bytes hold: UTF-16 (little or big endian) after its byte-order mark,
    /// else UTF-8 without a leading byte-order mark.
    static QString decodedText(const QByteArray &data);
};
