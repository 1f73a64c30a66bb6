#include "KSTEraseRules.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTMountedVolumes.h"
#include "KSTPathText.h"
#include "KSTUtilitiesLocations.h"

#include <QDir>

#include <cstdlib>
#include <sys/stat.h>

namespace {

bool exists(const QString &path)
{
    struct stat status = {};
    return ::lstat(KSTFileName::encoded(path).constData(), &status) == 0;
}

QString realParent(const QString &path)
{
    char *real = ::realpath(
        KSTFileName::encoded(KSTPathText::deletingLastPathComponent(path)).constData(), nullptr);
    if (!real)
        return {};
    const QString result = KSTFileName::decoded(real);
    ::free(real);
    return result;
}

bool isUnder(const QString &path, const QString &folder)
{
    return path == folder || path.startsWith(folder + QLatin1Char('/'));
}

bool isUnderRoots(const QString &path, const QString &root)
{
    const bool linux = KSTEnvironment::current().layout() == KSTLayout::Linux;
    for (const QString &unprotected :
         linux ? KSTUtilitiesLocations::LinuxUnprotectedFolders : QStringList()) {
        const QString folder = root == QLatin1String("/") ? unprotected : root + unprotected;
        if (isUnder(path, folder))
            return false;
    }
    for (const QString &protectedRoot : linux ? KSTUtilitiesLocations::LinuxProtectedRoots
                                              : KSTUtilitiesLocations::ProtectedRoots) {
        if (protectedRoot == QLatin1String("/")) {
            // "/" protects only itself: under an analysed root, the root itself.
            if (path == root)
                return true;
            continue;
        }
        const QString folder = root == QLatin1String("/") ? protectedRoot : root + protectedRoot;
        if (isUnder(path, folder))
            return true;
    }
    return false;
}

} // namespace

namespace KSTEraseRules {

QString standardizedPath(const QString &path)
{
    if (path.isEmpty())
        return path;
    QString absolute = path;
    const QString home = KSTEnvironment::current().home();
    if (absolute == QLatin1String("~"))
        absolute = home;
    else if (absolute.startsWith(QLatin1String("~/")))
        absolute = home + absolute.mid(1);
    if (!absolute.startsWith(QLatin1Char('/')))
        absolute = QDir::currentPath() + QLatin1Char('/') + absolute;
    QString clean = QDir::cleanPath(absolute);
    // macOS shows /private/var, /private/tmp and /private/etc by their short names.
    if (clean.startsWith(QLatin1String("/private/"))) {
        const QString shorter = clean.mid(8);
        if (exists(shorter))
            clean = shorter;
    }
    return clean;
}

bool isProtectedSystemPath(const QString &path)
{
    const QString standardized = standardizedPath(path);
    if (standardized.isEmpty())
        return false;
    QStringList forms = {standardized};
    if (standardized != QLatin1String("/")) {
        const QString parent = realParent(standardized);
        if (!parent.isEmpty())
            forms << standardizedPath((parent == QLatin1String("/") ? QString() : parent) +
                                      QLatin1Char('/') +
                                      KSTPathText::lastPathComponent(standardized));
    }
    const KSTEnvironment environment = KSTEnvironment::current();
    for (const QString &form : std::as_const(forms)) {
        if (isUnderRoots(form, QStringLiteral("/")))
            return true;
        if (!environment.isHostRoot() && isUnderRoots(form, environment.root()))
            return true;
    }
    return false;
}

bool isVolumeMountPoint(const QString &path)
{
    const QString standardized = standardizedPath(path);
    if (standardized.isEmpty())
        return false;
    const KSTEnvironment environment = KSTEnvironment::current();
    if (!environment.isHostRoot()) {
        QStringList parents;
        if (environment.layout() == KSTLayout::Linux) {
            for (const QString &parent : KSTUtilitiesLocations::LinuxVolumeParents)
                parents << environment.systemPath(parent + QLatin1Char('/') +
                                                  environment.loginName());
        } else {
            parents << environment.systemPath(KSTUtilitiesLocations::Volumes);
        }
        struct stat status = {};
        if (parents.contains(KSTPathText::deletingLastPathComponent(standardized)) &&
            ::lstat(KSTFileName::encoded(standardized).constData(), &status) == 0 &&
            S_ISDIR(status.st_mode))
            return true;
    }
    return KSTMountedVolumes::mountPoints().contains(standardized);
}

QStringList volumeEntriesKept()
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() != KSTLayout::Linux)
        return KSTUtilitiesLocations::VolumeEntriesKept;
    return KSTUtilitiesLocations::LinuxVolumeEntriesKept +
           QStringList{QStringLiteral(".Trash-%1").arg(environment.userId())};
}

} // namespace KSTEraseRules
