#pragma once

#include "KSTDuplicateSnapshot.h"

#include <QtGlobal>

#include <deque>
#include <memory>
#include <string>
#include <vector>

struct KSTFileStatus;

/// The files a duplicate scan collected, stored compactly: a scan of a few hundred thousand
/// files keeps each one as about fifty bytes (size, time, identity and its name in a shared
/// arena, its folder by number) instead of a record with its own path string. Records are
/// made on demand, only for files that are compared.
///
/// Indexes are collection order. Entries and names live in blocks that never move, so growing
/// the collection never copies what it holds.
///
/// Not thread-safe while being filled; afterwards any number of threads may read it.
class KSTDuplicateFileCollection
{
public:
    KSTDuplicateFileCollection();
    ~KSTDuplicateFileCollection();
    KSTDuplicateFileCollection(KSTDuplicateFileCollection &&) noexcept;
    KSTDuplicateFileCollection &operator=(KSTDuplicateFileCollection &&) noexcept;

    /// Registers a folder by its encoded path (without a trailing slash, except "/"); returns
    /// its number for addFile().
    quint32 addFolder(const std::string &encodedPath);
    /// Adds the file @p name (encoded, @p length bytes) of folder @p folder with @p status.
    void addFile(quint32 folder, const char *name, std::size_t length, const KSTFileStatus &status);

    qsizetype count() const { return static_cast<qsizetype>(m_entries.size()); }
    bool isEmpty() const { return m_entries.empty(); }

    quint64 bytesAt(qsizetype index) const { return m_entries[static_cast<size_t>(index)].size; }
    quint64 deviceAt(qsizetype index) const
    {
        return m_devices[m_entries[static_cast<size_t>(index)].deviceIndex];
    }
    quint64 inodeAt(qsizetype index) const { return m_entries[static_cast<size_t>(index)].inode; }
    /// The encoded path of file @p index.
    std::string encodedPathAt(qsizetype index) const;
    QString pathAt(qsizetype index) const;
    /// The full record of file @p index (path, bytes, modification date, device, inode).
    KSTDuplicateFileRecord recordAt(qsizetype index) const;

private:
    struct Entry
    {
        quint64 size;
        qint64 modificationTimeMs;
        quint64 inode;
        quint32 folder;
        quint32 nameOffset;
        quint16 nameLength;
        quint16 deviceIndex;
    };

    const char *nameAt(const Entry &entry) const;

    std::deque<Entry> m_entries;
    std::vector<std::unique_ptr<char[]>> m_nameBlocks;
    std::size_t m_nameBlockUsed = 0;
    std::deque<std::string> m_folders;
    std::vector<quint64> m_devices;
};
