#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

/// Property lists (XML and binary "bplist00") as QVariant trees, on libplist.
///
/// Mapping: dictionary ↔ QVariantMap, array ↔ QVariantList, string ↔ QString,
/// boolean ↔ bool, integer ↔ qint64 (quint64 above INT64_MAX), real ↔ double,
/// date ↔ QDateTime (UTC), data ↔ QByteArray, UID → quint64. All functions are pure and
/// thread-safe.
///
/// Integers: the format's 8-byte integers are signed, so a negative value written by macOS
/// reads back negative; only the 16-byte form (values above INT64_MAX) gives a quint64, and
/// writing a quint64 above INT64_MAX produces that form again. Dates keep milliseconds in the
/// binary form and whole seconds in XML; libplist holds dates as 32-bit seconds around 2001,
/// so a QDateTime outside 1933–2068 is written as ISO 8601 text. Input larger than 4 GiB and
/// trees nested deeper than 512 levels are rejected as malformed.
namespace KSTPropertyList {

/// Parses XML or binary plist bytes. Returns an invalid QVariant for empty or malformed
/// input and then sets @p error when given.
QVariant fromData(const QByteArray &data, QString *error = nullptr);

/// Reads and parses a file; invalid QVariant when it cannot be read or parsed.
QVariant readFile(const QString &path, QString *error = nullptr);

/// The root dictionary of a file, or an empty map when it is missing, malformed or not a
/// dictionary. @p ok tells which.
QVariantMap readDictionary(const QString &path, bool *ok = nullptr);

/// Serialises a tree; QVariant types outside the mapping above are written as strings.
QByteArray toXml(const QVariant &value);
QByteArray toBinary(const QVariant &value);

/// Writes an XML plist atomically (a temporary file renamed over the target).
bool writeXmlFile(const QString &path, const QVariant &value, QString *error = nullptr);

} // namespace KSTPropertyList
