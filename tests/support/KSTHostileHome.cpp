#include "KSTHostileHome.h"

#include "KSTFixtureMac.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr qint64 MiB = 1024 * 1024;

// The Users/<login> form makeSymlink() takes.
QString homeEntry(const KSTFixtureMac &mac, const QString &homeRelative)
{
    return QStringLiteral("Users/") + mac.login() + QLatin1Char('/') + homeRelative;
}

void setModifiedNoFollow(const QByteArray &path, const QDateTime &modified)
{
    const qint64 seconds = modified.toSecsSinceEpoch();
    const struct timespec times[2] = {{time_t(seconds), 0}, {time_t(seconds), 0}};
    ::utimensat(AT_FDCWD, path.constData(), times, AT_SYMLINK_NOFOLLOW);
}

} // namespace

KSTHostileHome::KSTHostileHome(KSTFixtureMac &mac, Variant variant)
    : m_mac(mac), m_variant(variant), m_old(QDateTime::currentDateTime().addDays(-90))
{
    buildVictim();
    buildLinksOut();
    buildNeverTouchEntries();
    buildOddNames();
    buildSpecialFiles();
    buildDuplicates();
    buildApplications();
    m_mustSurvive << QStringLiteral("Victim") << homeEntry(mac, QStringLiteral("Music"))
                  << homeEntry(mac, QStringLiteral("Documents"))
                  << homeEntry(mac, QStringLiteral("Pictures/Photos Library.photoslibrary"));
    for (const QString &path : std::as_const(m_neverTouch))
        m_mustSurvive << homeEntry(mac, path.mid(2));
    // Matched by containment only: listed for "Go", never removed unless the user asks.
    m_mustSurvive << homeEntry(mac, QStringLiteral("Library/Containers/com.google.Chrome"))
                  << homeEntry(mac, QStringLiteral("Library/Group Containers/"
                                                   "EQHXZ8M8AV.group.com.google"));
}

QString KSTHostileHome::changingFile() const
{
    return m_mac.homePath(QStringLiteral("Movies/changing.iso"));
}

QList<QByteArray> KSTHostileHome::oddNames()
{
    return {
        QByteArray("new\nline"),
        QByteArray("caf\xe9 latin-1"),
        QByteArray("\x1b[2J\x1b[31mred"),
        QByteArray("-rf --no-preserve-root"),
        QByteArray("trailing space "),
        QByteArray(240, 'n') + ".long.bin", // 249 bytes: room for no number
    };
}

void KSTHostileHome::buildVictim()
{
    // Outside the home: links point here, and nothing here may ever change.
    m_mac.writeFile(QStringLiteral("Victim/precious.txt"), "precious", m_old);
    m_mac.writeFile(QStringLiteral("Victim/sub/deep.txt"), "deep", m_old);
    QFile big(m_mac.writeFile(QStringLiteral("Victim/big.iso"), "iso"));
    big.open(QIODevice::ReadWrite);
    big.resize(70 * MiB);
    big.close();
    if (m_variant == Variant::LinkedTrashAndDownloads)
        m_mac.writeFile(QStringLiteral("Victim/TrashLike/old.txt"), "not a trash", m_old);
}

