#pragma once

#include <QCache>
#include <QIcon>
#include <QImage>
#include <QString>

/// Application icons drawn from icon files of the analysed machine (a bundle's .icns or
/// .png, a theme's .png or .svg), which are hostile input: a file is opened without following
/// a final link and without waiting on a FIFO or device, read only when it is a regular file
/// of at most MaximumFileBytes, and decoded from memory through Qt's image readers with an
/// allocation limit, so neither its size nor its own size claims can exhaust memory. Paths
/// come from an engine, which resolved them below the analysed root without links.
///
/// Icons are loaded when first asked for (a view asks while drawing, so only what is shown
/// is read) and kept, failures too, in a cache of the most recent CacheCapacity files.
/// Main thread only.
class KSTIconLoader
{
public:
    /// Larger files are never read: a real application icon set is a few MiB.
    static constexpr qint64 MaximumFileBytes = 16 * 1024 * 1024;
    /// The most a decoded image may take.
    static constexpr int MaximumDecodedMegabytes = 64;
    static constexpr int CacheCapacity = 512;

    /// The window's one loader.
    static KSTIconLoader &shared();

    /// The icon in the file at @p path; a null icon when there is no path, the file cannot be
    /// read as above, or no image reader understands it (an .icns file without Qt's ICNS
    /// reader, which qt6-image-formats-plugins provides on Debian).
    QIcon iconForFile(const QString &path);
    /// iconForFile(), else the generic application symbol in the secondary text colour.
    QIcon applicationIcon(const QString &path);
    /// Forgets every cached icon.
    void clear() { m_icons.clear(); }

    /// Reads and decodes one image as described above; a null image when it cannot. Vector
    /// images are drawn at @p preferredSize pixels square; of a Mac icon set's pictures only
    /// the smallest at least @p preferredSize wide is decoded (else the largest); a larger
    /// picture is scaled down to fit @p preferredSize square. Views draw icons of 14 to 48
    /// points, 128 pixels covers them at twice the density. Safe on any thread.
    static QImage readImage(const QString &path, int preferredSize = 128);

private:
    QCache<QString, QIcon> m_icons{CacheCapacity};
};
