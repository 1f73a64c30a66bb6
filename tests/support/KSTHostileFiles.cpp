#include "KSTHostileFiles.h"

#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

int widthFor(quint64 largest)
{
    if (largest <= 0xFF)
        return 1;
    if (largest <= 0xFFFF)
        return 2;
    return largest <= 0xFFFFFFFFull ? 4 : 8;
}

QByteArray bigEndian(quint64 value, int width)
{
    QByteArray bytes;
    for (int shift = width - 1; shift >= 0; --shift)
        bytes.append(char((value >> (8 * shift)) & 0xFF));
    return bytes;
}

// A marker with its count, the count following as an integer object from 15 on.
QByteArray header(uchar type, quint64 count)
{
    if (count < 15)
        return QByteArray(1, char((type << 4) | count));
    return QByteArray(1, char((type << 4) | 0xF)) + char(0x13) + bigEndian(count, 8);
}

} // namespace

namespace KSTHostileFiles {

QByteArray binaryPlist(const QList<QByteArray> &objects, quint64 top, int referenceWidth)
{
    QByteArray out("bplist00");
    QList<quint64> offsets;
    for (const QByteArray &object : objects) {
        offsets << quint64(out.size());
        out += object;
    }
    const quint64 tableOffset = quint64(out.size());
    const int offsetWidth = widthFor(offsets.isEmpty() ? 0 : offsets.last());
    for (const quint64 offset : offsets)
        out += bigEndian(offset, offsetWidth);
    out += QByteArray(6, '\0');
    out += char(offsetWidth);
    out += char(referenceWidth);
    out += bigEndian(quint64(objects.size()), 8);
    out += bigEndian(top, 8);
    out += bigEndian(tableOffset, 8);
    return out;
}

QByteArray nulKeyBinaryPlist()
{
    return binaryPlist({QByteArray("\xD1\x01\x02", 3), QByteArray("\x51\x00", 2),
                        QByteArray("\x53"
                                   "abc")});
}

QByteArray nestedArraysBinaryPlist(int depth)
{
    const int width = widthFor(quint64(depth));
    QList<QByteArray> objects;
    for (int level = 0; level + 1 < depth; ++level)
        objects << header(0xA, 1) + bigEndian(quint64(level + 1), width);
    objects << header(0xA, 0);
    return binaryPlist(objects, 0, width);
}

QByteArray nestedArraysXmlPlist(int depth)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" +
           QByteArray("<array>").repeated(depth) + QByteArray("</array>").repeated(depth) +
           "</plist>\n";
}

QByteArray sharedArraysBinaryPlist(int levels, int fanOut)
{
    const int width = widthFor(quint64(levels));
    QList<QByteArray> objects;
    for (int level = 0; level < levels; ++level)
        objects << header(0xA, quint64(fanOut)) +
                       bigEndian(quint64(level + 1), width).repeated(fanOut);
    objects << QByteArray("\x51x");
    return binaryPlist(objects, 0, width);
}

QByteArray entityExpansionXmlPlist()
{
    QByteArray declarations = "<!ENTITY e0 \"laughter\">\n";
    for (int level = 1; level <= 9; ++level)
        declarations += "<!ENTITY e" + QByteArray::number(level) + " \"" +
                        QByteArray("&e" + QByteArray::number(level - 1) + ";").repeated(10) +
                        "\">\n";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist [\n" + declarations +
           "]>\n<plist version=\"1.0\"><dict><key>k</key><string>&e9;</string></dict></plist>\n";
}

bool makeFifo(const QString &path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    return ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0;
}

bool makeSparseFile(const QString &path, qint64 bytes, const QByteArray &head)
{
    if (!KSTTestSupport::writeFile(path, head))
        return false;
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.resize(bytes);
}

} // namespace KSTHostileFiles
