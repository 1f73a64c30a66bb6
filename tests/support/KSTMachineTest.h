#pragma once

#include "KSTFixtureMac.h"
#include "KSTPermissionChecker.h"

#include <gtest/gtest.h>

/// A test on its own fixture Mac, made current for the test, with the access layer's cached
/// answers forgotten before and after. For executables linking kst_access; a fixture with
/// more to set up calls KSTMachineTest::SetUp() (and TearDown()) from its own.
class KSTMachineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        KSTPermissionChecker::resetForTesting();
    }
    void TearDown() override { KSTPermissionChecker::resetForTesting(); }

    KSTFixtureMac mac;
};
