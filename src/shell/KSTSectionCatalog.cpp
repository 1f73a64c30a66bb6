#include "KSTSectionCatalog.h"

#include <array>

namespace {

struct SectionEntry
{
    const char *sidebarTitle;
    const char *contentTitle;
    const char *symbolName;
};

constexpr std::array<SectionEntry, KSTSectionCatalog::SectionCount> Sections = {{
    {"Mac Overview", "Mac Overview", "gauge.with.dots.needle.67percent"},
    {"Mac Reporter", "Mac Reporter", "chart.line.uptrend.xyaxis"},
    {"Clean Up", "Clean Up Storage", "sparkles"},
    {"Duplicate Files", "Duplicate Files Finder", "doc.on.doc.fill"},
    {"Auto Clean", "Automatic Clean Up", "gearshape.2.fill"},
    {"App Manage", "App Manage", "square.grid.2x2.fill"},
    {"Utilities", "Utilities Tools", "wrench.and.screwdriver.fill"},
}};

} // namespace

QString KSTSectionCatalog::sidebarTitle(int section)
{
    return isValidSection(section) ? QString::fromUtf8(Sections[size_t(section)].sidebarTitle)
                                   : QString();
}

QString KSTSectionCatalog::contentTitle(int section)
{
    return isValidSection(section) ? QString::fromUtf8(Sections[size_t(section)].contentTitle)
                                   : QString();
}

QString KSTSectionCatalog::symbolName(int section)
{
    return isValidSection(section) ? QString::fromUtf8(Sections[size_t(section)].symbolName)
                                   : QStringLiteral("circle");
}

QList<KSTSectionCatalog::Group> KSTSectionCatalog::groups()
{
    return {
        {QStringLiteral("MONITOR"), {Overview, Reporter}},
        {QStringLiteral("CLEAN"), {CleanUp, Duplicates, AutoClean}},
        {QStringLiteral("MANAGE"), {AppManage, Utilities}},
    };
}
