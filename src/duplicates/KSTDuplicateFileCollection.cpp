#include "KSTDuplicateFileCollection.h"

#include "KSTFileStatus.h"

#include <QFile>

#include <algorithm>
#include <cstring>

namespace {

// Names are packed into blocks of this size; a name never spans two blocks, and a name
// offset is block × size + position, so 32 bits address 4 GiB of names.
constexpr std::size_t NameBlockBytes = 1 << 20;

} // namespace

KSTDuplicateFileCollection::KSTDuplicateFileCollection() = default;
KSTDuplicateFileCollection::~KSTDuplicateFileCollection() = default;
KSTDuplicateFileCollection::KSTDuplicateFileCollection(KSTDuplicateFileCollection &&) noexcept =
    default;
KSTDuplicateFileCollection &
KSTDuplicateFileCollection::operator=(KSTDuplicateFileCollection &&) noexcept = default;

quint32 KSTDuplicateFileCollection::addFolder(const std::string &encodedPath)
{
    m_folders.push_back(encodedPath);
    return static_cast<quint32>(m_folders.size() - 1);
}

void KSTDuplicateFileCollection::addFile(quint32 folder, const char *name, std::size_t length,
                                         const KSTFileStatus &status)
{
    // Names longer than a block cannot exist (NAME_MAX is far smaller); clip defensively.
    length = std::min<std::size_t>(length, 0xffff);
    if (m_nameBlocks.empty() || m_nameBlockUsed + length > NameBlockBytes) {
        m_nameBlocks.emplace_back(new char[NameBlockBytes]);
        m_nameBlockUsed = 0;
    }
    const std::size_t offset = (m_nameBlocks.size() - 1) * NameBlockBytes + m_nameBlockUsed;
    std::memcpy(m_nameBlocks.back().get() + m_nameBlockUsed, name, length);
    m_nameBlockUsed += length;

    auto device = std::find(m_devices.begin(), m_devices.end(), status.device);
    if (device == m_devices.end())
        device = m_devices.insert(m_devices.end(), status.device);

    m_entries.push_back(Entry{status.size, status.modificationTimeMs, status.inode, folder,
                              static_cast<quint32>(offset), static_cast<quint16>(length),
                              static_cast<quint16>(device - m_devices.begin())});
}

const char *KSTDuplicateFileCollection::nameAt(const Entry &entry) const
{
    const std::size_t offset = entry.nameOffset;
    return m_nameBlocks[offset / NameBlockBytes].get() + offset % NameBlockBytes;
}

std::string KSTDuplicateFileCollection::encodedPathAt(qsizetype index) const
{
    const Entry &entry = m_entries[static_cast<size_t>(index)];
    const std::string &folder = m_folders[entry.folder];
    std::string path;
    path.reserve(folder.size() + 1 + entry.nameLength);
    path.append(folder);
    if (path.empty() || path.back() != '/')
        path.push_back('/');
    path.append(nameAt(entry), entry.nameLength);
    return path;
}

QString KSTDuplicateFileCollection::pathAt(qsizetype index) const
{
    const std::string path = encodedPathAt(index);
    return QFile::decodeName(QByteArray::fromRawData(path.data(), qsizetype(path.size())));
}

KSTDuplicateFileRecord KSTDuplicateFileCollection::recordAt(qsizetype index) const
{
    const Entry &entry = m_entries[static_cast<size_t>(index)];
    KSTDuplicateFileRecord record;
    record.path = pathAt(index);
    record.bytes = entry.size;
    record.modificationDate = QDateTime::fromMSecsSinceEpoch(entry.modificationTimeMs, Qt::UTC);
    record.device = m_devices[entry.deviceIndex];
    record.inode = entry.inode;
    return record;
}
