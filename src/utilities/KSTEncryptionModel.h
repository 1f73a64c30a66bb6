#pragma once

#include "KSTError.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class KSTUtilitiesManager;

/// The encrypted-archive panel without widgets, shared by the window and `kestrel encrypt`:
/// the password checks, the confirmation and result texts, and one job at a time. Not
/// thread-safe; used on the main thread.
class KSTEncryptionModel
{
public:
    struct Result
    {
        QString message;
        QString informativeText; ///< empty when the result is an error
        bool succeeded = false;
    };

    explicit KSTEncryptionModel(KSTUtilitiesManager &manager);

    static QString dropAreaText();
    /// "Enter a password." for an empty one, "Passwords do not match." when the two differ.
    static std::optional<QString> passwordRefusal(const QString &password,
                                                  const QString &confirmation);
    static QString confirmationMessage();
    static QString confirmationInformativeText();
    static QString encryptButtonTitle() { return QStringLiteral("Encrypt"); }
    static QString cancelButtonTitle() { return QStringLiteral("Cancel"); }

    bool isEncrypting() const { return *m_encrypting; }
    /// Starts the job unless one is running (then false). @p progress gets "Encrypting
    /// <name>…" before each item, @p finished the outcome; both on the main queue.
    bool start(const QStringList &paths, const QString &password,
               std::function<void(const QString &)> progress,
               std::function<void(quint64 created, const std::optional<KSTError> &)> finished);

    /// "Encrypted N item(s)." with the note about the .zip files, or the error's description,
    /// else "Encryption failed.".
    static Result result(quint64 created, const std::optional<KSTError> &error);

private:
    KSTUtilitiesManager &m_manager;
    // Shared with the job's completion, which may arrive after this model is gone.
    std::shared_ptr<bool> m_encrypting = std::make_shared<bool>(false);
};