void KSTHostileHome::buildLinksOut()
{
    const QString victim = m_mac.path(QStringLiteral("Victim"));
    link(QStringLiteral("escape"), victim);
    link(QStringLiteral("Library/Caches/org.evil.cache"), victim);
    link(QStringLiteral("Library/Caches/Google/Chrome"), victim);
    link(QStringLiteral("Library/Application Support/EvilSupport"), victim);
    link(QStringLiteral("Library/Logs/app"), victim, m_old);
    link(QStringLiteral("Library/Application Support/MobileSync/Backup/backup-link"), victim);
    link(QStringLiteral("Desktop/Screen Shot link.png"), victim + QStringLiteral("/precious.txt"),
         m_old);
    link(QStringLiteral("Pictures/Screenshots"), m_mac.homePath(QStringLiteral("Documents")));
    if (m_variant == Variant::LinkedTrashAndDownloads) {
        link(QStringLiteral(".Trash"), victim + QStringLiteral("/TrashLike"));
        m_mac.writeHomeFile(QStringLiteral("Music/Album/track.m4a"), "music", m_old);
        m_mac.writeHomeFile(QStringLiteral("Music/setup.dmg"), "dmg", m_old);
        m_mac.writeHomeFile(QStringLiteral("Music/stalled.download/data"), "part", m_old);
        link(QStringLiteral("Downloads"), m_mac.homePath(QStringLiteral("Music")));
        return;
    }
    link(QStringLiteral("Downloads/victim-link"), victim, m_old);
    link(QStringLiteral("Downloads/dir/deeper/victim-link"), victim + QStringLiteral("/sub"),
         m_old);
    link(QStringLiteral(".Trash/victim-link"), victim);
}

void KSTHostileHome::buildNeverTouchEntries()
{
    // At every depth, and inside every place a tool acts on.
    m_mac.writeHomeFile(QStringLiteral("Library/Caches/org.keep/cache.db"), "keep", m_old);
    m_mac.writeHomeFile(QStringLiteral("Library/Caches/com.app.mixed/keep.db"), "keep", m_old);
    m_mac.writeHomeFile(QStringLiteral("Library/Caches/com.app.mixed/drop.db"), "drop", m_old);
    m_mac.writeHomeFile(QStringLiteral("Library/Logs/keep.log"), "keep", m_old);
    m_mac.writeHomeFile(QStringLiteral("Pictures/Screen Shot keep.png"), "keep", m_old);
    m_mac.writeHomeFile(QStringLiteral("Documents/tax.pdf"), "tax", m_old);
    m_neverTouch << QStringLiteral("~/Library/Caches/org.keep")
                 << QStringLiteral("~/Library/Caches/com.app.mixed/keep.db")
                 << QStringLiteral("~/Library/Logs/keep.log")
                 << QStringLiteral("~/Pictures/Screen Shot keep.png");
    if (m_variant == Variant::Ordinary) {
        m_mac.writeHomeFile(QStringLiteral("Downloads/Keep/plan.txt"), "keep", m_old);
        KSTFixtureMac::setModified(m_mac.homePath(QStringLiteral("Downloads/Keep")), m_old);
        m_mac.writeHomeFile(QStringLiteral(".Trash/keep-this.txt"), "keep", m_old);
        m_neverTouch << QStringLiteral("~/Downloads/Keep")
                     << QStringLiteral("~/.Trash/keep-this.txt");
    }
    for (const char *folder : {"Library/Caches/org.keep", "Library/Caches/com.app.mixed"})
        KSTFixtureMac::setModified(m_mac.homePath(QString::fromLatin1(folder)), m_old);
}

void KSTHostileHome::buildOddNames()
{
    for (const QByteArray &name : oddNames()) {
        if (m_variant == Variant::Ordinary)
            writeRaw("Downloads/" + name, "odd", m_old);
        writeRaw("Movies/" + name, "large", m_old);
        // Large files, sparse: find compares their length.
        const QByteArray path =
            QFile::encodeName(m_mac.homePath(QStringLiteral("Movies"))) + '/' + name;
        ::truncate(path.constData(), 51 * MiB);
        setModifiedNoFollow(path, m_old);
    }
}

