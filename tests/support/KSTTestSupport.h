#pragma once

#include <QJsonDocument>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

/// What one run of the `kestrel` program returned and wrote.
struct KSTProgramRun
{
    int status = -1; ///< the exit status; -1 when the program did not run to its end
    QString out;
    QString err;

    /// Standard output as one JSON document; a failure of the test when it is not one.
    QJsonDocument json() const;
};

/// Sets an environment variable for one scope and puts the old value (or its absence) back;
/// a value of std::nullopt unsets it.
class KSTScopedEnvironmentVariable
{
public:
    KSTScopedEnvironmentVariable(const char *name, const std::optional<QByteArray> &value)
        : m_name(name),
          m_saved(qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt)
    {
        set(value);
    }
    ~KSTScopedEnvironmentVariable() { set(m_saved); }
    KSTScopedEnvironmentVariable(const KSTScopedEnvironmentVariable &) = delete;
    KSTScopedEnvironmentVariable &operator=(const KSTScopedEnvironmentVariable &) = delete;

private:
    void set(const std::optional<QByteArray> &value) const
    {
        value ? qputenv(m_name, *value) : qunsetenv(m_name);
    }

    const char *m_name;
    std::optional<QByteArray> m_saved;
};

/// Helpers every test executable shares.
namespace KSTTestSupport {

/// Pumps the main event loop until @p done is true or @p timeoutMs passes; returns @p done's
/// last answer. Completions of engines arrive on the main queue, so tests wait with this.
bool pumpUntil(const std::function<bool()> &done, int timeoutMs = 10'000);

/// Pumps the main event loop for @p milliseconds (to show that nothing arrives).
void pumpFor(int milliseconds);

/// Runs the host's tool @p name (found on PATH) with @p arguments and returns its exit status,
/// -1 when it is missing, crashed or ran past a minute; its standard output goes to @p output
/// when given. It is started with posix_spawn (through KSTToolRunner), never QProcess: the
/// way QProcess starts a child corrupts ThreadSanitizer's view of the test process, which then
/// dies or reports false races as soon as the test starts threads of its own.
int runHostTool(const QString &name, const QStringList &arguments, QByteArray *output = nullptr);

/// A file of the recorded test data (tests/data/<relativePath>).
QString testDataPath(const QString &relativePath);

/// A recorded macOS artifact copied into tests/data/macos (provenance in PROVENANCE.md there).
QString recordedMacFile(const QString &name);

/// Writes @p contents to @p path, creating parent folders; false on failure.
bool writeFile(const QString &path, const QByteArray &contents);

/// The whole contents of @p path; empty when it cannot be read.
QByteArray readFile(const QString &path);

/// The bytes the blocks of @p path occupy (the link itself for a link); 0 when it is missing.
quint64 allocatedBytesOf(const QString &path);

/// Sets the modification (and access) time of @p path, without following a link.
bool setModificationTime(const QString &path, qint64 secondsSinceEpoch);

} // namespace KSTTestSupport

#include <QString>

#include <ostream>

/// Lets GoogleTest print a QString readably in failure messages.
inline void PrintTo(const QString &text, std::ostream *stream)
{
    *stream << '"' << text.toStdString() << '"';
}
