#include "KSTBinaryPropertyListReader.h"

#include "KSTPropertyListBudget.h"
#include "KSTPropertyListValue.h"

#include <QDateTime>

#include <cmath>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <vector>

namespace {

constexpr quint64 HeaderBytes = 8;
constexpr quint64 TrailerBytes = 32;
// Further from 2001 than about three million years is no date anyone wrote, and the
// conversion to milliseconds must not overflow.
constexpr double MaximumDateSeconds = 1e14;

// The high nibble of an object's marker byte.
enum ObjectType : uchar {
    SimpleType = 0x0, // null, false, true, fill
    IntegerType = 0x1,
    RealType = 0x2,
    DateType = 0x3,
    DataType = 0x4,
    AsciiStringType = 0x5,
    Utf16StringType = 0x6,
    UidType = 0x8,
    ArrayType = 0xA,
    OrderedSetType = 0xB,
    SetType = 0xC,
    DictionaryType = 0xD,
};

constexpr uchar FalseMarker = 0x8;
constexpr uchar TrueMarker = 0x9;
constexpr uchar LongLength = 0xF;

quint64 bigEndian(const uchar *bytes, quint64 width)
{
    quint64 value = 0;
    for (quint64 index = 0; index < width; ++index)
        value = (value << 8) | bytes[index];
    return value;
}

QDateTime dateFromSeconds(double seconds)
{
    if (!std::isfinite(seconds) || std::fabs(seconds) > MaximumDateSeconds)
        return QDateTime();
    return KSTPropertyListValue::referenceDate().addMSecs(std::llround(seconds * 1000.0));
}

class BinaryParser
{
public:
    explicit BinaryParser(const QByteArray &data)
        : m_bytes(reinterpret_cast<const uchar *>(data.constData())), m_size(quint64(data.size()))
    {
    }

    QVariant parse();
    const QString &error() const { return m_error; }

private:
    // A finished object with what it costs wherever it is used: every value and payload byte
    // of its subtree. Writers share equal objects, so one object may be met many times; it is
    // built once and its QVariant (implicitly shared) reused.
    struct Built
    {
        QVariant value;
        qint64 values = 0;
        qint64 payload = 0;
    };

    // A container being filled; its references are read one at a time.
    struct Frame
    {
        quint64 object = 0;
        bool isDictionary = false;
        quint64 count = 0;
        quint64 references = 0; // offset of the first reference
        quint64 next = 0;
        QVariantList list;
        QVariantMap map;
        QString key;
        qint64 values = 1; // itself
        qint64 payload = 0;
    };

    bool fail(const QString &why)
    {
        if (m_error.isEmpty())
            m_error = why;
        return false;
    }

    bool readTrailer();
    bool objectOffset(quint64 index, quint64 *offset);
    bool reference(quint64 at, quint64 *index);
    bool lengthAndPayload(quint64 offset, quint64 *length, quint64 *payload);
    bool payloadFits(quint64 payload, quint64 count, quint64 unit);
    bool visit(quint64 index, const Built **leaf);
    bool reuse(const Built &built);
    bool leafValue(quint64 offset, Built *built);
    bool numberValue(uchar type, uchar info, quint64 offset, QVariant *value);
    bool bytesValue(uchar type, quint64 offset, Built *built);
    bool keyAt(quint64 index, QString *key, qint64 *payload);
    void deliver(const Built &built);

