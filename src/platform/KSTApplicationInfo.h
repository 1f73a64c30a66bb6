#pragma once

#include <QString>

/// What the running program knows of its own bundle: identity, version and paths.
/// On macOS these come from the main bundle's Info.plist; on Linux there is no bundle: the
/// identifier is the reverse-DNS desktop id, the bundle path is empty and the names are
/// empty so that callers fall back to their fixed texts.
class KSTApplicationInfo
{
public:
    /// "com.kestrel.Kestrel".
    static QString bundleIdentifier();
    /// The .app folder on macOS; empty on Linux.
    static QString bundlePath();
    /// The running executable, absolute.
    static QString executablePath();
    /// CFBundleName / CFBundleDisplayName; empty when there is none.
    static QString bundleName();
    static QString bundleDisplayName();
    /// "3.0.0" and the build number.
    static QString shortVersion();
    static QString buildVersion();
    static QString copyright();
};
