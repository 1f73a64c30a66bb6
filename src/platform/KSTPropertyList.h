#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

/// Property lists as QVariant trees: binary ("bplist00"), XML and the old-style text format
/// (also the format of ".strings" files), read by our own bounded readers.
///
/// Mapping: dictionary ↔ QVariantMap, array (and binary set) ↔ QVariantList, string ↔
/// QString, boolean ↔ bool, integer ↔ qint64 (quint64 above INT64_MAX), real ↔ double,
/// date ↔ QDateTime (UTC), data ↔ QByteArray, UID → quint64. The text format has only
/// strings, data, arrays and dictionaries; a text file of `"key" = "value";` lines without
/// surrounding braces (a ".strings" file) is a dictionary. All functions are pure and
/// thread-safe.
///
/// Integers: the format's 8-byte integers are signed, so a negative value written by macOS
/// reads back negative; only the 16-byte form (values above INT64_MAX) gives a quint64, and
/// writing a quint64 above INT64_MAX produces that form again. Dates keep milliseconds in the
/// binary form and whole seconds in XML; a binary date too far from 2001 to be a QDateTime
/// reads as an invalid QDateTime.
///
/// Every file on a user's disk is treated as hostile: input larger than MaximumDataBytes, a
/// tree nested deeper than MaximumDepth, holding more than MaximumValueCount values or more
/// than MaximumPayloadBytes of text and data (binary lists can share one object many times)
/// is rejected as malformed. The readers never recurse, so no input can exhaust the stack.
namespace KSTPropertyList {

enum class Format { Binary, Xml, Text };

/// Files and data larger than this are not property lists Kestrel reads; a file this large
/// is skipped without reading it.
inline constexpr qint64 MaximumDataBytes = 64ll * 1024 * 1024;
/// Containers inside containers, the outermost counting as 1.
inline constexpr int MaximumDepth = 512;
/// Values of the tree (containers, leaves; dictionary keys not counted).
inline constexpr qint64 MaximumValueCount = 1'000'000;
/// Bytes of all strings, keys and data of the tree, counting shared ones each time.
inline constexpr qint64 MaximumPayloadBytes = 128ll * 1024 * 1024;

/// Parses binary, XML or text property-list bytes (the format is recognised from the
/// bytes). Returns an invalid QVariant for empty, malformed or over-cap input and then sets
/// @p error when given; sets @p format to the format recognised when given.
QVariant fromData(const QByteArray &data, QString *error = nullptr, Format *format = nullptr);

/// Reads and parses a file. Only a regular file is read: a FIFO, socket or device is refused
/// without blocking, and a file larger than MaximumDataBytes without reading it. Invalid
/// QVariant when it cannot be read or parsed.
QVariant readFile(const QString &path, QString *error = nullptr);

/// The root dictionary of a file, or an empty map when it is missing, malformed or not a
/// dictionary. @p ok tells which.
QVariantMap readDictionary(const QString &path, bool *ok = nullptr);

/// Serialises a tree; QVariant types outside the mapping above are written as strings.
/// Containers deeper than MaximumDepth are written as empty strings. XML cannot hold most
/// control characters (U+0000 among them): they are written as U+FFFD.
QByteArray toXml(const QVariant &value);
QByteArray toBinary(const QVariant &value);

/// Writes an XML plist atomically (a temporary file renamed over the target).
bool writeXmlFile(const QString &path, const QVariant &value, QString *error = nullptr);

} // namespace KSTPropertyList
