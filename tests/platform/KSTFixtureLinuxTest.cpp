#include "KSTFixtureLinux.h"
#include "KSTEnvironment.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The fixture is only worth its tests when the program finds the machine on its own: the
// environment built from "--root" must be the one the fixture hands to engines.
TEST(KSTFixtureLinuxTest, CommandLineFindsTheFixtureUser)
{
    KSTFixtureLinux machine(u"bob"_s, 1234);
    ASSERT_TRUE(machine.isValid());
    QString error;
    const auto found = KSTEnvironment::fromOptions({machine.root(), {}, {}, {}}, &error);
    ASSERT_TRUE(found) << qPrintable(error);
    const KSTEnvironment expected = machine.environment();
    EXPECT_EQ(found->layout(), KSTLayout::Linux);
    EXPECT_EQ(found->loginName(), expected.loginName());
    EXPECT_EQ(found->home(), expected.home());
    EXPECT_EQ(found->userId(), 1234u);
    EXPECT_EQ(found->root(), expected.root());
}

} // namespace
