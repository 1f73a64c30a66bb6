#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// One login's line of an analysed machine's `/etc/passwd` ("name:x:uid:gid:gecos:home:shell").
///
/// The file belongs to the analysed machine, so it is read as hostile input: at most
/// maximumFileBytes are ever read (a larger file, a FIFO or a device is not read at all),
/// lines longer than maximumLineBytes are skipped, and a line counts only with its seven
/// fields, a decimal uid and an absolute home. Safe from any thread.
class KSTPasswordFile
{
public:
    static constexpr qint64 maximumFileBytes = 4 * 1024 * 1024;
    static constexpr qsizetype maximumLineBytes = 4096;

    struct Entry
    {
        QString login;
        uint userId = 0;
        /// The home as the analysed machine spells it (absolute, clean), not under any root.
        QString home;
    };

    /// The entry of @p login in the passwd contents @p contents; the first line naming it wins.
    static std::optional<Entry> findLogin(const QByteArray &contents, const QString &login);
    /// The same, reading the file at @p path within the caps; nothing when it cannot be read.
    /// It is another machine's file, so a link at @p path is not followed: it could lead out of
    /// that machine's root.
    static std::optional<Entry> readLogin(const QString &path, const QString &login);
};
