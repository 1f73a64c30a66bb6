#include "KSTEncryptionModel.h"

#include "KSTUtilitiesManager.h"

KSTEncryptionModel::KSTEncryptionModel(KSTUtilitiesManager &manager) : m_manager(manager) {}

QString KSTEncryptionModel::dropAreaText()
{
    return QStringLiteral("Drag files or folders here to encrypt");
}

std::optional<QString> KSTEncryptionModel::passwordRefusal(const QString &password,
                                                           const QString &confirmation)
{
    if (password.isEmpty())
        return QStringLiteral("Enter a password.");
    if (password != confirmation)
        return QStringLiteral("Passwords do not match.");
    return std::nullopt;
}

QString KSTEncryptionModel::confirmationMessage()
{
    return QStringLiteral("Encrypt selected items?");
}

QString KSTEncryptionModel::confirmationInformativeText()
{
    return QStringLiteral("Each item becomes a password-protected .zip file next to the "
                          "original. Open it with Archive Utility, 7-Zip, or Windows Explorer.");
}

bool KSTEncryptionModel::start(
    const QStringList &paths, const QString &password,
    std::function<void(const QString &)> progress,
    std::function<void(quint64 created, const std::optional<KSTError> &)> finished)
{
    if (*m_encrypting)
        return false;
    *m_encrypting = true;
    m_manager.encryptPaths(paths, password, std::move(progress),
                           [encrypting = m_encrypting, finished = std::move(finished)](
                               quint64 created, const std::optional<KSTError> &error) {
                               *encrypting = false;
                               if (finished)
                                   finished(created, error);
                           });
    return true;
}

KSTEncryptionModel::Result KSTEncryptionModel::result(quint64 created,
                                                      const std::optional<KSTError> &error)
{
    if (!error)
        return {QStringLiteral("Encrypted %1 item(s).").arg(created),
                QStringLiteral("Password-protected .zip files were created next to the originals."),
                true};
    if (!error->description.isEmpty())
        return {error->description, {}, false};
    return {QStringLiteral("Encryption failed."), {}, false};
}
