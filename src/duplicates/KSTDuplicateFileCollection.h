#pragma once

#include "KSTDuplicateSnapshot.h"
#include "KSTFileIdentity.h"

#include <QtGlobal>

#include <deque>
#include <memory>
#include <string>
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
    /// when it is still the file the walk saw (identityAt()). False otherwise. With a
    /// @p cursor, its folder is opened (the same way) once for consecutive files of one folder.
    bool openFile(qsizetype index, KSTReadOnlyFile &file, FolderCursor *cursor = nullptr) const;

private:
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

    const char *nameAt(const Entry &entry) const;
    quint16 deviceIndexOf(quint64 device);
    void closeRoots();

    std::vector<Root> m_roots;
    std::deque<Entry> m_entries;
    std::vector<std::unique_ptr<char[]>> m_nameBlocks;
    std::size_t m_nameBlockUsed = 0;
    std::deque<Folder> m_folders;
    std::vector<quint64> m_devices;
};
