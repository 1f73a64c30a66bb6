#pragma once

#include "KSTFixtureLinux.h"
#include "KSTPermissionChecker.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"
#include "KSTUtilitiesManager.h"

#include <gtest/gtest.h>

#include <memory>

/// A fixture Debian desktop with its own service and Utilities manager. The places are read
/// when first asked for, so a test builds what it needs and then calls activate().
class KSTUtilitiesLinuxTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid());
        KSTPermissionChecker::resetForTesting();
    }
    void TearDown() override
    {
        manager.reset();
        systemInfo.reset();
        KSTPermissionChecker::resetForTesting();
    }

    void activate()
    {
        machine.activate();
        systemInfo = std::make_unique<KSTSystemInfo>();
        manager = std::make_unique<KSTUtilitiesManager>(systemInfo.get());
    }

    QString home(const QString &relative) const { return machine.homePath(relative); }

    KSTFixtureLinux machine;
    std::unique_ptr<KSTSystemInfo> systemInfo;
    std::unique_ptr<KSTUtilitiesManager> manager;
};
