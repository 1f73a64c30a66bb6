#include "KSTAccessCommand.h"

#include "KSTPermissionChecker.h"
#include "KSTTerminalText.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

int kstRunAccessCommand(KSTCliContext &context)
{
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("access takes no arguments, not '%1'").arg(context.arguments().first()));

    using Checker = KSTPermissionChecker;
    const bool granted = Checker::hasFullDiskAccess();
    const qint64 status = Checker::fullDiskAccessStatus();
    const QString title = Checker::fullDiskAccessReminderTitle();
    const QString message = Checker::fullDiskAccessReminderMessage();
    const QStringList clients = Checker::fullDiskAccessClientIdentifiers();

    if (context.json()) {
        context.printJson(QJsonObject{
            {QStringLiteral("hasFullDiskAccess"), granted},
            {QStringLiteral("fullDiskAccessStatus"), status},
            {QStringLiteral("fullDiskAccessReminderTitle"), title},
            {QStringLiteral("fullDiskAccessReminderMessage"), message},
            {QStringLiteral("hasRequiredFolderAccess"), Checker::hasRequiredFolderAccess()},
            {QStringLiteral("shouldShowFolderAccessPrompt"),
             Checker::shouldShowFolderAccessPrompt()},
            {QStringLiteral("accessibleUserHomeDirectoryPath"),
             Checker::accessibleUserHomeDirectoryPath()},
            {QStringLiteral("fullDiskAccessClientIdentifiers"),
             QJsonArray::fromStringList(clients)},
        });
        return KSTCliContext::Success;
    }

    static const char *const statusNames[] = {"granted", "not listed", "listed but switched off",
                                              "not granted (stale answer)"};
    using KSTTerminalText::escaped;
    QTextStream &out = context.out();
    out << "Full Disk Access: " << (granted ? "granted" : "not granted") << " (status " << status
        << ", " << statusNames[std::clamp<qint64>(status, 0, 3)] << ")\n";
    out << "Home folder:      " << escaped(Checker::accessibleUserHomeDirectoryPath()) << '\n';
    out << "Folder access:    " << (Checker::hasRequiredFolderAccess() ? "yes" : "no")
        << (Checker::shouldShowFolderAccessPrompt() ? ", the prompt would be shown" : "") << '\n';
    out << "Checked as:       " << escaped(clients.join(QLatin1String(", "))) << '\n';
    if (!granted)
        out << '\n' << escaped(title) << '\n' << escaped(message) << '\n';
    return KSTCliContext::Success;
}
