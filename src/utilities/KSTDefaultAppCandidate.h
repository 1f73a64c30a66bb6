#pragma once

#include <QString>

/// An application that can open a file type. Plain value.
struct KSTDefaultAppCandidate
{
    QString name;
    QString bundleIdentifier;
    /// Where the window finds the app's icon: the application bundle's path; empty when the
    /// app is not installed. The engine draws nothing.
    QString icon;

    bool operator==(const KSTDefaultAppCandidate &) const = default;
};
