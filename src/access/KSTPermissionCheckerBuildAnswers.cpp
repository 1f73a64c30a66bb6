// The few questions whose answer differs between the direct-distribution and the sandboxed
// build, answered here so that engines and screens have one code path for both.
#include "KSTPermissionChecker.h"

KSTAccessGrant KSTPermissionChecker::requiredAccessGrant()
{
    return requiredAccessGrant(isRunningSandboxed());
}

KSTAccessGrant KSTPermissionChecker::requiredAccessGrant(bool sandboxed)
{
    return sandboxed ? KSTAccessGrant::HomeFolder : KSTAccessGrant::FullDiskAccess;
}

QString KSTPermissionChecker::accessGrantTitle()
{
    return accessGrantTitle(isRunningSandboxed());
}

QString KSTPermissionChecker::accessGrantTitle(bool sandboxed)
{
    return sandboxed ? QStringLiteral("User Folder Access") : QStringLiteral("Full Disk Access");
}

bool KSTPermissionChecker::mayWalkUserHome()
{
    return mayWalkUserHome(isRunningSandboxed());
}

bool KSTPermissionChecker::mayWalkUserHome(bool sandboxed)
{
    // A sandbox reads the home only through the grant; without one, walking it finds nothing
    // and would only cost time.
    return !sandboxed || !grantedHomeFolderURL().isEmpty();
}

QStringList KSTPermissionChecker::userFoldersToSearch(const QStringList &folders,
                                                      const QStringList &sandboxedFolders)
{
    return userFoldersToSearch(folders, sandboxedFolders, isRunningSandboxed());
}

QStringList KSTPermissionChecker::userFoldersToSearch(const QStringList &folders,
                                                      const QStringList &sandboxedFolders,
                                                      bool sandboxed)
{
    return sandboxed ? sandboxedFolders : folders;
}

QStringList KSTPermissionChecker::userFolderSearchRoots(const QStringList &folders,
                                                        const QStringList &sandboxedFolders)
{
    return userFolderSearchRoots(folders, sandboxedFolders, isRunningSandboxed());
}

QStringList KSTPermissionChecker::userFolderSearchRoots(const QStringList &folders,
                                                        const QStringList &sandboxedFolders,
                                                        bool sandboxed)
{
    if (sandboxed)
        return sandboxedFolders;
    const QString home = accessibleUserHomeDirectoryPath();
    QStringList roots;
    for (const QString &folder : folders)
        roots << home + QLatin1Char('/') + folder;
    return roots;
}
