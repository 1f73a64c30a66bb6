#pragma once

#include <QCache>
#include <QIcon>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QString>
#include <QThreadPool>

/// Application icons drawn from icon files of the analysed machine (a bundle's .icns or
/// .png, a theme's .png or .svg), which are hostile input: a file is opened without following
/// a final link and without waiting on a FIFO or device, read only when it is a regular file
/// of at most MaximumFileBytes, and decoded from memory through Qt's image readers with an
/// allocation limit, so neither its size nor its own size claims can exhaust memory. Paths
/// come from an engine, which resolved them below the analysed root without links.
///
/// Icons are loaded when first asked for (a view asks while drawing, so only what is shown
/// is read), on the loader's own threads so that a slow disk never stalls the window, and
/// kept, failures too, in a cache of the most recent CacheCapacity files. Views show their
/// fallback until iconLoaded() names their file, then ask again.
/// Main thread only (the reads run elsewhere; their results arrive on the main thread).
class KSTIconLoader : public QObject
{
    Q_OBJECT

public:
    /// Larger files are never read: a real application icon set is a few MiB.
    static constexpr qint64 MaximumFileBytes = 16 * 1024 * 1024;
    /// The most a decoded image may take.
    static constexpr int MaximumDecodedMegabytes = 64;
    static constexpr int CacheCapacity = 512;

    /// The window's one loader.
    static KSTIconLoader &shared();
    /// Waits for the reads still running; their results are dropped.
    ~KSTIconLoader() override;

    /// The icon in the file at @p path once it has been read; a null icon while it is being
    /// read (the read starts here when it has not yet), when there is no path, the file cannot
    /// be read as above, or no image reader understands it (an .icns file without Qt's ICNS
    /// reader, which qt6-image-formats-plugins provides on Debian).
    QIcon iconForFile(const QString &path);
    /// iconForFile(), else the generic application symbol in the secondary text colour.
    QIcon applicationIcon(const QString &path);
    /// Whether the file at @p path is being read now.
    bool isLoading(const QString &path) const { return m_loading.contains(path); }
    /// Whether any file is being read now.
    bool isLoading() const { return !m_loading.isEmpty(); }
    /// Forgets every cached icon; reads still running are not cached when they end.
    void clear();

    /// Reads and decodes one image as described above; a null image when it cannot. Vector
    /// images are drawn at @p preferredSize pixels square; of a Mac icon set's pictures only
    /// the smallest at least @p preferredSize wide is decoded (else the largest); a larger
    /// picture is scaled down to fit @p preferredSize square. Views draw icons of 14 to 48
    /// points, 128 pixels covers them at twice the density. Safe on any thread.
    static QImage readImage(const QString &path, int preferredSize = 128);

Q_SIGNALS:
    /// The read of @p path has ended (with an icon or without); iconForFile() now answers.
    void iconLoaded(const QString &path);
    /// The last read running has ended.
    void idle();

private:
    KSTIconLoader();
    void finishLoading(const QString &path, quint64 generation, const QImage &image);

    QCache<QString, QIcon> m_icons{CacheCapacity};
    QSet<QString> m_loading;
    quint64 m_generation = 0;
    QThreadPool m_readers;
};
