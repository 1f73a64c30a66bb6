#pragma once

#include <QObject>
#include <QString>

#include <gtest/gtest.h>

/// Finding a widget by the object name its screen gives it, so that screens need no getters
/// for tests.
namespace KSTObjectLookup {

/// The one descendant of @p root of type T named @p name; a test failure and nullptr when there
/// is none, or more than one.
template <typename T> T *childNamed(const QObject *root, const QString &name)
{
    const QList<T *> found = root->findChildren<T *>(name);
    EXPECT_EQ(found.size(), 1) << "children named " << name.toStdString();
    return found.size() == 1 ? found.first() : nullptr;
}

/// The text of the one descendant of @p root of type Label named @p name; empty when there is
/// none (after a test failure).
template <typename Label> QString textNamed(const QObject *root, const QString &name)
{
    const Label *label = childNamed<Label>(root, name);
    return label ? label->text() : QString();
}

} // namespace KSTObjectLookup
