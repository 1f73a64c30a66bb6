// The section titles that name the machine follow the analysed layout; the others never change.
#include "KSTSectionCatalog.h"
#include "KSTEnvironment.h"

#include <gtest/gtest.h>

namespace {

TEST(SectionCatalogTest, TitlesNameTheMachineAsTheLayoutDoes)
{
    const struct
    {
        KSTLayout layout;
        const char *overview;
        const char *reporter;
    } cases[] = {
        {KSTLayout::Mac, "Mac Overview", "Mac Reporter"},
        {KSTLayout::Linux, "Computer Overview", "Computer Reporter"},
    };
    for (const auto &c : cases) {
        KSTEnvironment environment = KSTEnvironment::current();
        environment.setLayout(c.layout);
        const KSTScopedEnvironment scoped(environment);
        EXPECT_EQ(KSTSectionCatalog::sidebarTitle(KSTSectionCatalog::Overview),
                  QString::fromUtf8(c.overview));
        EXPECT_EQ(KSTSectionCatalog::contentTitle(KSTSectionCatalog::Overview),
                  QString::fromUtf8(c.overview));
        EXPECT_EQ(KSTSectionCatalog::sidebarTitle(KSTSectionCatalog::Reporter),
                  QString::fromUtf8(c.reporter));
        EXPECT_EQ(KSTSectionCatalog::contentTitle(KSTSectionCatalog::CleanUp),
                  QStringLiteral("Clean Up Storage"));
        EXPECT_EQ(KSTSectionCatalog::sidebarTitle(KSTSectionCatalog::SectionCount), QString());
    }
}

} // namespace
