#pragma once

#include "KSTPermissionChecker.h"

#include <QDir>
#include <QString>

#include <atomic>
#include <mutex>

// Process-wide state of KSTPermissionChecker, shared by its source files. The Full Disk
// Access answer is two atomics replaced wholesale; the home-folder grant is guarded by a
// mutex that is only held for reads and writes of these fields, never across a call.
struct KSTPermissionCheckerState
{
    static KSTPermissionCheckerState &instance();

    /// @p path without "." and ".." components or a trailing slash; empty stays empty.
    static QString standardized(const QString &path)
    {
        return path.isEmpty() ? path : QDir::cleanPath(path);
    }

    std::atomic<bool> fullDiskAccessCacheValid{false};
    std::atomic<bool> fullDiskAccessCachedValue{false};

    std::mutex homeMutex;
    QString grantedHomeURL;
    bool homeAccessStarted = false;
    bool homeAccessResolved = false;
    bool homeAccessCachedValue = false;

    std::mutex presenterMutex;
    KSTPermissionChecker::HomeFolderPanelPresenter panelPresenter;
    KSTPermissionChecker::AlertPresenter alertPresenter;
};
