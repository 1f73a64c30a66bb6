#pragma once

#include "KSTDuplicateSnapshot.h"
#include "KSTFileIdentity.h"

#include <QtGlobal>

#include <atomic>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class KSTReadOnlyFile;

/// The files a duplicate scan collected, stored compactly: a scan of a few hundred thousand
/// files keeps each one as about fifty bytes (size, time, identity and its name in a shared
/// arena, its folder by number) instead of a record with its own path string. Records are
/// made on demand, only for files that end up in a group.
///
/// The scan folders are held open (the collection owns their descriptors) and every folder
/// is known by its path relative to one of them, so that a file is opened again below its
/// scan folder without following a link on the way (openFile()), whatever happens to the
/// path above it.
///
/// Indexes are collection order. Entries and names live in blocks that never move, so growing
/// the collection never copies what it holds.
///
/// Not thread-safe while being filled; afterwards any number of threads may read it and open
/// its files.
class KSTDuplicateFileCollection
{
public:
    KSTDuplicateFileCollection();
    ~KSTDuplicateFileCollection();
    KSTDuplicateFileCollection(KSTDuplicateFileCollection &&) noexcept;
    KSTDuplicateFileCollection &operator=(KSTDuplicateFileCollection &&) noexcept;
    KSTDuplicateFileCollection(const KSTDuplicateFileCollection &) = delete;
    KSTDuplicateFileCollection &operator=(const KSTDuplicateFileCollection &) = delete;

    /// Registers a scan folder by its encoded absolute path (clean, no trailing slash except
    /// "/") and the descriptor it is open at, which the collection closes; returns its number.
    quint32 addRoot(const std::string &encodedPath, int fd);
    /// The descriptor of scan folder @p root.
    int rootDescriptor(quint32 root) const { return m_roots[root].fd; }
    /// The encoded path of scan folder @p root.
    const std::string &rootPath(quint32 root) const { return m_roots[root].path; }

    /// Registers a folder by its encoded path relative to scan folder @p root ("" for the
    /// scan folder itself); returns its number for addFile().
    quint32 addFolder(quint32 root, const std::string &relativePath);
    /// Adds the file @p name (encoded, @p length bytes) of folder @p folder as it was seen.
    void addFile(quint32 folder, const char *name, std::size_t length,
                 const KSTFileIdentity &identity);
    /// Moves the folders and files of @p part, filled against this collection's roots, to the
    /// end of this one; @p part is left empty.
    void append(KSTDuplicateFileCollection &&part);

    qsizetype count() const { return static_cast<qsizetype>(m_entries.size()); }
    bool isEmpty() const { return m_entries.empty(); }

    quint64 bytesAt(qsizetype index) const { return m_entries[static_cast<size_t>(index)].size; }
    quint64 deviceAt(qsizetype index) const
    {
        return m_devices[m_entries[static_cast<size_t>(index)].deviceIndex];
    }
    quint64 inodeAt(qsizetype index) const { return m_entries[static_cast<size_t>(index)].inode; }
    quint64 linkCountAt(qsizetype index) const
    {
        return m_entries[static_cast<size_t>(index)].linkCount;
    }
    /// What the walk saw of file @p index.
    KSTFileIdentity identityAt(qsizetype index) const;
    /// The encoded absolute path of file @p index.
    std::string encodedPathAt(qsizetype index) const;
    /// The absolute path of file @p index, decoded losslessly (KSTFileName).
    QString pathAt(qsizetype index) const;
    /// The full record of file @p index (path, bytes, modification date, identity).
    KSTDuplicateFileRecord recordAt(qsizetype index) const;

    /// A folder of the collection held open from one file to the next, so that files of one
    /// folder opened one after another cost a lookup of their name only. One per thread; it
    /// closes its folder when destroyed and must not outlive the collection.
    class FolderCursor
    {
    public:
        FolderCursor() = default;
        ~FolderCursor();
        FolderCursor(const FolderCursor &) = delete;
        FolderCursor &operator=(const FolderCursor &) = delete;

    private:
        friend class KSTDuplicateFileCollection;
        quint32 m_folder = 0xffffffffu;
        int m_fd = -1;
    };

