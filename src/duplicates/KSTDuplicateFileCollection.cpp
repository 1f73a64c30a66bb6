#include "KSTDuplicateFileCollection.h"

#include "KSTFileName.h"
#include "KSTNoFollowPath.h"
#include "KSTReadOnlyFile.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace {

// Names are packed into blocks of this size; a name never spans two blocks, and a name
// offset is block × size + position, so 32 bits address 4 GiB of names.
constexpr std::size_t NameBlockBytes = 1 << 20;

// Descriptors the hash workers hold beside the held folders at most: the files one worker
// compares at once, for each worker, and some to spare.
constexpr std::size_t DescriptorsBesideFolders = 256;

// Grows this process's descriptor table to room for @p count more descriptors than it holds
// now, at once. Left to grow on demand it grows by doubling, and in a process with threads
// each growth waits for an RCU grace period while every thread that opens a file waits too:
// the hash workers stalled together several times in a scan's first batch. @p anyFd is a
// descriptor to duplicate.
void reserveDescriptors(int anyFd, std::size_t count)
{
    struct rlimit limit;
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    const int lowestFree = ::fcntl(anyFd, F_DUPFD_CLOEXEC, 0);
    if (lowestFree < 0)
        return;
    ::close(lowestFree);
    std::size_t wanted = std::size_t(lowestFree) + count;
    if (limit.rlim_cur != RLIM_INFINITY)
        wanted = std::min<std::size_t>(wanted, std::size_t(limit.rlim_cur) - 1);
    if (wanted <= std::size_t(lowestFree) || wanted > std::size_t(std::numeric_limits<int>::max()))
        return;
    // The table grows to hold the highest descriptor asked for; the descriptor itself goes.
    const int highest = ::fcntl(anyFd, F_DUPFD_CLOEXEC, int(wanted));
    if (highest >= 0)
        ::close(highest);
}

} // namespace

KSTDuplicateFileCollection::KSTDuplicateFileCollection() = default;

KSTDuplicateFileCollection::~KSTDuplicateFileCollection()
{
    closeHeldFolders();
    closeRoots();
}

KSTDuplicateFileCollection::KSTDuplicateFileCollection(KSTDuplicateFileCollection &&other) noexcept
    : m_roots(std::exchange(other.m_roots, {})), m_entries(std::move(other.m_entries)),
      m_nameBlocks(std::move(other.m_nameBlocks)),
      m_nameBlockUsed(std::exchange(other.m_nameBlockUsed, 0)),
      m_folders(std::move(other.m_folders)), m_devices(std::move(other.m_devices)),
      m_heldFolders(std::move(other.m_heldFolders)),
      m_heldCount(other.m_heldCount.exchange(0, std::memory_order_relaxed)),
      m_holdMaximum(std::exchange(other.m_holdMaximum, 0)),
      m_heldSlots(std::exchange(other.m_heldSlots, 0))
{
}

KSTDuplicateFileCollection &
KSTDuplicateFileCollection::operator=(KSTDuplicateFileCollection &&other) noexcept
{
    if (this != &other) {
        closeHeldFolders();
        closeRoots();
        m_roots = std::exchange(other.m_roots, {});
        m_entries = std::move(other.m_entries);
        m_nameBlocks = std::move(other.m_nameBlocks);
        m_nameBlockUsed = std::exchange(other.m_nameBlockUsed, 0);
        m_folders = std::move(other.m_folders);
        m_devices = std::move(other.m_devices);
        m_heldFolders = std::move(other.m_heldFolders);
        m_heldCount.store(other.m_heldCount.exchange(0, std::memory_order_relaxed),
                          std::memory_order_relaxed);
        m_holdMaximum = std::exchange(other.m_holdMaximum, 0);
        m_heldSlots = std::exchange(other.m_heldSlots, 0);
    }
    return *this;
}

void KSTDuplicateFileCollection::closeRoots()
{
    for (const Root &root : m_roots) {
        if (root.fd >= 0)
            ::close(root.fd);
    }
    m_roots.clear();
}

void KSTDuplicateFileCollection::closeHeldFolders()
{
    if (!m_heldFolders)
        return;
    for (std::size_t folder = 0; folder < m_heldSlots; ++folder) {
        const int fd = m_heldFolders[folder].load(std::memory_order_relaxed);
        if (fd >= 0)
            ::close(fd);
    }
    m_heldFolders.reset();
    m_heldSlots = 0;
    m_heldCount.store(0, std::memory_order_relaxed);
}

