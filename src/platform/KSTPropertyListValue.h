#pragma once

#include <QDateTime>
#include <QVariant>

#include <limits>

/// How the writers see a QVariant: which property-list kind it is written as. Shared by the
/// XML and binary writers so that both map every Qt type the same way.
namespace KSTPropertyListValue {

enum class Kind { Dictionary, Array, Boolean, Integer, Unsigned, Real, Date, Data, String };

/// The kind @p value is written as: maps and hashes are dictionaries, lists and string lists
/// arrays, unsigned integers above INT64_MAX Unsigned, an invalid date and every type outside
/// the mapping a String (of QVariant::toString()).
inline Kind kindOf(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
        return Kind::Dictionary;
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return Kind::Array;
    case QMetaType::Bool:
        return Kind::Boolean;
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::SChar:
        return Kind::Integer;
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return value.toULongLong() > quint64(std::numeric_limits<qint64>::max()) ? Kind::Unsigned
                                                                                 : Kind::Integer;
    case QMetaType::Double:
    case QMetaType::Float:
        return Kind::Real;
    case QMetaType::QDateTime:
        return value.toDateTime().isValid() ? Kind::Date : Kind::String;
    case QMetaType::QByteArray:
        return Kind::Data;
    default:
        return Kind::String;
    }
}

/// Property-list dates count from 2001-01-01 00:00:00 UTC.
inline const QDateTime &referenceDate()
{
    static const QDateTime epoch(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    return epoch;
}

} // namespace KSTPropertyListValue
