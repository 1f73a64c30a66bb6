#pragma once

#include <QString>

/// The App Manage labels made from an Info.plist's values: the category of
/// "LSApplicationCategoryType" and the developer named in "NSHumanReadableCopyright".
/// Pure; thread-safe.
class KSTAppBundleLabels
{
public:
    KSTAppBundleLabels() = delete;

    /// "Other" for nothing or "", the label of the fixed table ("public.app-category.music" is
    /// "Audio", "…graphics-design" is "Design", …); any other "public.app-category." value
    /// becomes its remainder with "-" as " ", each word capitalised ("action-games" →
    /// "Action Games"); anything else "Other".
    static QString categoryLabelForPlistValue(const QString &value);

    /// The name after "© YEAR" or "© YEAR–YEAR" (white space as Unicode defines it) up to the
    /// first full stop or the end, trimmed: "© 2012–2024 Example Corp. All rights reserved."
    /// gives "Example Corp". Otherwise @p fallback when it is not empty, else "Unknown".
    static QString developerFromCopyright(const QString &copyright, const QString &fallback);
};
