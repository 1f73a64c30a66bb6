#include "KSTInfoPlistStrings.h"

#include "KSTPropertyList.h"

#include <algorithm>

namespace {

// How many of the first bytes decide whether text without a byte-order mark is UTF-16.
constexpr qsizetype SniffBytes = 256;

bool startsWith(const QByteArray &data, const char *prefix, qsizetype length)
{
    return data.size() >= length && std::equal(prefix, prefix + length, data.constData());
}

} // namespace

QByteArray KSTInfoPlistStrings::withByteOrderMark(const QByteArray &data)
{
    if (data.size() < 2 || data.size() % 2 != 0 || startsWith(data, "\xFF\xFE", 2) ||
        startsWith(data, "\xFE\xFF", 2) || startsWith(data, "bplist", 6))
        return data;
    // Text of ASCII keys in UTF-16 has a zero in every high byte; UTF-8 never holds a zero.
    const qsizetype sniffed = std::min(data.size(), SniffBytes);
    qsizetype evenZeros = 0;
    qsizetype oddZeros = 0;
    for (qsizetype index = 0; index < sniffed; ++index) {
        if (data.at(index) == '\0')
            ++(index % 2 == 0 ? evenZeros : oddZeros);
    }
    const qsizetype pairs = sniffed / 2;
    if (oddZeros * 2 > pairs && evenZeros == 0)
        return QByteArray("\xFF\xFE", 2) + data; // little-endian: "k\0e\0y\0"
    if (evenZeros * 2 > pairs && oddZeros == 0)
        return QByteArray("\xFE\xFF", 2) + data;
    return data;
}

QVariantMap KSTInfoPlistStrings::stringsFromData(const QByteArray &data)
{
    QVariantMap strings;
    if (data.isEmpty() || data.size() > MaximumBytes)
        return strings;
    const QVariant tree = KSTPropertyList::fromData(withByteOrderMark(data));
    if (tree.typeId() != QMetaType::QVariantMap)
        return strings;
    const QVariantMap dictionary = tree.toMap();
    for (auto it = dictionary.cbegin(); it != dictionary.cend(); ++it) {
        if (it.value().typeId() == QMetaType::QString)
            strings.insert(it.key(), it.value());
    }
    return strings;
}

QString KSTInfoPlistStrings::stringValue(const QVariantMap &strings, const QString &key)
{
    const QVariant value = strings.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}