    const uchar *m_bytes;
    quint64 m_size;
    quint64 m_offsetSize = 0;
    quint64 m_referenceSize = 0;
    quint64 m_objectCount = 0;
    quint64 m_topObject = 0;
    quint64 m_tableOffset = 0; // also the end of the objects
    std::vector<Frame> m_stack;
    std::vector<bool> m_open; // objects whose container is on the stack
    // Objects built so far; never more than the value cap, since each took a value.
    std::unordered_map<quint64, Built> m_built;
    KSTPropertyListBudget m_budget;
    QString m_error;
};

bool BinaryParser::readTrailer()
{
    // The header, one object, one offset and the trailer.
    if (m_size < HeaderBytes + 2 + TrailerBytes)
        return fail(QStringLiteral("it is too short"));
    if (std::memcmp(m_bytes, "bplist00", HeaderBytes) != 0)
        return fail(QStringLiteral("it does not start with bplist00"));
    const quint64 trailerStart = m_size - TrailerBytes;
    const uchar *trailer = m_bytes + trailerStart;
    m_offsetSize = trailer[6];
    m_referenceSize = trailer[7];
    m_objectCount = bigEndian(trailer + 8, 8);
    m_topObject = bigEndian(trailer + 16, 8);
    m_tableOffset = bigEndian(trailer + 24, 8);
    const auto isWidth = [](quint64 width) {
        return width == 1 || width == 2 || width == 4 || width == 8;
    };
    if (!isWidth(m_offsetSize) || !isWidth(m_referenceSize))
        return fail(QStringLiteral("its trailer gives an impossible offset or reference size"));
    if (m_tableOffset <= HeaderBytes || m_tableOffset >= trailerStart)
        return fail(QStringLiteral("its offset table lies outside the data"));
    if (m_objectCount == 0 || m_objectCount > (trailerStart - m_tableOffset) / m_offsetSize)
        return fail(QStringLiteral("its trailer gives an impossible number of objects"));
    if (m_topObject >= m_objectCount)
        return fail(QStringLiteral("its top object is not one of its objects"));
    m_open.assign(m_objectCount, false);
    return true;
}

bool BinaryParser::objectOffset(quint64 index, quint64 *offset)
{
    *offset = bigEndian(m_bytes + m_tableOffset + index * m_offsetSize, m_offsetSize);
    if (*offset < HeaderBytes || *offset >= m_tableOffset)
        return fail(QStringLiteral("an object lies outside the data"));
    return true;
}

bool BinaryParser::reference(quint64 at, quint64 *index)
{
    *index = bigEndian(m_bytes + at, m_referenceSize);
    if (*index >= m_objectCount)
        return fail(QStringLiteral("a reference names no object"));
    return true;
}

bool BinaryParser::lengthAndPayload(quint64 offset, quint64 *length, quint64 *payload)
{
    const uchar info = m_bytes[offset] & 0xF;
    if (info != LongLength) {
        *length = info;
        *payload = offset + 1;
        return true;
    }
    // A longer length follows as an integer object of 1, 2, 4 or 8 bytes.
    const quint64 at = offset + 1;
    if (at >= m_tableOffset || (m_bytes[at] >> 4) != IntegerType || (m_bytes[at] & 0xF) > 3)
        return fail(QStringLiteral("a length is not a small integer"));
    const quint64 width = quint64(1) << (m_bytes[at] & 0xF);
    if (width > m_tableOffset - at - 1)
        return fail(QStringLiteral("a length runs past the objects"));
    *length = bigEndian(m_bytes + at + 1, width);
    *payload = at + 1 + width;
    return true;
}

bool BinaryParser::payloadFits(quint64 payload, quint64 count, quint64 unit)
{
    if (payload > m_tableOffset || count > (m_tableOffset - payload) / unit)
        return fail(QStringLiteral("an object runs past the objects"));
    return true;
}

bool BinaryParser::reuse(const Built &built)
{
    if (!m_budget.takeValues(built.values) || !m_budget.takePayload(built.payload))
        return fail(m_budget.error());
    return true;
}

// Either sets @p leaf to a finished object (a leaf, or a container built before) or pushes
// the frame of a container to fill.
bool BinaryParser::visit(quint64 index, const Built **leaf)
{
    if (const auto found = m_built.find(index); found != m_built.end()) {
        *leaf = &found->second;
        return reuse(found->second);
    }
    if (m_open[index])
        return fail(QStringLiteral("a container contains itself"));
    quint64 offset = 0;
    if (!objectOffset(index, &offset))
        return false;
    const uchar type = m_bytes[offset] >> 4;
    if (type != ArrayType && type != OrderedSetType && type != SetType && type != DictionaryType) {
        Built built;
        if (!leafValue(offset, &built) || !reuse(built))
            return false;
        *leaf = &m_built.emplace(index, std::move(built)).first->second;
        return true;
    }
    if (!m_budget.takeValues() || !m_budget.mayNest(qsizetype(m_stack.size())))
        return fail(m_budget.error());
    Frame frame;
    frame.object = index;
    frame.isDictionary = type == DictionaryType;
    if (!lengthAndPayload(offset, &frame.count, &frame.references))
        return false;
    const quint64 referencesPerEntry = frame.isDictionary ? 2 : 1;
    if (!payloadFits(frame.references, frame.count, m_referenceSize * referencesPerEntry))
        return false;
    m_open[index] = true;
    m_stack.push_back(std::move(frame));
    return true;
}

bool BinaryParser::leafValue(quint64 offset, Built *built)
{
    const uchar type = m_bytes[offset] >> 4;
    const uchar info = m_bytes[offset] & 0xF;
    built->values = 1;
    switch (type) {
    case SimpleType:
        if (info != FalseMarker && info != TrueMarker)
            return fail(QStringLiteral("it holds a null or fill object, which maps to no value"));
        built->value = info == TrueMarker;
        return true;
    case IntegerType:
    case RealType:
    case DateType:
    case UidType:
        return numberValue(type, info, offset, &built->value);
    case DataType:
    case AsciiStringType:
    case Utf16StringType:
        return bytesValue(type, offset, built);
    default:
        return fail(QStringLiteral("it holds an object of unknown type 0x%1").arg(type, 0, 16));
    }
}

bool BinaryParser::numberValue(uchar type, uchar info, quint64 offset, QVariant *value)
{
    quint64 width = 0;
    if (type == IntegerType && info <= 4)
        width = quint64(1) << info;
    else if ((type == RealType && (info == 2 || info == 3)) || (type == DateType && info == 3))
        width = quint64(1) << info;
    else if (type == UidType && info < 8)
        width = quint64(info) + 1;
    else
        return fail(QStringLiteral("a number has an impossible width"));
    if (width > m_tableOffset - offset - 1)
        return fail(QStringLiteral("a number runs past the objects"));
    const uchar *bytes = m_bytes + offset + 1;

    if (type == UidType) {
        *value = QVariant::fromValue(quint64(bigEndian(bytes, width)));
    } else if (type == IntegerType && width <= 8) {
        // Up to 4 bytes unsigned; the 8-byte form is signed two's complement.
        *value = QVariant::fromValue(qint64(bigEndian(bytes, width)));
    } else if (type == IntegerType) {
        // 16 bytes: only values that fit 64 bits, signed or unsigned, are taken.
        const quint64 high = bigEndian(bytes, 8);
        const quint64 low = bigEndian(bytes + 8, 8);
        if (high == 0 && low > quint64(std::numeric_limits<qint64>::max()))
            *value = QVariant::fromValue(low);
        else if (high == 0 || (high == ~quint64(0) && qint64(low) < 0))
            *value = QVariant::fromValue(qint64(low));
        else
            return fail(QStringLiteral("an integer is wider than 64 bits"));
    } else if (width == 4) {
        const quint32 bits = quint32(bigEndian(bytes, 4));
        float real = 0;
        std::memcpy(&real, &bits, sizeof real);
        *value = double(real);
    } else {
        const quint64 bits = bigEndian(bytes, 8);
        double real = 0;
        std::memcpy(&real, &bits, sizeof real);
        if (type == DateType)
            *value = dateFromSeconds(real);
        else
            *value = real;
    }
    return true;
}

bool BinaryParser::bytesValue(uchar type, quint64 offset, Built *built)
{
    quint64 count = 0;
    quint64 payload = 0;
    if (!lengthAndPayload(offset, &count, &payload))
        return false;
    const quint64 unit = type == Utf16StringType ? 2 : 1;
    if (!payloadFits(payload, count, unit))
        return false;
    // The payload is taken from the budget by the caller, at every use of the object.
    built->payload = qint64(count * unit);
    const char *bytes = reinterpret_cast<const char *>(m_bytes + payload);
    if (type == DataType) {
        built->value = QByteArray(bytes, qsizetype(count));
    } else if (type == AsciiStringType) {
        built->value = QString::fromLatin1(bytes, qsizetype(count));
    } else {
        QString text(qsizetype(count), Qt::Uninitialized);
        QChar *characters = text.data();
        const uchar *units = m_bytes + payload;
        for (quint64 index = 0; index < count; ++index)
            characters[index] = QChar(char16_t((units[2 * index] << 8) | units[2 * index + 1]));
        built->value = std::move(text);
    }
    return true;
}

bool BinaryParser::keyAt(quint64 index, QString *key, qint64 *payload)
{
    auto found = m_built.find(index);
    if (found == m_built.end()) {
        quint64 offset = 0;
        if (!objectOffset(index, &offset))
            return false;
        const uchar type = m_bytes[offset] >> 4;
        if (type != AsciiStringType && type != Utf16StringType)
            return fail(QStringLiteral("a dictionary key is not a string"));
        Built built;
        if (!bytesValue(type, offset, &built))
            return false;
        built.values = 1;
        found = m_built.emplace(index, std::move(built)).first;
    }
    if (found->second.value.typeId() != QMetaType::QString)
        return fail(QStringLiteral("a dictionary key is not a string"));
    // A key is no value of the tree, but its text is payload.
    if (!m_budget.takePayload(found->second.payload))
        return fail(m_budget.error());
    *key = found->second.value.toString();
    *payload = found->second.payload;
    return true;
}

void BinaryParser::deliver(const Built &built)
{
    Frame &frame = m_stack.back();
    if (frame.isDictionary)
        frame.map.insert(frame.key, built.value);
    else
        frame.list.append(built.value);
    frame.values += built.values;
    frame.payload += built.payload;
}

QVariant BinaryParser::parse()
{
    if (!readTrailer())
        return {};
    const Built *leaf = nullptr;
    if (!visit(m_topObject, &leaf))
        return {};
    if (leaf)
        return leaf->value;
    // Depth first with an explicit stack: a nested container is pushed when its reference is
    // met and handed to its parent when its last reference has been read.
    while (!m_stack.empty()) {
        Frame &frame = m_stack.back();
        if (frame.next == frame.count) {
            Frame finished = std::move(frame);
            m_stack.pop_back();
            m_open[finished.object] = false;
            Built built;
            built.value = finished.isDictionary ? QVariant(std::move(finished.map))
                                                : QVariant(std::move(finished.list));
            built.values = finished.values;
            built.payload = finished.payload;
            if (m_stack.empty())
                return built.value;
            deliver(m_built.emplace(finished.object, std::move(built)).first->second);
            continue;
        }
        const quint64 position = frame.next++;
        quint64 child = 0;
        if (frame.isDictionary) {
            quint64 key = 0;
            qint64 keyPayload = 0;
            if (!reference(frame.references + position * m_referenceSize, &key) ||
                !keyAt(key, &frame.key, &keyPayload) ||
                !reference(frame.references + (frame.count + position) * m_referenceSize, &child))
                return {};
            frame.payload += keyPayload;
        } else if (!reference(frame.references + position * m_referenceSize, &child)) {
            return {};
        }
        // visit() may push a frame; the reference above is not used after it.
        const Built *value = nullptr;
        if (!visit(child, &value))
            return {};
        if (value)
            deliver(*value);
    }
    return {};
}

} // namespace

QVariant KSTBinaryPropertyListReader::read(const QByteArray &data, QString *error)
{
    BinaryParser parser(data);
    QVariant tree = parser.parse();
    if (!tree.isValid() && error)
        *error = QStringLiteral("The data is not a readable binary property list: %1.")
                     .arg(parser.error());
    return tree;
}
