#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QStringList>

class KSTFixtureMac;

/// A home built to trick a cleaner into touching what its user never chose, on a fixture
/// Mac: links out of the home at every level, never-touch entries at every depth, names with
/// newlines, escape sequences, bytes that are not UTF-8, 255 bytes or a leading dash, FIFOs,
/// hard links, a Photos library and the Music folder holding large files, a large file named
/// "Mac Trash" and another named ".Trash". Old enough everywhere for the age rules to act.
/// Duplicate copies lie beside never-touch entries (a newer copy of each), inside the Photos
/// library and the Music folder (with copies outside), behind links, as hard-linked pairs
/// and under every odd name, and changingFile() has a copy of its own.
/// Applications for the uninstaller: "Go" (com.example.go) beside Google's containers, whose
/// name every one of them contains, with a support folder that is a link out of the home and
/// preferences on the never-touch list; "Docs", whose display name is "../../Documents"; a
/// bundle that is a link to one outside; and one whose executable is a FIFO.
///
/// Every destructive command joins the hostile-home test, which lists the whole machine
/// before and after the command and requires that nothing changed outside what the command
/// was asked to act on, and that nothing listed by mustSurvive() changed at all.
class KSTHostileHome
{
public:
    enum class Variant {
        Ordinary,
        /// ~/.Trash is a link to a folder outside the home and ~/Downloads a link to ~/Music.
        LinkedTrashAndDownloads,
    };

    KSTHostileHome(KSTFixtureMac &mac, Variant variant);

    /// The never-touch entries, as a user adds them ("~/…").
    const QStringList &neverTouchPaths() const { return m_neverTouch; }
    /// Root-relative paths (folders with everything below them) that no command may change.
    const QStringList &mustSurvive() const { return m_mustSurvive; }
    /// A large file a test rewrites between a scan and the removal it confirms.
    QString changingFile() const;
    /// Names every odd file carries somewhere in the home, as bytes.
    static QList<QByteArray> oddNames();

private:
    void buildVictim();
    void buildLinksOut();
    void buildNeverTouchEntries();
    void buildOddNames();
    void buildSpecialFiles();
    void buildDuplicates();
    void buildApplications();
    void writeRaw(const QByteArray &homeRelative, const QByteArray &contents,
                  const QDateTime &modified);
    void writeSparse(const QString &homeRelative, qint64 bytes);
    void link(const QString &homeRelative, const QString &target, const QDateTime &modified = {});

    KSTFixtureMac &m_mac;
    Variant m_variant;
    QDateTime m_old;
    QStringList m_neverTouch;
    QStringList m_mustSurvive;
};
