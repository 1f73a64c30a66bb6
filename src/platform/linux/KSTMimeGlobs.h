#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

/// The filename extensions of MIME types, from shared-mime-info's `globs2`
/// (`<data dir>/mime/globs2`, lines "weight:type:glob[:flags]").
///
/// The file is the analysed machine's, so hostile: at most maximumFileBytes are looked at,
/// lines longer than maximumLineBytes are skipped, at most maximumExtensions extensions are
/// kept in all, and only simple globs "*.ext" (no wildcard or bracket after the dot) count.
/// Pure and thread-safe.
namespace KSTMimeGlobs {

constexpr qint64 maximumFileBytes = 2 * 1024 * 1024;
constexpr qsizetype maximumLineBytes = 1024;
constexpr qsizetype maximumExtensions = 16384;

/// The extensions (without the dot, each once per type) by MIME type in lower case, the
/// heaviest glob first and in file order among equal weights.
QMap<QString, QStringList> extensionsByType(const QByteArray &contents);

} // namespace KSTMimeGlobs
