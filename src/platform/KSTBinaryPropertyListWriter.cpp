#include "KSTBinaryPropertyListWriter.h"

#include "KSTPropertyList.h"
#include "KSTPropertyListValue.h"

#include <QList>

#include <cstring>
#include <vector>

namespace {

using KSTPropertyListValue::Kind;

// One object of the file. Containers list the objects they refer to: an array its elements,
// a dictionary its keys and then its values.
struct Node
{
    Kind kind = Kind::String;
    QVariant value;
    std::vector<quint64> children;
};

quint64 widthFor(quint64 largest)
{
    if (largest <= 0xFF)
        return 1;
    if (largest <= 0xFFFF)
        return 2;
    if (largest <= 0xFFFFFFFFull)
        return 4;
    return 8;
}

void appendBigEndian(QByteArray *out, quint64 value, quint64 width)
{
    for (quint64 shift = width; shift > 0; --shift)
        out->append(char((value >> (8 * (shift - 1))) & 0xFF));
}

// An unsigned integer object in the smallest width: 0x10 | log2(width).
void appendUnsigned(QByteArray *out, quint64 value)
{
    const quint64 width = widthFor(value);
    const uchar power = width == 1 ? 0 : width == 2 ? 1 : width == 4 ? 2 : 3;
    out->append(char(0x10 | power));
    appendBigEndian(out, value, width);
}

// A marker with a count, the count following as an integer object from 15 on.
void appendHeader(QByteArray *out, uchar type, quint64 count)
{
    if (count < 15) {
        out->append(char((type << 4) | count));
        return;
    }
    out->append(char((type << 4) | 0xF));
    appendUnsigned(out, count);
}

void appendDouble(QByteArray *out, uchar marker, double value)
{
    quint64 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    out->append(char(marker));
    appendBigEndian(out, bits, 8);
}

void appendString(QByteArray *out, const QString &text)
{
    bool ascii = true;
    for (const QChar c : text)
        ascii = ascii && c.unicode() < 0x80;
    if (ascii) {
        appendHeader(out, 0x5, quint64(text.size()));
        out->append(text.toLatin1());
        return;
    }
    appendHeader(out, 0x6, quint64(text.size()));
    for (const QChar c : text)
        appendBigEndian(out, c.unicode(), 2);
}

class Flattener
{
public:
    std::vector<Node> nodes;

    quint64 add(const QVariant &value, int depth)
    {
        const quint64 index = nodes.size();
        nodes.emplace_back();
        Kind kind = KSTPropertyListValue::kindOf(value);
        const bool container = kind == Kind::Dictionary || kind == Kind::Array;
        if (container && depth > KSTPropertyList::MaximumDepth) {
            nodes[index].value = QString();
            return index;
        }
        nodes[index].kind = kind;
        std::vector<quint64> children;
        if (kind == Kind::Dictionary) {
            const QVariantMap map = value.toMap();
            std::vector<quint64> values;
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                children.push_back(addString(it.key()));
                values.push_back(add(it.value(), depth + 1));
            }
            children.insert(children.end(), values.begin(), values.end());
        } else if (kind == Kind::Array) {
            const QVariantList list = value.toList();
            for (const QVariant &item : list)
                children.push_back(add(item, depth + 1));
        } else {
            nodes[index].value = value;
        }
        nodes[index].children = std::move(children);
        return index;
    }

private:
    quint64 addString(const QString &text)
    {
        nodes.push_back(Node{Kind::String, text, {}});
        return nodes.size() - 1;
    }
};

void appendNode(QByteArray *out, const Node &node, quint64 referenceWidth)
{
    switch (node.kind) {
    case Kind::Dictionary:
    case Kind::Array:
        appendHeader(out, node.kind == Kind::Dictionary ? 0xD : 0xA,
                     node.kind == Kind::Dictionary ? node.children.size() / 2
                                                   : node.children.size());
        for (const quint64 child : node.children)
            appendBigEndian(out, child, referenceWidth);
        return;
    case Kind::Boolean:
        out->append(char(node.value.toBool() ? 0x09 : 0x08));
        return;
    case Kind::Integer: {
        const qint64 value = node.value.toLongLong();
        if (value >= 0) {
            appendUnsigned(out, quint64(value));
        } else {
            out->append(char(0x13));
            appendBigEndian(out, quint64(value), 8);
        }
        return;
    }
    case Kind::Unsigned:
        out->append(char(0x14));
        appendBigEndian(out, 0, 8);
        appendBigEndian(out, node.value.toULongLong(), 8);
        return;
    case Kind::Real:
        appendDouble(out, 0x23, node.value.toDouble());
        return;
    case Kind::Date:
        appendDouble(
            out, 0x33,
            double(KSTPropertyListValue::referenceDate().msecsTo(node.value.toDateTime())) /
                1000.0);
        return;
    case Kind::Data: {
        const QByteArray bytes = node.value.toByteArray();
        appendHeader(out, 0x4, quint64(bytes.size()));
        out->append(bytes);
        return;
    }
    case Kind::String:
        appendString(out, node.value.toString());
        return;
    }
}

} // namespace

QByteArray KSTBinaryPropertyListWriter::write(const QVariant &value)
{
    Flattener flattener;
    flattener.add(value, 1);
    const std::vector<Node> &nodes = flattener.nodes;
    const quint64 referenceWidth = widthFor(nodes.size() - 1);

    QByteArray out("bplist00");
    std::vector<quint64> offsets;
    offsets.reserve(nodes.size());
    for (const Node &node : nodes) {
        offsets.push_back(quint64(out.size()));
        appendNode(&out, node, referenceWidth);
    }
    const quint64 tableOffset = quint64(out.size());
    const quint64 offsetWidth = widthFor(offsets.back());
    for (const quint64 offset : offsets)
        appendBigEndian(&out, offset, offsetWidth);
    out.append(6, '\0'); // unused bytes and the sort version
    out.append(char(offsetWidth));
    out.append(char(referenceWidth));
    appendBigEndian(&out, nodes.size(), 8);
    appendBigEndian(&out, 0, 8); // the top object is the first
    appendBigEndian(&out, tableOffset, 8);
    return out;
}