void KSTDuplicateFileCollection::holdFolders(std::size_t maximum)
{
    closeHeldFolders();
    m_holdMaximum = maximum;
    if (maximum == 0 || m_folders.empty())
        return;
    m_heldSlots = m_folders.size();
    m_heldFolders = std::make_unique<std::atomic<int>[]>(m_heldSlots);
    for (std::size_t folder = 0; folder < m_heldSlots; ++folder)
        m_heldFolders[folder].store(NotHeld, std::memory_order_relaxed);
    if (!m_roots.empty())
        reserveDescriptors(m_roots.front().fd,
                           std::min(maximum, m_heldSlots) + DescriptorsBesideFolders);
}

std::size_t KSTDuplicateFileCollection::folderHoldingAllowance()
{
    struct rlimit limit;
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return 4096;
    return std::min<std::size_t>(limit.rlim_cur / 16, 4096);
}

int KSTDuplicateFileCollection::openFolder(quint32 folder) const
{
    const Folder &entry = m_folders[folder];
    const int rootFd = m_roots[entry.root].fd;
    return entry.relativePath.empty()
               ? ::openat(rootFd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)
               : KSTNoFollowPath::openBeneath(rootFd, QByteArray::fromStdString(entry.relativePath),
                                              O_RDONLY | O_DIRECTORY);
}

int KSTDuplicateFileCollection::heldFolder(quint32 folder) const
{
    if (!m_heldFolders || folder >= m_heldSlots)
        return -1;
    std::atomic<int> &slot = m_heldFolders[folder];
    // Acquire: a descriptor another thread stored is used only after its open completed.
    int fd = slot.load(std::memory_order_acquire);
    if (fd != NotHeld)
        return fd;
    int expected = NotHeld;
    if (m_heldCount.fetch_add(1, std::memory_order_relaxed) >= m_holdMaximum) {
        // Past the allowance; never overwrite what another thread stored meanwhile.
        slot.compare_exchange_strong(expected, Unheld, std::memory_order_acq_rel,
                                     std::memory_order_acquire);
        return expected >= 0 ? expected : -1;
    }
    const int opened = openFolder(folder);
    if (slot.compare_exchange_strong(expected, opened < 0 ? Unheld : opened,
                                     std::memory_order_acq_rel, std::memory_order_acquire))
        return opened;
    // Another thread held it first: use its descriptor.
    if (opened >= 0)
        ::close(opened);
    return expected >= 0 ? expected : -1;
}

quint32 KSTDuplicateFileCollection::addRoot(const std::string &encodedPath, int fd)
{
    m_roots.push_back({encodedPath, fd});
    return static_cast<quint32>(m_roots.size() - 1);
}

quint32 KSTDuplicateFileCollection::addFolder(quint32 root, const std::string &relativePath)
{
    m_folders.push_back({root, relativePath});
    return static_cast<quint32>(m_folders.size() - 1);
}

quint16 KSTDuplicateFileCollection::deviceIndexOf(quint64 device)
{
    auto found = std::find(m_devices.begin(), m_devices.end(), device);
    if (found == m_devices.end())
        found = m_devices.insert(m_devices.end(), device);
    return static_cast<quint16>(found - m_devices.begin());
}

void KSTDuplicateFileCollection::addFile(quint32 folder, const char *name, std::size_t length,
                                         const KSTFileIdentity &identity)
{
    // Names longer than a block cannot exist (NAME_MAX is far smaller); clip defensively.
    length = std::min<std::size_t>(length, 0xffff);
    // With a NUL after it, so that openFile() passes the name as it lies.
    if (m_nameBlocks.empty() || m_nameBlockUsed + length + 1 > NameBlockBytes) {
        m_nameBlocks.emplace_back(new char[NameBlockBytes]);
        m_nameBlockUsed = 0;
    }
    const std::size_t offset = (m_nameBlocks.size() - 1) * NameBlockBytes + m_nameBlockUsed;
    char *stored = m_nameBlocks.back().get() + m_nameBlockUsed;
    std::memcpy(stored, name, length);
    stored[length] = '\0';
    m_nameBlockUsed += length + 1;

    m_entries.push_back(Entry{
        quint64(std::max<qint64>(identity.size, 0)), identity.modifiedSeconds, identity.inode,
        static_cast<quint32>(identity.modifiedNanoseconds), folder, static_cast<quint32>(offset),
        static_cast<quint32>(std::min<quint64>(identity.linkCount, 0xffffffffu)),
        static_cast<quint16>(length), deviceIndexOf(identity.device)});
}

