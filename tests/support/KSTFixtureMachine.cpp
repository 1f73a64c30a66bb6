#include "KSTFixtureMachine.h"

#include "KSTTestSupport.h"
#include "KSTTrash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

QString shellQuote(const QString &text)
{
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

} // namespace

KSTFixtureMachine::KSTFixtureMachine(const QString &login, const QString &usersFolder,
                                     KSTLayout layout, uint userId)
    : m_login(login), m_usersFolder(usersFolder), m_layout(layout), m_userId(userId),
      m_root(std::make_unique<QTemporaryDir>())
{
}

KSTFixtureMachine::~KSTFixtureMachine()
{
    m_activation.reset();
    // QTemporaryDir cannot remove names that are not UTF-8 (hostile homes hold some), nor
    // entries a test left read-only; remove the machine by its bytes first.
    if (m_root && m_root->autoRemove() && m_root->isValid())
        KSTTrash::removePermanently(m_root->path());
}

QString KSTFixtureMachine::keep()
{
    m_root->setAutoRemove(false);
    return root();
}

bool KSTFixtureMachine::isValid() const
{
    return m_root && m_root->isValid();
}

QString KSTFixtureMachine::root() const
{
    return QDir::cleanPath(m_root->path());
}

QString KSTFixtureMachine::home() const
{
    return root() + QLatin1Char('/') + m_usersFolder + QLatin1Char('/') + m_login;
}

QString KSTFixtureMachine::path(const QString &rootRelative) const
{
    return rootRelative.isEmpty() ? root() : root() + QLatin1Char('/') + rootRelative;
}

QString KSTFixtureMachine::homePath(const QString &homeRelative) const
{
    return homeRelative.isEmpty() ? home() : home() + QLatin1Char('/') + homeRelative;
}

KSTEnvironment KSTFixtureMachine::environment() const
{
    KSTEnvironment environment;
    environment.setRoot(root());
    environment.setHome(home());
    environment.setLoginName(m_login);
    environment.setUserId(m_userId);
    environment.setLayout(m_layout);
    return environment;
}

void KSTFixtureMachine::activate()
{
    m_activation.reset();
    m_activation = std::make_unique<KSTScopedEnvironment>(environment());
}

QString KSTFixtureMachine::makeDirectory(const QString &rootRelative)
{
    const QString absolute = path(rootRelative);
    QDir().mkpath(absolute);
    return absolute;
}

QString KSTFixtureMachine::makeHomeDirectory(const QString &homeRelative)
{
    const QString absolute = homePath(homeRelative);
    QDir().mkpath(absolute);
    return absolute;
}

bool KSTFixtureMachine::setModified(const QString &absolutePath, const QDateTime &modified)
{
    return KSTTestSupport::setModificationTime(absolutePath, modified.toSecsSinceEpoch());
}

QString KSTFixtureMachine::writeFile(const QString &rootRelative, const QByteArray &contents,
                                     const QDateTime &modified)
{
    const QString absolute = path(rootRelative);
    KSTTestSupport::writeFile(absolute, contents);
    if (modified.isValid())
        setModified(absolute, modified);
    return absolute;
}

QString KSTFixtureMachine::writeHomeFile(const QString &homeRelative, const QByteArray &contents,
                                         const QDateTime &modified)
{
    return writeFile(m_usersFolder + QLatin1Char('/') + m_login + QLatin1Char('/') + homeRelative,
                     contents, modified);
}

QString KSTFixtureMachine::writeSizedFile(const QString &rootRelative, qint64 bytes,
                                          const QDateTime &modified)
{
    QByteArray contents(bytes, '\0');
    for (qint64 index = 0; index < bytes; index += 4096)
        contents[index] = static_cast<char>('a' + index / 4096 % 26);
    return writeFile(rootRelative, contents, modified);
}

QString KSTFixtureMachine::writeSizedHomeFile(const QString &homeRelative, qint64 bytes,
                                              const QDateTime &modified)
{
    return writeSizedFile(m_usersFolder + QLatin1Char('/') + m_login + QLatin1Char('/') +
                              homeRelative,
                          bytes, modified);
}

QString KSTFixtureMachine::makeSymlink(const QString &rootRelative, const QString &target)
{
    const QString absolute = path(rootRelative);
    QDir().mkpath(QFileInfo(absolute).absolutePath());
    QFile::link(target, absolute);
    return absolute;
}

QString KSTFixtureMachine::addToolScript(const QString &toolPath, const QByteArray &shellBody)
{
    const QString absolute = root() + toolPath;
    // A tool linked from the host (linkHostTool) is replaced, never written through: tests
    // run as root here, and writing would overwrite the host's own tool.
    QFile::remove(absolute);
    const QByteArray script = "#!/bin/sh\nprintf '%s\\n' \"$*\" >> " +
                              QFile::encodeName(shellQuote(absolute + QLatin1String(".calls"))) +
                              "\n" + shellBody;
    KSTTestSupport::writeFile(absolute, script);
    QFile::setPermissions(absolute, QFile::permissions(absolute) | QFile::ExeOwner |
                                        QFile::ExeGroup | QFile::ExeOther);
    return absolute;
}

QString KSTFixtureMachine::addTool(const QString &toolPath, const QByteArray &standardOutput,
                                   int exitCode, const QByteArray &standardError)
{
    const QString absolute = root() + toolPath;
    KSTTestSupport::writeFile(absolute + QLatin1String(".stdout"), standardOutput);
    KSTTestSupport::writeFile(absolute + QLatin1String(".stderr"), standardError);
    const QByteArray body =
        "cat " + QFile::encodeName(shellQuote(absolute + QLatin1String(".stdout"))) + "\ncat " +
        QFile::encodeName(shellQuote(absolute + QLatin1String(".stderr"))) + " >&2\nexit " +
        QByteArray::number(exitCode) + "\n";
    return addToolScript(toolPath, body);
}

QString KSTFixtureMachine::linkHostTool(const QString &toolPath)
{
    const QString absolute = root() + toolPath;
    QDir().mkpath(QFileInfo(absolute).absolutePath());
    QFile::link(toolPath, absolute);
    return absolute;
}

QStringList KSTFixtureMachine::toolCalls(const QString &toolPath) const
{
    const QString log =
        QString::fromUtf8(KSTTestSupport::readFile(root() + toolPath + QLatin1String(".calls")));
    QStringList calls = log.split(QLatin1Char('\n'));
    if (!calls.isEmpty() && calls.last().isEmpty())
        calls.removeLast();
    return calls;
}
