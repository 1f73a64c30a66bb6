#include "KSTLayoutWords.h"

#include "KSTHostInfo.h"

#ifdef Q_OS_LINUX
#include "linux/KSTLinuxHostInfo.h"
#endif

const KSTLayoutWords &KSTLayoutWords::forLayout(KSTLayout layout)
{
    static const KSTLayoutWords macWords{
        QStringLiteral("Mac Trash"),
        QStringLiteral("this Mac"),
        QStringLiteral("Finder"),
        QStringLiteral("SIP"),
        QStringLiteral("Mac"),
        QStringLiteral("your Mac"),
        {QStringLiteral("App Store"), QStringLiteral("Direct"), QStringLiteral("System")},
        {QStringLiteral("Mac App Store"), QStringLiteral("Direct Download"),
         QStringLiteral("macOS System")}};
    static const KSTLayoutWords linuxWords{
        QStringLiteral("Trash"),
        QStringLiteral("this computer"),
        QStringLiteral("File manager"),
        QStringLiteral("Kernel lockdown"),
        QStringLiteral("Computer"),
        QStringLiteral("your computer"),
        {QStringLiteral("Sandbox"), QStringLiteral("Local"), QStringLiteral("Package")},
        {QStringLiteral("Flatpak or snap"), QStringLiteral("AppImage or local entry"),
         QStringLiteral("Distribution package")}};
    return layout == KSTLayout::Mac ? macWords : linuxWords;
}

const KSTLayoutWords &KSTLayoutWords::current()
{
    return forLayout(KSTEnvironment::current().layout());
}

QString KSTLayoutWords::systemName(const KSTEnvironment &environment)
{
    if (environment.layout() == KSTLayout::Mac)
        return QStringLiteral("macOS");
#ifdef Q_OS_LINUX
    // The host reader already parses os-release within its caps; pointed at the analysed
    // root's /etc it reads that machine's, and never a live /proc or /sys figure here.
    KSTLinuxHostInfo reader(environment.systemPath(QStringLiteral("/proc")),
                            environment.systemPath(QStringLiteral("/sys")),
                            environment.systemPath(QStringLiteral("/etc")));
    const QString name = reader.operatingSystemVersion().versionString;
    if (!name.isEmpty())
        return name;
#endif
    return QStringLiteral("Linux");
}

QString KSTLayoutWords::systemMaker(const KSTEnvironment &environment)
{
    if (environment.layout() == KSTLayout::Mac)
        return QStringLiteral("Apple Inc.");
#ifdef Q_OS_LINUX
    const KSTLinuxHostInfo reader(environment.systemPath(QStringLiteral("/proc")),
                                  environment.systemPath(QStringLiteral("/sys")),
                                  environment.systemPath(QStringLiteral("/etc")));
    return reader.operatingSystemName();
#else
    return QStringLiteral("Linux");
#endif
}
