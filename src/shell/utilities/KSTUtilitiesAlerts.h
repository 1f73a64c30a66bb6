#pragma once

#include <QString>

#include <functional>
#include <memory>

class QMessageBox;
class QWidget;

/// The alerts of the Utilities screen, worded as the Mac's alerts are: a confirmation before
/// anything changes the machine and a message afterwards. The screen's panels ask through
/// one instance, whose presenters tests replace to answer and record them.
class KSTUtilitiesAlerts
{
public:
    struct Confirmation
    {
        QString message;         ///< "Permanently erase selected items?"
        QString informativeText; ///< what will happen
        QString detailText;      ///< a further line (what erasing would overwrite), or empty
        QString acceptTitle;     ///< "Erase", "Encrypt", "Disable"
    };
    /// Asks; true to go ahead.
    using ConfirmationPresenter = std::function<bool(QWidget *parent, const Confirmation &)>;
    /// Tells an outcome or a refusal; @p warning for a failure.
    using MessagePresenter = std::function<void(QWidget *parent, const QString &message,
                                                const QString &informativeText, bool warning)>;

    KSTUtilitiesAlerts();

    bool confirm(QWidget *parent, const Confirmation &confirmation) const;
    void tell(QWidget *parent, const QString &message, const QString &informativeText,
              bool warning) const;
    void setPresenters(ConfirmationPresenter confirmation, MessagePresenter message);

    /// The confirmation as a warning with the accept button first (the default) and "Cancel"
    /// (also what Escape does); unshown.
    static std::unique_ptr<QMessageBox> confirmationBox(QWidget *parent,
                                                        const Confirmation &confirmation);
    /// A message with one "OK"; unshown.
    static std::unique_ptr<QMessageBox> messageBox(QWidget *parent, const QString &message,
                                                   const QString &informativeText, bool warning);

private:
    ConfirmationPresenter m_confirm;
    MessagePresenter m_tell;
};