void KSTDuplicateFileCollection::append(KSTDuplicateFileCollection &&part)
{
    const auto folderBase = static_cast<quint32>(m_folders.size());
    const std::size_t nameBase = m_nameBlocks.size() * NameBlockBytes;
    for (Folder &folder : part.m_folders)
        m_folders.push_back(std::move(folder));
    if (!part.m_nameBlocks.empty()) {
        for (std::unique_ptr<char[]> &block : part.m_nameBlocks)
            m_nameBlocks.push_back(std::move(block));
        m_nameBlockUsed = part.m_nameBlockUsed;
    }
    for (std::size_t index = 0; index < part.m_entries.size(); ++index) {
        Entry entry = part.m_entries[index];
        entry.folder += folderBase;
        entry.nameOffset = static_cast<quint32>(entry.nameOffset + nameBase);
        entry.deviceIndex = deviceIndexOf(part.m_devices[entry.deviceIndex]);
        m_entries.push_back(entry);
    }
    part.m_entries.clear();
    part.m_folders.clear();
    part.m_nameBlocks.clear();
    part.m_nameBlockUsed = 0;
    part.m_devices.clear();
}

const char *KSTDuplicateFileCollection::nameAt(const Entry &entry) const
{
    const std::size_t offset = entry.nameOffset;
    return m_nameBlocks[offset / NameBlockBytes].get() + offset % NameBlockBytes;
}

KSTFileIdentity KSTDuplicateFileCollection::identityAt(qsizetype index) const
{
    const Entry &entry = m_entries[static_cast<size_t>(index)];
    KSTFileIdentity identity;
    identity.kind = KSTFileIdentity::Kind::File;
    identity.device = m_devices[entry.deviceIndex];
    identity.inode = entry.inode;
    identity.size = static_cast<qint64>(entry.size);
    identity.modifiedSeconds = entry.modifiedSeconds;
    identity.modifiedNanoseconds = entry.modifiedNanoseconds;
    identity.linkCount = entry.linkCount;
    return identity;
}

std::string KSTDuplicateFileCollection::encodedPathAt(qsizetype index) const
{
    const Entry &entry = m_entries[static_cast<size_t>(index)];
    const Folder &folder = m_folders[entry.folder];
    const std::string &root = m_roots[folder.root].path;
    std::string path;
    path.reserve(root.size() + folder.relativePath.size() + 2 + entry.nameLength);
    path.append(root);
    if (!folder.relativePath.empty()) {
        if (path.empty() || path.back() != '/')
            path.push_back('/');
        path.append(folder.relativePath);
    }
    if (path.empty() || path.back() != '/')
        path.push_back('/');
    path.append(nameAt(entry), entry.nameLength);
    return path;
}

QString KSTDuplicateFileCollection::pathAt(qsizetype index) const
{
    const std::string path = encodedPathAt(index);
    return KSTFileName::decoded(path.data(), qsizetype(path.size()));
}

KSTDuplicateFileRecord KSTDuplicateFileCollection::recordAt(qsizetype index) const
{
    KSTDuplicateFileRecord record;
    record.path = pathAt(index);
    record.identity = identityAt(index);
    record.bytes = m_entries[static_cast<size_t>(index)].size;
    record.modificationDate =
        QDateTime::fromMSecsSinceEpoch(record.identity.modifiedMilliseconds(), Qt::UTC);
    return record;
}

KSTDuplicateFileCollection::FolderCursor::~FolderCursor()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

bool KSTDuplicateFileCollection::openFile(qsizetype index, KSTReadOnlyFile &file,
                                          FolderCursor *cursor) const
{
    const Entry &entry = m_entries[static_cast<size_t>(index)];
    // Names are kept with a terminating NUL: the name alone is opened where it lies.
    const char *name = nameAt(entry);
    bool opened = false;
    if (const int held = heldFolder(entry.folder); held >= 0) {
        opened = file.openBeneath(held, name);
    } else if (cursor) {
        if (cursor->m_folder != entry.folder) {
            if (cursor->m_fd >= 0)
                ::close(cursor->m_fd);
            cursor->m_folder = entry.folder;
            cursor->m_fd = openFolder(entry.folder);
        }
        opened = cursor->m_fd >= 0 && file.openBeneath(cursor->m_fd, name);
    } else {
        // The whole path below the scan folder, built in a buffer each thread keeps.
        const Folder &folder = m_folders[entry.folder];
        thread_local std::string relative;
        relative.assign(name, entry.nameLength);
        if (!folder.relativePath.empty())
            relative.insert(0, folder.relativePath + '/');
        opened = file.openBeneath(m_roots[folder.root].fd, relative.c_str());
    }
    if (!opened)
        return false;
    if (!identityAt(index).matches(file.identity())) {
        file.close();
        return false;
    }
    return true;
}
