#pragma once

#include "KSTAutoCleanManager.h"
#include "KSTMachineTest.h"
#include "KSTPreferences.h"
#include "KSTTestSupport.h"

#include <QDateTime>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <memory>

// A fixture Mac made current, a settings suite of the test's own (emptied first) and a fixed
// "now" in whole seconds, so ages can be set to the second.
class AutoCleanTest : public KSTMachineTest
{
protected:
    static inline const QString Suite = QStringLiteral("com.kestrel.autoclean.test");

    void SetUp() override
    {
        KSTMachineTest::SetUp();
        KSTPreferences::suite(Suite)->clear();
        // Deliver what earlier tests' managers left on the main queue, so a notification
        // of a manager since destroyed (whose address may be reused) is not counted here.
        KSTTestSupport::pumpFor(20);
    }

    KSTAutoCleanManager::Options options() const
    {
        KSTAutoCleanManager::Options options;
        options.suiteName = Suite;
        options.clock = [now = now] { return now; };
        return options;
    }

    std::unique_ptr<KSTAutoCleanManager> makeManager() const
    {
        return std::make_unique<KSTAutoCleanManager>(options());
    }

    QDateTime daysAgo(int days, int extraSeconds = 0) const
    {
        return now.addSecs(-qint64(days) * 24 * 60 * 60 - extraSeconds);
    }

    static bool exists(const QString &path)
    {
        return QFileInfo(path).exists() || QFileInfo(path).isSymLink();
    }

    const QDateTime now = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch());
};
