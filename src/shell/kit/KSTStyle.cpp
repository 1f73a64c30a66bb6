#include "KSTStyle.h"

#include "KSTPalette.h"

#include <QApplication>
#include <QFontDatabase>
#include <QLabel>
#include <QPushButton>

QString KSTStyle::fontFamily()
{
#ifdef Q_OS_MACOS
    return QApplication::font().family();
#else
    // The Mac's system face exists only there; Inter (installed by scripts/setup) is close to
    // it in proportions, so screens laid out for the Mac keep their look.
    static const QString family = QFontDatabase::families().contains(QStringLiteral("Inter"))
                                      ? QStringLiteral("Inter")
                                      : QApplication::font().family();
    return family;
#endif
}

QFont KSTStyle::font(int pixelSize, QFont::Weight weight)
{
    QFont result(fontFamily());
    result.setPixelSize(pixelSize);
    result.setWeight(weight);
    return result;
}

QString KSTStyle::applicationStyleSheet()
{
    using P = KSTPalette;
    const QString primary = P::css(P::primaryText());
    const QString secondary = P::css(P::secondaryText());
    const QString tertiary = P::css(P::tertiaryText());
    const QString accent = P::css(P::accent());
    QColor accentPressed = P::accent().darker(115);
    QColor track = P::trackFill();
    // A primary button that cannot be used yet keeps its place but fades, as the Mac's do.
    QColor disabledAccent = P::accent();
    disabledAccent.setAlpha(P::isDark() ? 90 : 110);
    QColor disabledText(Qt::white);
    disabledText.setAlpha(P::isDark() ? 140 : 220);

    QString sheet;
    sheet += QStringLiteral("QWidget { color: %1; }\n").arg(primary);
    sheet += QStringLiteral("QLabel { background: transparent; }\n");
    const struct
    {
        const char *role;
        int size;
        int weight;
        QString color;
    } roles[] = {
        {LargeTitle, 22, 700, primary},  {Title, 17, 600, primary},
        {Headline, 14, 600, primary},    {Body, 13, 400, primary},
        {Secondary, 12, 400, secondary}, {Caption, 11, 400, tertiary},
        {Value, 24, 600, primary},       {GroupHeader, 11, 600, tertiary},
    };
    for (const auto &role : roles) {
        sheet += QStringLiteral("QLabel[kstRole=\"%1\"] { font-size: %2px; font-weight: %3; "
                                "color: %4; }\n")
                     .arg(QLatin1String(role.role))
                     .arg(role.size)
                     .arg(role.weight)
                     .arg(role.color);
    }
    sheet += QStringLiteral(
                 "QPushButton { font-size: 13px; border-radius: 7px; padding: 6px 14px; }\n"
                 "QPushButton[kstRole=\"%1\"] { background: %2; color: white; border: none; "
                 "font-weight: 600; }\n"
                 "QPushButton[kstRole=\"%1\"]:pressed { background: %3; }\n"
                 "QPushButton[kstRole=\"%1\"]:disabled { background: %10; color: %11; }\n"
                 "QPushButton[kstRole=\"%4\"] { background: %5; color: %6; border: 1px solid "
                 "%7; font-weight: 500; }\n"
                 "QPushButton[kstRole=\"%4\"]:hover { background: %8; }\n"
                 "QPushButton[kstRole=\"%4\"]:disabled { color: %12; }\n"
                 "QPushButton[kstRole=\"%9\"] { background: transparent; color: %2; border: none; "
                 "padding: 4px 6px; font-weight: 500; }\n")
                 .arg(QLatin1String(PrimaryButton), accent, P::css(accentPressed),
                      QLatin1String(SecondaryButton), P::css(P::cardBackground()), primary,
                      P::css(P::separator()), P::css(P::hoverFill()), QLatin1String(PlainButton),
                      P::css(disabledAccent), P::css(disabledText), tertiary);
    sheet += QStringLiteral(
                 "QScrollArea, QScrollArea > QWidget > QWidget { background: transparent; "
                 "border: none; }\n"
                 "QScrollBar:vertical { background: transparent; width: 10px; margin: 2px; }\n"
                 "QScrollBar::handle:vertical { background: %1; border-radius: 3px; "
                 "min-height: 30px; }\n"
                 "QScrollBar::add-line, QScrollBar::sub-line { height: 0; width: 0; }\n"
                 "QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }\n"
                 "QToolTip { color: %2; background: %3; border: 1px solid %4; }\n"
                 "QWidget[kstRole=\"separator\"] { background: %4; }\n"
                 "QPushButton[kstRole=\"plain\"]:hover { background: %5; }\n")
                 .arg(P::css(track.darker(110)), primary, P::css(P::cardBackground()),
                      P::css(P::separator()), P::css(P::hoverFill()));
    return sheet;
}

void KSTStyle::applyToApplication()
{
    QApplication::setFont(font(13));
    qApp->setStyleSheet(applicationStyleSheet());
}

QLabel *KSTStyle::label(const QString &text, const char *role, QWidget *parent)
{
    auto *result = new QLabel(text, parent);
    result->setProperty("kstRole", QLatin1String(role));
    return result;
}

void KSTStyle::setButtonRole(QPushButton *button, const char *role)
{
    button->setProperty("kstRole", QLatin1String(role));
    button->setCursor(Qt::PointingHandCursor);
}
