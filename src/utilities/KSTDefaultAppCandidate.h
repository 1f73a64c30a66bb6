#pragma once

#include <QString>

/// An application that can open a file type. Plain value.
struct KSTDefaultAppCandidate
{
    QString name;
    QString bundleIdentifier;
    /// The app's icon file, which the window draws (KSTApplicationIconFile: a regular file
    /// below the analysed root reached without a link); empty when the app is not installed
    /// or names no icon. The engine draws nothing.
    QString icon;

    bool operator==(const KSTDefaultAppCandidate &) const = default;
};
