#include "KSTPreferences.h"

#include <QDir>
#include <QStringList>

#include <algorithm>

namespace {

QString domainFor(const QString &suiteName)
{
    return suiteName.isEmpty() ? QString::fromLatin1(KSTPreferences::StandardDomain) : suiteName;
}

#ifndef Q_OS_MACOS
// A suite name becomes a file name: nothing in it may lead out of the folder.
QString fileNameFor(const QString &domain)
{
    QString name = domain;
    for (QChar &character : name) {
        if (!character.isLetterOrNumber() && character != u'.' && character != u'-' &&
            character != u'_')
            character = u'_';
    }
    return name % QStringLiteral(".conf");
}
#endif

} // namespace

std::unique_ptr<QSettings> KSTPreferences::standard()
{
    return suite(QString());
}

std::unique_ptr<QSettings> KSTPreferences::suite(const QString &suiteName)
{
    const QString domain = domainFor(suiteName);
#ifdef Q_OS_MACOS
    // QSettings turns the organisation into a reverse domain and appends the application:
    // organisation "kestrel.com" and application "autoclean" are com.kestrel.autoclean.
    const qsizetype lastDot = domain.lastIndexOf(u'.');
    if (lastDot < 0)
        return std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope, domain,
                                           QString());
    QStringList organisation = domain.left(lastDot).split(u'.');
    std::reverse(organisation.begin(), organisation.end());
    return std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                       organisation.join(u'.'), domain.mid(lastDot + 1));
#else
    const QString path = directory() % u'/' % fileNameFor(domain);
    return std::make_unique<QSettings>(path, QSettings::IniFormat);
#endif
}

QString KSTPreferences::directory()
{
    QString base = qEnvironmentVariable("XDG_CONFIG_HOME");
    // The XDG rules say a relative path is invalid and is to be ignored.
    if (base.isEmpty() || QDir::isRelativePath(base))
        base = QDir::homePath() % QStringLiteral("/.config");
    return QDir::cleanPath(base % QStringLiteral("/kestrel"));
}
