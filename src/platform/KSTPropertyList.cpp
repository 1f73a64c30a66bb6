#include "KSTPropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

namespace {

// Our own conversion recurses once per level; real property lists are a handful of levels
// deep, so anything beyond this is treated as malformed rather than risking the stack.
constexpr int MaximumDepth = 512;

struct PlistDeleter
{
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

struct MallocDeleter
{
    void operator()(char *p) const { std::free(p); }
};
using MallocPtr = std::unique_ptr<char, MallocDeleter>;

// Property-list dates count from 2001-01-01 00:00:00 UTC (the Core Foundation epoch).
const QDateTime &referenceDate()
{
    static const QDateTime epoch(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    return epoch;
}

// libplist keeps integers as a uint64 plus a width: 8 bytes for the signed integers of the
// format, 16 bytes for unsigned values above INT64_MAX. The width is not public, but two
// nodes only compare equal when value and width agree, and plist_new_uint() always makes
// the signed 8-byte kind — so comparing against a fresh node tells the two apart.
QVariant integerValue(plist_t node)
{
    uint64_t raw = 0;
    plist_get_uint_val(node, &raw);
    if (raw <= uint64_t(std::numeric_limits<qint64>::max()))
        return QVariant::fromValue(qint64(raw));
    const PlistPtr signedNode(plist_new_uint(raw));
    if (plist_compare_node_value(node, signedNode.get()))
        return QVariant::fromValue(qint64(raw)); // two's complement: the negative value
    return QVariant::fromValue(quint64(raw));
}

// The reverse for writing: the public API can only make the signed kind, so an unsigned
// value above INT64_MAX is made by letting the XML reader build the 16-byte node.
plist_t newUnsignedNode(quint64 value)
{
    if (value <= quint64(std::numeric_limits<qint64>::max()))
        return plist_new_uint(value);
    const QByteArray xml =
        "<plist version=\"1.0\"><integer>" + QByteArray::number(value) + "</integer></plist>";
    plist_t node = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &node);
    return node ? node : plist_new_uint(value);
}

QVariant dateValue(plist_t node)
{
    int32_t seconds = 0;
    int32_t microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    // libplist 2.2 truncates the seconds towards zero and returns the fraction as a
    // magnitude, so before 2001 the fraction has to be subtracted. (Within the first
    // second before 2001 the sign is lost; such dates read as just after.)
    const qint64 fractionMs = (qint64(microseconds) + 500) / 1000;
    const qint64 ms = qint64(seconds) * 1000 + (seconds < 0 ? -fractionMs : fractionMs);
    return referenceDate().addMSecs(ms);
}

plist_t newDateNode(const QDateTime &date)
{
    const qint64 ms = referenceDate().msecsTo(date);
    const qint64 seconds = ms / 1000;
    if (!date.isValid() || seconds < std::numeric_limits<int32_t>::min() ||
        seconds > std::numeric_limits<int32_t>::max()) {
        // libplist holds dates as int32 seconds (1933–2068); keep what we can as text.
        return nullptr;
    }
    return plist_new_date(int32_t(seconds), int32_t((ms % 1000) * 1000));
}

bool toVariant(plist_t node, int depth, QVariant *out)
{
    if (depth > MaximumDepth)
        return false;
    switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        const std::unique_ptr<void, decltype(&std::free)> iterGuard(it, &std::free);
        for (;;) {
            char *rawKey = nullptr;
            plist_t child = nullptr;
            plist_dict_next_item(node, it, &rawKey, &child);
            const MallocPtr key(rawKey);
            if (!child)
                break;
            QVariant value;
            if (!toVariant(child, depth + 1, &value))
                return false;
            map.insert(QString::fromUtf8(key.get()), value);
        }
        *out = map;
        return true;
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        list.reserve(count);
        for (uint32_t i = 0; i < count; ++i) {
            QVariant value;
            if (!toVariant(plist_array_get_item(node, i), depth + 1, &value))
                return false;
            list.append(value);
        }
        *out = list;
        return true;
    }
    case PLIST_STRING:
    case PLIST_KEY: {
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        *out = QString::fromUtf8(text, qsizetype(length));
        return true;
    }
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        *out = value != 0;
        return true;
    }
    case PLIST_UINT:
        *out = integerValue(node);
        return true;
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        *out = value;
        return true;
    }
    case PLIST_DATE:
        *out = dateValue(node);
        return true;
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *bytes = plist_get_data_ptr(node, &length);
        *out = QByteArray(bytes, qsizetype(length));
        return true;
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        *out = QVariant::fromValue(quint64(value));
        return true;
    }
    case PLIST_NONE:
        break;
    }
    return false;
}

