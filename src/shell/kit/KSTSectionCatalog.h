#pragma once

#include <QList>
#include <QString>

/// The window's sections. The number is used everywhere: sidebar rows, the screen list, the
/// content titles and the folder-access rule.
///
/// | Section | Sidebar title     | Content title            | Group     | Access      |
/// |---------|-------------------|--------------------------|-----------|-------------|
/// | 0       | "Mac Overview"    | "Mac Overview"           | "MONITOR" | sandboxed   |
/// | 1       | "Mac Reporter"    | "Mac Reporter"           | "MONITOR" | folders     |
/// | 2       | "Clean Up"        | "Clean Up Storage"       | "CLEAN"   | full disk   |
/// | 3       | "Duplicate Files" | "Duplicate Files Finder" | "CLEAN"   |             |
/// | 4       | "Auto Clean"      | "Automatic Clean Up"     | "CLEAN"   | folders     |
/// | 5       | "App Manage"      | "App Manage"             | "MANAGE"  | sandboxed   |
/// | 6       | "Utilities"       | "Utilities Tools"        | "MANAGE"  |             |
///
/// "folders": gated until folder access is granted, in every build; "sandboxed": only in a
/// sandboxed build; "full disk": in every build, and a home-folder grant alone is not enough.
/// Auto Clean's sidebar row carries the automation badge. A number outside the table has the
/// empty title, the symbol "circle", and needs nothing. On a Linux layout "Mac" in a title is
/// the layout's word for the machine ("Computer Overview").
///
/// This is pure data: no widget and no engine, so every screen may name the sections.
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
    /// Whether the window gates @p section until folder access is granted (in a sandboxed
    /// build when @p sandboxed).
    static bool requiresFolderAccess(int section, bool sandboxed);
    /// Whether @p section stays gated while Full Disk Access is missing, grant or not.
    static bool requiresFullDiskAccess(int section);
    /// Whether the section's sidebar row shows the automation badge.
    static bool showsAutomationBadge(int section);
    /// "MONITOR" (0, 1), "CLEAN" (2, 3, 4), "MANAGE" (5, 6), in that order.
    static QList<Group> groups();
};
