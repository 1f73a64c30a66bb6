#pragma once

#include "KSTEnvironment.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/// What every fixture machine has: a temporary root, one user with a home under a users
/// folder ("Users" on a Mac, "home" on Linux), file builders and recorded command-line tools.
/// KSTFixtureMac and KSTFixtureLinux add their system's own pieces.
///
/// Paths given to the builders are relative: "root-relative" to the machine's root or
/// "home-relative" to the user's home. Every builder returns the absolute path it wrote.
/// activate() makes the machine the current KSTEnvironment until the fixture is destroyed.
class KSTFixtureMachine
{
public:
    ~KSTFixtureMachine();
    KSTFixtureMachine(const KSTFixtureMachine &) = delete;
    KSTFixtureMachine &operator=(const KSTFixtureMachine &) = delete;

    bool isValid() const;
    QString root() const;
    QString home() const;
    QString login() const { return m_login; }
    QString path(const QString &rootRelative) const;
    QString homePath(const QString &homeRelative) const;

    /// The environment of this machine (root, user, home, layout).
    KSTEnvironment environment() const;
    /// Makes environment() current until the fixture is destroyed.
    void activate();

    /// Leaves the machine on disk when the fixture is destroyed (for tools that build one
    /// for a person to look at); returns its root.
    QString keep();

    // ---- Files ----
    QString makeDirectory(const QString &rootRelative);
    QString makeHomeDirectory(const QString &homeRelative);
    QString writeFile(const QString &rootRelative, const QByteArray &contents,
                      const QDateTime &modified = {});
    QString writeHomeFile(const QString &homeRelative, const QByteArray &contents,
                          const QDateTime &modified = {});
    /// A file of exactly @p bytes (real data, not sparse, so it occupies blocks).
    QString writeSizedFile(const QString &rootRelative, qint64 bytes,
                           const QDateTime &modified = {});
    /// A home file of exactly @p bytes (real data, not sparse, so it occupies blocks).
    QString writeSizedHomeFile(const QString &homeRelative, qint64 bytes,
                               const QDateTime &modified = {});
    /// A symbolic link at @p rootRelative pointing at @p target (as given).
    QString makeSymlink(const QString &rootRelative, const QString &target);
    /// Sets the modification time of an absolute path, without following a link.
    static bool setModified(const QString &absolutePath, const QDateTime &modified);

    // ---- Command-line tools ----
    /// An executable script at <root><toolPath> that prints @p standardOutput (and
    /// @p standardError) and exits with @p exitCode. Each call's arguments are logged, one
    /// line per call, for toolCalls().
    QString addTool(const QString &toolPath, const QByteArray &standardOutput, int exitCode = 0,
                    const QByteArray &standardError = {});
    /// An executable /bin/sh script with the given body (after the logging line). Replaces
    /// whatever is at the path, a linked host tool included (the link, not the host's tool).
    QString addToolScript(const QString &toolPath, const QByteArray &shellBody);
    /// Links the host's tool into the root (for helpers such as /usr/bin/wc in a pipeline).
    QString linkHostTool(const QString &toolPath);
    /// Arguments of each call of a tool added above, joined with single spaces.
    QStringList toolCalls(const QString &toolPath) const;

protected:
    /// A machine of @p layout whose user @p login lives in <root>/<usersFolder>/<login> and has
    /// the user id @p userId.
    KSTFixtureMachine(const QString &login, const QString &usersFolder, KSTLayout layout,
                      uint userId);

    QString usersFolder() const { return m_usersFolder; }

private:
    QString m_login;
    QString m_usersFolder;
    KSTLayout m_layout;
    uint m_userId;
    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<KSTScopedEnvironment> m_activation;
};
