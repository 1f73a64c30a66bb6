#pragma once

#include "KSTPropertyList.h"

#include <QString>

/// What one parse may still build: values and payload bytes left under the caps of
/// KSTPropertyList. Every reader takes from it as it builds the tree and stops with the
/// error it names once a cap is reached.
class KSTPropertyListBudget
{
public:
    /// Takes @p count values (a shared subtree counts all of its values at every use);
    /// false (and error() set) once MaximumValueCount would be exceeded.
    bool takeValues(qint64 count = 1)
    {
        if (count < 0 || count > m_valuesLeft)
            return fail(QStringLiteral("holds more than %1 values")
                            .arg(KSTPropertyList::MaximumValueCount));
        m_valuesLeft -= count;
        return true;
    }

    /// Takes @p bytes of strings or data; false (and error() set) once MaximumPayloadBytes
    /// would be exceeded.
    bool takePayload(qint64 bytes)
    {
        if (bytes < 0 || bytes > m_payloadLeft)
            return fail(QStringLiteral("holds more than %1 MiB of text and data")
                            .arg(KSTPropertyList::MaximumPayloadBytes / (1024 * 1024)));
        m_payloadLeft -= bytes;
        return true;
    }

    /// Whether one more container may be opened inside @p openContainers open ones.
    bool mayNest(qsizetype openContainers)
    {
        if (openContainers >= KSTPropertyList::MaximumDepth)
            return fail(QStringLiteral("is nested deeper than %1 levels")
                            .arg(KSTPropertyList::MaximumDepth));
        return true;
    }

    /// Why the last take failed, as the end of a sentence ("holds more than …").
    const QString &error() const { return m_error; }

private:
    bool fail(const QString &error)
    {
        m_error = error;
        return false;
    }

    qint64 m_valuesLeft = KSTPropertyList::MaximumValueCount;
    qint64 m_payloadLeft = KSTPropertyList::MaximumPayloadBytes;
    QString m_error;
};
