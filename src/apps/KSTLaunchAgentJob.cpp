#include "KSTLaunchAgentJob.h"

#include "KSTPropertyList.h"

#include <QVariantList>
#include <QVariantMap>

KSTLaunchAgentJob KSTLaunchAgentJob::fromData(const QByteArray &data)
{
    KSTLaunchAgentJob job;
    if (data.isEmpty() || data.size() > MaximumBytes)
        return job;
    const QVariant tree = KSTPropertyList::fromData(data);
    if (tree.typeId() != QMetaType::QVariantMap)
        return job;
    job.isValid = true;
    const QVariantMap dictionary = tree.toMap();
    const QVariant label = dictionary.value(QStringLiteral("Label"));
    if (label.typeId() == QMetaType::QString)
        job.label = label.toString();
    const QVariant program = dictionary.value(QStringLiteral("Program"));
    if (program.typeId() == QMetaType::QString)
        job.program = program.toString();
    const QVariant arguments = dictionary.value(QStringLiteral("ProgramArguments"));
    if (arguments.typeId() == QMetaType::QVariantList) {
        for (const QVariant &argument : arguments.toList()) {
            if (job.programArguments.size() >= MaximumArguments)
                break;
            if (argument.typeId() == QMetaType::QString)
                job.programArguments.append(argument.toString());
        }
    }
    return job;
}

QStringList KSTLaunchAgentJob::namedStrings() const
{
    QStringList strings;
    if (!label.isNull())
        strings << label;
    if (!program.isNull())
        strings << program;
    strings << programArguments;
    return strings;
}

QString KSTLaunchAgentJob::executable() const
{
    if (!program.isEmpty())
        return program;
    return programArguments.isEmpty() ? QString() : programArguments.first();
}