    /// Opens file @p index below its scan folder, following no link, and keeps it open only
    /// when it is still the file the walk saw (identityAt()). False otherwise. Its folder is
    /// taken from the held folders (holdFolders()) when it is one of them, else from
    /// @p cursor, which opens it (the same way) once for consecutive files of one folder, else
    /// the whole path below the scan folder is walked.
    bool openFile(qsizetype index, KSTReadOnlyFile &file, FolderCursor *cursor = nullptr) const;

    /// Lets openFile() keep up to @p maximum folders open, each opened the first time one of
    /// its files is, until the collection is destroyed: files are opened by name alone, with
    /// no folder lookup, whichever thread and stage opens them. Call once the collection is
    /// filled (folders added later are never held) and before sharing it between threads; the
    /// held folders are shared safely afterwards.
    void holdFolders(std::size_t maximum);
    /// How many folders holdFolders() allows for this process: a sixteenth of its descriptor
    /// limit, at most 4096, so that hashing and the rest of the program keep plenty.
    static std::size_t folderHoldingAllowance();

private:
    // A growing list kept in large blocks that never move: indexing stays two loads, growing
    // never copies, and a walk that collects a million files allocates a few hundred times
    // instead of once every ten files (each growth of a thread's heap is a system call that
    // stops the other threads' page faults).
    template <typename T> class BlockList
    {
    public:
        static constexpr std::size_t BlockBits = 12;
        static constexpr std::size_t BlockSize = std::size_t(1) << BlockBits;

        BlockList() = default;
        BlockList(BlockList &&other) noexcept
            : m_blocks(std::move(other.m_blocks)), m_size(std::exchange(other.m_size, 0))
        {
            other.m_blocks.clear();
        }
        BlockList &operator=(BlockList &&other) noexcept
        {
            m_blocks = std::move(other.m_blocks);
            other.m_blocks.clear();
            m_size = std::exchange(other.m_size, 0);
            return *this;
        }

        std::size_t size() const { return m_size; }
        bool empty() const { return m_size == 0; }
        T &operator[](std::size_t index)
        {
            return m_blocks[index >> BlockBits][index & (BlockSize - 1)];
        }
        const T &operator[](std::size_t index) const
        {
            return m_blocks[index >> BlockBits][index & (BlockSize - 1)];
        }
        void push_back(const T &value)
        {
            if ((m_size >> BlockBits) == m_blocks.size())
                m_blocks.emplace_back(new T[BlockSize]);
            (*this)[m_size++] = value;
        }
        void clear()
        {
            m_blocks.clear();
            m_size = 0;
        }

    private:
        std::vector<std::unique_ptr<T[]>> m_blocks;
        std::size_t m_size = 0;
    };

    struct Root
    {
        std::string path;
        int fd = -1;
    };
    struct Folder
    {
        quint32 root;
        std::string relativePath;
    };
    struct Entry
    {
        quint64 size;
        qint64 modifiedSeconds;
        quint64 inode;
        quint32 modifiedNanoseconds;
        quint32 folder;
        quint32 nameOffset;
        quint32 linkCount;
        quint16 nameLength;
        quint16 deviceIndex;
    };

    // The descriptor of folder @p folder held open, or -1 when it is not (yet) held and
    // cannot be any more.
    int heldFolder(quint32 folder) const;
    int openFolder(quint32 folder) const;

    const char *nameAt(const Entry &entry) const;
    quint16 deviceIndexOf(quint64 device);
    void closeRoots();
    void closeHeldFolders();

    std::vector<Root> m_roots;
    BlockList<Entry> m_entries;
    std::vector<std::unique_ptr<char[]>> m_nameBlocks;
    std::size_t m_nameBlockUsed = 0;
    std::deque<Folder> m_folders;
    std::vector<quint64> m_devices;
    // Per folder: its held descriptor, NotHeld, or Unheld (failed or past the allowance).
    // Filled lazily from any thread, hence atomic; m_heldCount counts the descriptors taken.
    static constexpr int NotHeld = -1;
    static constexpr int Unheld = -2;
    mutable std::unique_ptr<std::atomic<int>[]> m_heldFolders;
    mutable std::atomic<std::size_t> m_heldCount{0};
    std::size_t m_holdMaximum = 0;
    std::size_t m_heldSlots = 0; // folders when holdFolders() was called; later ones not held
};
