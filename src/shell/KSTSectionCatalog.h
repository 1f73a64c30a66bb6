#pragma once

#include <QList>
#include <QString>

/// The window's sections. The number is used everywhere: sidebar rows, the screen list, the
/// content titles and the folder-access rule.
///
/// | Section | Sidebar title     | Content title            | Group     |
/// |---------|-------------------|--------------------------|-----------|
/// | 0       | "Mac Overview"    | "Mac Overview"           | "MONITOR" |
/// | 1       | "Mac Reporter"    | "Mac Reporter"           | "MONITOR" |
/// | 2       | "Clean Up"        | "Clean Up Storage"       | "CLEAN"   |
/// | 3       | "Duplicate Files" | "Duplicate Files Finder" | "CLEAN"   |
/// | 4       | "Auto Clean"      | "Automatic Clean Up"     | "CLEAN"   |
/// | 5       | "App Manage"      | "App Manage"             | "MANAGE"  |
/// | 6       | "Utilities"       | "Utilities Tools"        | "MANAGE"  |
///
/// A number outside the table has the empty title and the symbol "circle".
class KSTSectionCatalog
{
public:
    enum Section {
        Overview = 0,
        Reporter = 1,
        CleanUp = 2,
        Duplicates = 3,
        AutoClean = 4,
        AppManage = 5,
        Utilities = 6,
    };
    static constexpr int SectionCount = 7;

    /// A sidebar group: its header and its sections in order.
    struct Group
    {
        QString title;
        QList<int> sections;
    };

    static bool isValidSection(int section) { return section >= 0 && section < SectionCount; }
    static QString sidebarTitle(int section);
    static QString contentTitle(int section);
    static QString symbolName(int section);
    /// "MONITOR" (0, 1), "CLEAN" (2, 3, 4), "MANAGE" (5, 6), in that order.
    static QList<Group> groups();
};
