#pragma once

#include <QByteArray>
#include <QMap>
#include <QStringList>

#include <functional>

/// Every entry below a folder, described so that any change shows: a folder by its kind, a
/// file by its size and SHA-256, a link by its target, a FIFO or device by its kind. Read
/// without following links and without opening anything but regular files (non-blocking), so
/// a hostile tree can be listed safely. Keys are paths relative to the folder, as bytes.
using KSTTreeListing = QMap<QByteArray, QByteArray>;

namespace KSTTestSupport {

KSTTreeListing listTree(const QByteArray &folder);

/// The entries of @p before that @p after lacks or describes differently, and those @p after
/// adds, each as "path: before -> after"; entries for which @p ignore answers true are left
/// out.
QStringList treeDifferences(const KSTTreeListing &before, const KSTTreeListing &after,
                            const std::function<bool(const QByteArray &path)> &ignore);

} // namespace KSTTestSupport