void KSTHostileHome::buildSpecialFiles()
{
    // Large files where none may be found, and with names that mimic the Trash.
    writeSparse(QStringLiteral("Pictures/Photos Library.photoslibrary/originals/huge.mov"),
                60 * MiB);
    writeSparse(QStringLiteral("Music/Big Concert.mov"), 60 * MiB);
    writeSparse(QStringLiteral("Mac Trash"), 55 * MiB);
    writeSparse(QStringLiteral("Desktop/.Trash"), 52 * MiB);
    writeSparse(QStringLiteral("Movies/changing.iso"), 53 * MiB);
    writeSparse(QStringLiteral("Movies/big.iso"), 54 * MiB);
    // A second name of a large file, and of a document nobody selected.
    ::link(QFile::encodeName(m_mac.homePath(QStringLiteral("Movies/big.iso"))).constData(),
           QFile::encodeName(m_mac.homePath(QStringLiteral("Movies/big-twin.iso"))).constData());
    if (m_variant == Variant::Ordinary) {
        ::link(QFile::encodeName(m_mac.homePath(QStringLiteral("Documents/tax.pdf"))).constData(),
               QFile::encodeName(m_mac.homePath(QStringLiteral("Downloads/tax-copy.pdf")))
                   .constData());
    }
    // FIFOs where files and folders are expected: nothing may block on them.
    for (const char *fifo :
         {"Movies/pipe.mov", "Library/Caches/org.fifo/pipe", "Library/Logs/pipe.log"}) {
        const QString path = m_mac.homePath(QString::fromLatin1(fifo));
        QDir().mkpath(QFileInfo(path).path());
        ::mkfifo(QFile::encodeName(path).constData(), 0644);
    }
    if (m_variant == Variant::Ordinary) {
        for (const char *fifo : {"Downloads/pipe", ".Trash/pipe"}) {
            const QByteArray path = QFile::encodeName(m_mac.homePath(QString::fromLatin1(fifo)));
            ::mkfifo(path.constData(), 0644);
            setModifiedNoFollow(path, m_old);
        }
        m_mac.writeHomeFile(QStringLiteral("Downloads/Setup.dmg"), "dmg", m_old);
        m_mac.writeHomeFile(QStringLiteral("Downloads/old/Nested.pkg"), "pkg", m_old);
        m_mac.writeHomeFile(QStringLiteral("Downloads/stalled.download/data"), "part", m_old);
        // Recent, so the Downloads rule leaves it to the screenshot rule.
        m_mac.writeHomeFile(QStringLiteral("Downloads/Screenshot 2024.png"), "png");
        KSTFixtureMac::setModified(m_mac.homePath(QStringLiteral("Downloads/old")), m_old);
        KSTFixtureMac::setModified(m_mac.homePath(QStringLiteral("Downloads/dir/deeper")), m_old);
        KSTFixtureMac::setModified(m_mac.homePath(QStringLiteral("Downloads/dir")), m_old);
        m_mac.writeHomeFile(QStringLiteral(".Trash/old.txt"), "trash", m_old);
    }
}

void KSTHostileHome::buildDuplicates()
{
    const QDateTime recent = QDateTime::currentDateTime().addDays(-1);
    // Newer copies of never-touch entries: the never-touch ones are the older copies, the
    // ones a removal would take.
    m_mac.writeHomeFile(QStringLiteral("Pictures/keep copy.png"), "keep", recent);
    // Copies whose partners live where nothing may be read; the outside copies pair up only
    // with each other.
    const QByteArray photo = QByteArray("photo library original ") + QByteArray(2000, 'p');
    m_mac.writeHomeFile(QStringLiteral("Pictures/Photos Library.photoslibrary/originals/dup.heic"),
                        photo, recent);
    m_mac.writeHomeFile(QStringLiteral("Pictures/dup.heic"), photo, m_old);
    m_mac.writeHomeFile(QStringLiteral("Desktop/dup.heic"), photo, recent.addDays(-1));
    const QByteArray song = QByteArray("a song ") + QByteArray(3000, 's');
    m_mac.writeHomeFile(QStringLiteral("Music/song.mp3"), song, recent);
    m_mac.writeHomeFile(QStringLiteral("Desktop/song.mp3"), song, m_old);
    m_mac.writeHomeFile(QStringLiteral("Desktop/song copy.mp3"), song, m_old.addDays(1));
    // A copy of what a link leads to, and a link among copies.
    m_mac.writeHomeFile(QStringLiteral("Desktop/precious.txt"), "precious", m_old);
    m_mac.writeHomeFile(QStringLiteral("Desktop/precious copy.txt"), "precious", recent);
    link(QStringLiteral("Desktop/precious link.txt"),
         m_mac.homePath(QStringLiteral("Desktop/precious.txt")));
    // The file a test changes between a scan and the answer gets a copy (its partner by
    // name order, so the changing one is the copy a removal takes).
    writeSparse(QStringLiteral("Movies/changing-new.iso"), 53 * MiB);
}

