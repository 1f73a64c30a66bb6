#include "KSTLaunchJob.h"

#include "KSTPathText.h"
#include "KSTUtilitiesManager.h"

namespace {

QString stringValue(const QVariant &value)
{
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

} // namespace

KSTLaunchJob KSTLaunchJob::fromPlist(const QVariantMap &plist, const QString &fileName)
{
    KSTLaunchJob job;
    job.label = stringValue(plist.value(QStringLiteral("Label")));
    if (job.label.isEmpty())
        job.label = KSTPathText::deletingPathExtension(fileName);
    job.program = stringValue(plist.value(QStringLiteral("Program")));
    const QVariant arguments = plist.value(QStringLiteral("ProgramArguments"));
    if (job.program.isEmpty() && arguments.typeId() == QMetaType::QVariantList &&
        !arguments.toList().isEmpty())
        job.program = stringValue(arguments.toList().first());
    job.runsAtLoad = KSTUtilitiesManager::readsAsTrue(plist.value(QStringLiteral("RunAtLoad")));
    job.keptAlive = KSTUtilitiesManager::readsAsTrue(plist.value(QStringLiteral("KeepAlive")));
    return job;
}
