#pragma once

#include <QByteArray>
#include <QString>

/// The one value App Manage reads from a snap's meta/snap.yaml: its top-level "version".
///
/// The file is the analysed machine's, so hostile: no YAML library is trusted with it. Only
/// the first maximumFileBytes are looked at, lines longer than maximumLineBytes are skipped,
/// and only a plain "version: value" line at the start of a line counts (indented keys belong
/// to nested maps: an app's or a part's). Pure; thread-safe.
namespace KSTSnapYaml {

constexpr qsizetype maximumFileBytes = 256 * 1024;
constexpr qsizetype maximumLineBytes = 4096;
/// Longer versions are not believed (snapcraft allows 32 characters).
constexpr qsizetype maximumVersionCharacters = 64;

/// The first top-level version, without a trailing comment and without one pair of
/// surrounding single or double quotes; empty when there is none or it is too long.
QString version(const QByteArray &contents);

} // namespace KSTSnapYaml
