#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// GNOME Shell's record of when each application was last seen running
/// ($XDG_DATA_HOME/gnome-shell/application_state): <application id="x.desktop"
/// last-seen="<seconds since the epoch>"/> elements inside one element per context.
///
/// Hostile input: at most maximumInputBytes are parsed (a larger file gives nothing), at most
/// maximumApplications elements are looked at, and Qt's XML reader expands no external entity.
/// Pure; thread-safe.
namespace KSTGnomeApplicationState {

constexpr qsizetype maximumInputBytes = 1024 * 1024;
/// A desktop keeps a few hundred applications here; a flooded file stops being read past this.
constexpr qsizetype maximumApplications = 10'000;

struct LastSeen
{
    QString id; ///< the desktop-file ID without ".desktop"
    qint64 lastSeen = 0;
};

/// Each application with a numeric last-seen once, at its latest (an application listed in
/// several contexts), in order of first appearance.
QList<LastSeen> lastSeen(const QByteArray &xml);

} // namespace KSTGnomeApplicationState