void KSTHostileHome::buildApplications()
{
    KSTFixtureMac::App go;
    go.name = QStringLiteral("Go");
    go.bundleIdentifier = QStringLiteral("com.example.go");
    go.resourceBytes = 8192;
    m_mac.addApp(go);
    for (const char *file :
         {"Library/Containers/com.google.Chrome/Data/Default/History",
          "Library/Group Containers/EQHXZ8M8AV.group.com.google/prefs",
          "Library/Containers/com.example.go/Data/state", "Library/Caches/com.example.go/cache.db",
          "Library/Preferences/com.example.go.plist"})
        m_mac.writeHomeFile(QString::fromLatin1(file), QByteArray(4096, 'g'), m_old);
    link(QStringLiteral("Library/Application Support/Go"), m_mac.path(QStringLiteral("Victim")));
    m_neverTouch << QStringLiteral("~/Library/Preferences/com.example.go.plist");

    KSTFixtureMac::App docs;
    docs.name = QStringLiteral("Docs");
    docs.bundleIdentifier = QStringLiteral("com.example.docs");
    docs.extraInfo = {{QStringLiteral("CFBundleDisplayName"), QStringLiteral("../../Documents")}};
    m_mac.addApp(docs);
    m_mac.writeHomeFile(QStringLiteral("Library/Caches/com.example.docs/cache"), "docs", m_old);

    // A bundle outside reached through a link in Applications, and a FIFO for an executable.
    KSTFixtureMac::App outside;
    outside.name = QStringLiteral("Outside");
    outside.bundleIdentifier = QStringLiteral("com.example.outside");
    outside.location = QStringLiteral("Victim");
    m_mac.addApp(outside);
    m_mac.makeSymlink(QStringLiteral("Applications/Outside.app"),
                      m_mac.path(QStringLiteral("Victim/Outside.app")));
    KSTFixtureMac::App piped;
    piped.name = QStringLiteral("Piped");
    piped.bundleIdentifier = QStringLiteral("com.example.piped");
    piped.architectures = {};
    const QString pipedBundle = m_mac.addApp(piped);
    ::mkfifo(QFile::encodeName(pipedBundle + QStringLiteral("/Contents/MacOS/Piped")).constData(),
             0755);
}

void KSTHostileHome::writeRaw(const QByteArray &homeRelative, const QByteArray &contents,
                              const QDateTime &modified)
{
    const QByteArray path = QFile::encodeName(m_mac.home()) + '/' + homeRelative;
    QDir().mkpath(QFileInfo(QFile::decodeName(path)).path());
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    if (::write(fd, contents.constData(), size_t(contents.size())) != contents.size())
        ADD_FAILURE_AT(__FILE__, __LINE__);
    ::close(fd);
    setModifiedNoFollow(path, modified);
}

void KSTHostileHome::writeSparse(const QString &homeRelative, qint64 bytes)
{
    QFile file(m_mac.writeHomeFile(homeRelative, "head"));
    file.open(QIODevice::ReadWrite);
    file.resize(bytes);
    file.close();
    KSTFixtureMac::setModified(file.fileName(), m_old);
}

void KSTHostileHome::link(const QString &homeRelative, const QString &target,
                          const QDateTime &modified)
{
    QDir().mkpath(QFileInfo(m_mac.homePath(homeRelative)).path());
    QDir().rmdir(m_mac.homePath(homeRelative)); // a standard folder the fixture made, still empty
    const QString link = m_mac.makeSymlink(homeEntry(m_mac, homeRelative), target);
    if (modified.isValid())
        setModifiedNoFollow(QFile::encodeName(link), modified);
}