plist_t fromVariant(const QVariant &value, int depth)
{
    if (depth > MaximumDepth)
        return plist_new_string("");
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        plist_t dict = plist_new_dict();
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            plist_dict_set_item(dict, it.key().toUtf8().constData(),
                                fromVariant(it.value(), depth + 1));
        return dict;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        plist_t array = plist_new_array();
        const QVariantList list = value.toList();
        for (const QVariant &item : list)
            plist_array_append_item(array, fromVariant(item, depth + 1));
        return array;
    }
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::SChar:
        return plist_new_uint(uint64_t(value.toLongLong()));
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return newUnsignedNode(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QDateTime:
        if (plist_t node = newDateNode(value.toDateTime()))
            return node;
        break;
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), uint64_t(bytes.size()));
    }
    default:
        break;
    }
    const QString text = value.typeId() == QMetaType::QDateTime
                             ? value.toDateTime().toString(Qt::ISODate)
                             : value.toString();
    return plist_new_string(text.toUtf8().constData());
}

void setError(QString *error, const QString &message)
{
    if (error)
        *error = message;
}

} // namespace

namespace KSTPropertyList {

QVariant fromData(const QByteArray &data, QString *error)
{
    if (data.isEmpty()) {
        setError(error, QStringLiteral("The property list is empty."));
        return {};
    }
    if (quint64(data.size()) > std::numeric_limits<uint32_t>::max()) {
        setError(error, QStringLiteral("The property list is too large to read (over 4 GiB)."));
        return {};
    }
    plist_t raw = nullptr;
    plist_from_memory(data.constData(), uint32_t(data.size()), &raw);
    const PlistPtr root(raw);
    if (!root) {
        setError(error, QStringLiteral("The data is not a valid XML or binary property list."));
        return {};
    }
    QVariant tree;
    if (!toVariant(root.get(), 0, &tree)) {
        setError(error, QStringLiteral("The property list is nested too deeply or holds an "
                                       "unknown value type."));
        return {};
    }
    return tree;
}

QVariant readFile(const QString &path, QString *error)
{
    // A property list is a regular file; a FIFO or device would block or never end.
    if (QFileInfo::exists(path) && !QFileInfo(path).isFile()) {
        setError(error, QStringLiteral("%1 is not a regular file.").arg(path));
        return {};
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(error, QStringLiteral("Cannot read %1: %2").arg(path, file.errorString()));
        return {};
    }
    if (quint64(file.size()) > std::numeric_limits<uint32_t>::max()) {
        setError(error, QStringLiteral("%1 is too large to be a property list.").arg(path));
        return {};
    }
    QString parseError;
    const QVariant tree = fromData(file.readAll(), &parseError);
    if (!tree.isValid())
        setError(error, path + QLatin1String(": ") + parseError);
    return tree;
}

QVariantMap readDictionary(const QString &path, bool *ok)
{
    const QVariant tree = readFile(path);
    const bool isDictionary = tree.typeId() == QMetaType::QVariantMap;
    if (ok)
        *ok = isDictionary;
    return isDictionary ? tree.toMap() : QVariantMap();
}

QByteArray toXml(const QVariant &value)
{
    const PlistPtr root(fromVariant(value, 0));
    char *raw = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &raw, &length);
    const MallocPtr xml(raw);
    return xml ? QByteArray(xml.get(), qsizetype(length)) : QByteArray();
}

QByteArray toBinary(const QVariant &value)
{
    const PlistPtr root(fromVariant(value, 0));
    char *raw = nullptr;
    uint32_t length = 0;
    plist_to_bin(root.get(), &raw, &length);
    const MallocPtr binary(raw);
    return binary ? QByteArray(binary.get(), qsizetype(length)) : QByteArray();
}

bool writeXmlFile(const QString &path, const QVariant &value, QString *error)
{
    const QByteArray xml = toXml(value);
    if (xml.isEmpty()) {
        setError(error, QStringLiteral("The value could not be serialised as a property list."));
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        setError(error, QStringLiteral("Cannot write %1: %2").arg(path, file.errorString()));
        return false;
    }
    if (file.write(xml) != xml.size() || !file.commit()) {
        setError(error, QStringLiteral("Cannot write %1: %2").arg(path, file.errorString()));
        file.cancelWriting();
        return false;
    }
    return true;
}

} // namespace KSTPropertyList
