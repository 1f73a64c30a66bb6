#pragma once

#include "KSTError.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class KSTUtilitiesManager;

/// The secure-erase panel without widgets, shared by the window and `kestrel erase`: the
/// method menu, the refusals, the confirmation, progress and result texts, and one job at a
/// time. Not thread-safe; used on the main thread.
class KSTSecureEraseModel
{
public:
    explicit KSTSecureEraseModel(KSTUtilitiesManager &manager);

    /// "Quick Erase (1-pass)", "Secure Erase (3-pass)", "DoD 5220.22-M (7-pass)".
    static QStringList methodMenuTitles();
    /// 0, 1, 2 give 1, 3, 7 passes; any other index 1.
    static quint64 passesForMenuIndex(int index);

    static QString dropAreaText();
    /// Overwriting cannot reach what an SSD's controller or a copy-on-write file system kept.
    static QString honestyText();

    /// The refusal of the first chosen path the screen may not offer, or nothing:
    /// "Cannot erase protected path: <path>".
    std::optional<QString> refusalForPaths(const QStringList &paths) const;

    /// What erasing @p paths would do, counted without following a link or entering another
    /// file system: the regular files that would be overwritten and their bytes, and the
    /// entries that would only be removed (links, files with other hard links, FIFOs, …).
    struct Preview
    {
        quint64 filesToOverwrite = 0;
        quint64 bytesToOverwrite = 0;
        quint64 entriesOnlyRemoved = 0;
    };
    Preview preview(const QStringList &paths) const;
    /// "N file(s), SIZE to overwrite; M item(s) only removed".
    static QString previewText(const Preview &preview);

    static QString confirmationMessage();
    /// Names the volume when one is among @p paths.
    QString confirmationInformativeText(const QStringList &paths) const;
    static QString eraseButtonTitle() { return QStringLiteral("Erase"); }
    static QString cancelButtonTitle() { return QStringLiteral("Cancel"); }

    bool isErasing() const { return *m_erasing; }
    /// Starts the job unless one is running (then false). @p progress gets "Erasing <name>…",
    /// @p finished the outcome, both on the main queue.
    bool start(const QStringList &paths, int methodIndex,
               std::function<void(const QString &)> progress,
               std::function<void(bool success, const std::optional<KSTError> &)> finished);

    /// "Erase completed.", else the error's description, else "Erase failed.".
    static QString resultText(bool success, const std::optional<KSTError> &error);

private:
    KSTUtilitiesManager &m_manager;
    // Shared with the job's completion, which may arrive after this model is gone.
    std::shared_ptr<bool> m_erasing = std::make_shared<bool>(false);
};
