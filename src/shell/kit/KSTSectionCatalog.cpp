#include "KSTSectionCatalog.h"

#include "KSTLayoutWords.h"

#include <array>

namespace {

struct SectionEntry
{
    // "%1" stands for the machine as the layout names it ("Mac", "Computer").
    const char *sidebarTitle;
    const char *contentTitle;
    const char *symbolName;
    // The tool reads the user's folders: the window gates it until access is granted. A
    // sandboxed build reaches even fewer places without the user's grant.
    bool needsFolderAccess;
    bool needsFolderAccessSandboxed;
    // A home-folder grant alone is not enough for the tool's work.
    bool needsFullDiskAccess;
    // The sidebar row carries the "ON" badge while automation is active.
    bool showsAutomationBadge;
};

constexpr std::array<SectionEntry, KSTSectionCatalog::SectionCount> Sections = {{
    {"%1 Overview", "%1 Overview", "gauge.with.dots.needle.67percent", false, true, false, false},
    {"%1 Reporter", "%1 Reporter", "chart.line.uptrend.xyaxis", true, false, false, false},
    {"Clean Up", "Clean Up Storage", "sparkles", true, true, true, false},
    {"Duplicate Files", "Duplicate Files Finder", "doc.on.doc.fill", false, false, false, false},
    {"Auto Clean", "Automatic Clean Up", "gearshape.2.fill", true, true, false, true},
    {"App Manage", "App Manage", "square.grid.2x2.fill", false, true, false, false},
    {"Utilities", "Utilities Tools", "wrench.and.screwdriver.fill", false, false, false, false},
}};

QString sectionTitleText(const char *title)
{
    const QString text = QString::fromUtf8(title);
    return text.contains(QLatin1String("%1")) ? text.arg(KSTLayoutWords::current().machine) : text;
}

} // namespace

QString KSTSectionCatalog::sidebarTitle(int section)
{
    return isValidSection(section) ? sectionTitleText(Sections[size_t(section)].sidebarTitle)
                                   : QString();
}

QString KSTSectionCatalog::contentTitle(int section)
{
    return isValidSection(section) ? sectionTitleText(Sections[size_t(section)].contentTitle)
                                   : QString();
}

QString KSTSectionCatalog::symbolName(int section)
{
    return isValidSection(section) ? QString::fromUtf8(Sections[size_t(section)].symbolName)
                                   : QStringLiteral("circle");
}

bool KSTSectionCatalog::requiresFolderAccess(int section, bool sandboxed)
{
    if (!isValidSection(section))
        return false;
    const SectionEntry &entry = Sections[size_t(section)];
    return sandboxed ? entry.needsFolderAccessSandboxed : entry.needsFolderAccess;
}

bool KSTSectionCatalog::requiresFullDiskAccess(int section)
{
    return isValidSection(section) && Sections[size_t(section)].needsFullDiskAccess;
}

bool KSTSectionCatalog::showsAutomationBadge(int section)
{
    return isValidSection(section) && Sections[size_t(section)].showsAutomationBadge;
}

QList<KSTSectionCatalog::Group> KSTSectionCatalog::groups()
{
    return {
        {QStringLiteral("MONITOR"), {Overview, Reporter}},
        {QStringLiteral("CLEAN"), {CleanUp, Duplicates, AutoClean}},
        {QStringLiteral("MANAGE"), {AppManage, Utilities}},
    };
}
