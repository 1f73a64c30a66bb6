#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

/// A bundle's localised Info.plist values (Contents/Resources/<language>.lproj/
/// InfoPlist.strings): a binary or XML property list, or the `"key" = "value";` text of a
/// strings file in UTF-8 or UTF-16 (with a byte-order mark, or without one when the bytes
/// plainly are UTF-16: a zero byte in every other place).
///
/// Bounded like every reader of the analysed machine's files: more than MaximumBytes is not
/// read, and the property-list readers' caps hold. Pure; thread-safe.
class KSTInfoPlistStrings
{
public:
    KSTInfoPlistStrings() = delete;

    /// Strings files of a bundle are a few kilobytes; one larger than this is not read.
    static constexpr qint64 MaximumBytes = 1024 * 1024;

    /// The key → string pairs of @p data (values that are not strings are left out); an
    /// empty map when the bytes are none of the forms above.
    static QVariantMap stringsFromData(const QByteArray &data);

    /// The bytes as a UTF-16 text with a byte-order mark when they are UTF-16 without one,
    /// else the bytes unchanged.
    static QByteArray withByteOrderMark(const QByteArray &data);

    /// The non-empty string value of @p key, or an empty string.
    static QString stringValue(const QVariantMap &strings, const QString &key);
};
