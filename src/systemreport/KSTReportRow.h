#pragma once

#include <QString>

/// One line of a report section: a label, the value shown beside it and a colour hint.
///
/// Made only through the factories, which apply the absent-value rules: an absent (null)
/// label becomes "", an absent (null or empty) value becomes "—" (U+2014). Immutable once
/// made, so a row can cross threads inside a posted snapshot.
class KSTReportRow
{
public:
    /// The colour hints; any other number renders as Normal.
    enum Style : qint64 {
        Normal = 0,   ///< zinc 800
        Good = 1,     ///< emerald 500
        Warning = 2,  ///< orange 500
        Critical = 3, ///< rose 500
    };

    /// A row of style Normal.
    static KSTReportRow rowWithLabel(const QString &label, const QString &value);
    /// A row with the given style, kept as given (see effectiveStyle for what is drawn).
    static KSTReportRow rowWithLabel(const QString &label, const QString &value, qint64 style);

    const QString &label() const { return m_label; }
    const QString &value() const { return m_value; }
    qint64 valueStyle() const { return m_valueStyle; }
    /// The style a screen draws: valueStyle when it is 0–3, else Normal.
    Style effectiveStyle() const;
    /// The palette colour name of effectiveStyle: "zinc", "emerald", "orange" or "rose".
    QString styleColorName() const;

    bool operator==(const KSTReportRow &other) const = default;

private:
    KSTReportRow(QString label, QString value, qint64 style);

    QString m_label;
    QString m_value;
    qint64 m_valueStyle = Normal;
};
