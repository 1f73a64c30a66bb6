#include "KSTPalette.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPalette>

#include <array>

namespace {

struct NamedColor
{
    const char *name;
    QRgb light;
    QRgb dark;
};

// Light variants are deep enough to read on white cards; dark variants are a step lighter so
// they keep their contrast on the dark surfaces.
constexpr std::array<NamedColor, 9> NamedColors = {{
    {"zinc", 0x71717a, 0xa1a1aa},
    {"blue", 0x3b82f6, 0x60a5fa},
    {"emerald", 0x10b981, 0x34d399},
    {"violet", 0x8b5cf6, 0xa78bfa},
    {"purple", 0xa855f7, 0xc084fc},
    {"rose", 0xf43f5e, 0xfb7185},
    {"sky", 0x0ea5e9, 0x38bdf8},
    {"amber", 0xf59e0b, 0xfbbf24},
    {"orange", 0xf97316, 0xfb923c},
}};

QColor pick(QRgb light, QRgb dark)
{
    return QColor::fromRgb(KSTPalette::isDark() ? dark : light);
}

QColor pickAlpha(QRgb light, int lightAlpha, QRgb dark, int darkAlpha)
{
    QColor color = pick(light, dark);
    color.setAlpha(KSTPalette::isDark() ? darkAlpha : lightAlpha);
    return color;
}

} // namespace

KSTPalette::KSTPalette()
{
    m_lastDark = systemIsDark();
    if (QCoreApplication *application = QCoreApplication::instance())
        application->installEventFilter(this);
}

KSTPalette &KSTPalette::instance()
{
    static KSTPalette *palette = new KSTPalette; // lives as long as the application
    return *palette;
}

void KSTPalette::setAppearance(Appearance appearance)
{
    KSTPalette &palette = instance();
    const bool wasDark = isDark();
    palette.m_appearance = appearance;
    palette.m_lastDark = isDark();
    if (wasDark != palette.m_lastDark)
        Q_EMIT palette.appearanceChanged();
}

KSTPalette::Appearance KSTPalette::appearance()
{
    return instance().m_appearance;
}

bool KSTPalette::isDark()
{
    switch (instance().m_appearance) {
    case Appearance::Light:
        return false;
    case Appearance::Dark:
        return true;
    case Appearance::System:
        break;
    }
    return systemIsDark();
}

bool KSTPalette::systemIsDark()
{
    // Qt 6.4 has no colour-scheme query; the platform theme's window colour tells (macOS
    // switches it with the system appearance). The window never sets an application palette
    // of its own, so this stays the system's.
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return false;
    return QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
}

bool KSTPalette::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == QCoreApplication::instance() &&
        (event->type() == QEvent::ApplicationPaletteChange ||
         event->type() == QEvent::ThemeChange)) {
        const bool dark = isDark();
        if (dark != m_lastDark) {
            m_lastDark = dark;
            Q_EMIT appearanceChanged();
        }
    }
    return QObject::eventFilter(watched, event);
}

QStringList KSTPalette::colorNames()
{
    QStringList names;
    for (const NamedColor &named : NamedColors)
        names << QLatin1String(named.name);
    return names;
}

QColor KSTPalette::color(const QString &name)
{
    for (const NamedColor &named : NamedColors) {
        if (name == QLatin1String(named.name))
            return pick(named.light, named.dark);
    }
    return pick(NamedColors[0].light, NamedColors[0].dark);
}

QColor KSTPalette::windowBackground()
{
    return pick(0xf5f5f7, 0x1c1c1f);
}

QColor KSTPalette::sidebarBackground()
{
    return pick(0xe9e9ec, 0x141417);
}

QColor KSTPalette::cardBackground()
{
    return pick(0xffffff, 0x27272a);
}

QColor KSTPalette::cardBorder()
{
    return pickAlpha(0x000000, 20, 0xffffff, 22);
}

QColor KSTPalette::separator()
{
    return pickAlpha(0x000000, 26, 0xffffff, 28);
}

QColor KSTPalette::primaryText()
{
    return pick(0x18181b, 0xf4f4f5);
}

QColor KSTPalette::secondaryText()
{
    return pick(0x5f5f68, 0xa1a1aa);
}

QColor KSTPalette::tertiaryText()
{
    return pick(0x8e8e96, 0x71717a);
}

QColor KSTPalette::accent()
{
    return color(QStringLiteral("blue"));
}

QColor KSTPalette::hoverFill()
{
    return pickAlpha(0x000000, 14, 0xffffff, 16);
}

QColor KSTPalette::selectionFill()
{
    return pickAlpha(0x000000, 26, 0xffffff, 30);
}

QColor KSTPalette::trackFill()
{
    return pickAlpha(0x000000, 18, 0xffffff, 26);
}

QString KSTPalette::css(const QColor &color)
{
    if (color.alpha() == 255)
        return color.name(QColor::HexRgb);
    return QStringLiteral("rgba(%1, %2, %3, %4)")
        .arg(color.red())
        .arg(color.green())
        .arg(color.blue())
        .arg(color.alpha());
}
