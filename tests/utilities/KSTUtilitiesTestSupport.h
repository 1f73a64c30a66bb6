#pragma once

#include "KSTDispatch.h"
#include "KSTMachineTest.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"
#include "KSTUtilitiesManager.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <memory>
#include <sys/xattr.h>

/// A fixture Mac with its own service and Utilities manager, so no cache or queue is shared
/// between tests.
class KSTUtilitiesTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        systemInfo = std::make_unique<KSTSystemInfo>();
        manager = std::make_unique<KSTUtilitiesManager>(systemInfo.get());
    }
    void TearDown() override
    {
        manager.reset();
        systemInfo.reset();
        KSTMachineTest::TearDown();
    }

    /// A file of @p bytes that occupies no blocks (its size is all that matters).
    static bool makeSparse(const QString &path, qint64 bytes)
    {
        if (!KSTTestSupport::writeFile(path, {}))
            return false;
        QFile file(path);
        return file.open(QIODevice::ReadWrite) && file.resize(bytes);
    }

    /// Sets an attribute as a Mac's files carry it on this host ("user." + name on Linux).
    static bool setAttribute(const QString &path, const QString &name, const QByteArray &value)
    {
        const QByteArray attribute = (QStringLiteral("user.") + name).toUtf8();
        return ::lsetxattr(QFile::encodeName(path).constData(), attribute.constData(),
                           value.constData(), size_t(value.size()), 0) == 0;
    }

    std::unique_ptr<KSTSystemInfo> systemInfo;
    std::unique_ptr<KSTUtilitiesManager> manager;
};
