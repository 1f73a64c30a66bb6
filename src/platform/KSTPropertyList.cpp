#include "KSTPropertyList.h"

#include "KSTBinaryPropertyListReader.h"
#include "KSTBinaryPropertyListWriter.h"
#include "KSTReadOnlyFile.h"
#include "KSTTextPropertyListReader.h"
#include "KSTXmlPropertyListReader.h"
#include "KSTXmlPropertyListWriter.h"

#include <QSaveFile>

namespace {

void setError(QString *error, const QString &message)
{
    if (error)
        *error = message;
}

// XML starts with its declaration, a DOCTYPE or the plist element (after white space, in
// UTF-8 or UTF-16); everything else that is not binary is the text format, whose own "<" only
// opens data ("<0fbd…>").
bool looksLikeXml(const QByteArray &data)
{
    const QString text = KSTTextPropertyListReader::decodedText(data.left(256));
    const QString start = text.trimmed();
    return start.startsWith(QLatin1String("<?xml")) || start.startsWith(QLatin1String("<!")) ||
           start.startsWith(QLatin1String("<plist"));
}

} // namespace

namespace KSTPropertyList {

QVariant fromData(const QByteArray &data, QString *error, Format *format)
{
    if (data.isEmpty()) {
        setError(error, QStringLiteral("The property list is empty."));
        return {};
    }
    if (data.size() > MaximumDataBytes) {
        setError(error, QStringLiteral("The property list is larger than %1 MiB.")
                            .arg(MaximumDataBytes / (1024 * 1024)));
        return {};
    }
    Format recognised = Format::Text;
    if (data.startsWith("bplist"))
        recognised = Format::Binary;
    else if (looksLikeXml(data))
        recognised = Format::Xml;
    if (format)
        *format = recognised;
    switch (recognised) {
    case Format::Binary:
        return KSTBinaryPropertyListReader::read(data, error);
    case Format::Xml:
        return KSTXmlPropertyListReader::read(data, error);
    case Format::Text:
        break;
    }
    return KSTTextPropertyListReader::read(data, error);
}

QVariant readFile(const QString &path, QString *error)
{
    QByteArray data;
    QString readError;
    if (KSTReadOnlyFile::readWholeFile(path, MaximumDataBytes, &data, &readError) !=
        KSTReadOnlyFile::Status::Read) {
        setError(error, readError);
        return {};
    }
    QString parseError;
    const QVariant tree = fromData(data, &parseError);
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
    return KSTXmlPropertyListWriter::write(value);
}

QByteArray toBinary(const QVariant &value)
{
    return KSTBinaryPropertyListWriter::write(value);
}

bool writeXmlFile(const QString &path, const QVariant &value, QString *error)
{
    const QByteArray xml = toXml(value);
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
