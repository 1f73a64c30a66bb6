#include "KSTMountedVolumes.h"

#include "KSTFileName.h"

#include <QFile>

#ifdef __linux__
#include <linux/magic.h>
#include <sys/vfs.h>
#endif

namespace {

// The kernel's table is small; a cap keeps a broken one from costing anything.
constexpr qint64 MaximumTableBytes = 4 * 1024 * 1024;

// Mount points are written with spaces, tabs, newlines and backslashes as octal escapes.
QByteArray unescaped(const QByteArray &field)
{
    QByteArray result;
    for (qsizetype index = 0; index < field.size(); ++index) {
        if (field.at(index) == '\\' && index + 3 < field.size()) {
            bool ok = false;
            const int value = field.mid(index + 1, 3).toInt(&ok, 8);
            if (ok && value > 0 && value < 256) {
                result.append(char(value));
                index += 3;
                continue;
            }
        }
        result.append(field.at(index));
    }
    return result;
}

} // namespace

namespace KSTMountedVolumes {

QStringList mountPoints()
{
    QStringList points;
#ifdef __linux__
    QFile table(QStringLiteral("/proc/self/mountinfo"));
    if (!table.open(QIODevice::ReadOnly))
        return points;
    const QByteArray contents = table.read(MaximumTableBytes);
    for (const QByteArray &line : contents.split('\n')) {
        // "id parent major:minor root mount-point options …"
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() < 5)
            continue;
        const QString point = KSTFileName::decoded(unescaped(fields.at(4)));
        if (point.startsWith(QLatin1Char('/')) && !points.contains(point))
            points.append(point);
    }
#endif
    return points;
}

bool isKernelStateFileSystem(int fd)
{
#ifdef __linux__
    struct statfs info = {};
    if (::fstatfs(fd, &info) != 0)
        return true; // unknown: not a place to write
    switch (static_cast<unsigned long>(info.f_type)) {
    case PROC_SUPER_MAGIC:
    case SYSFS_MAGIC:
    case DEVPTS_SUPER_MAGIC:
    case CGROUP_SUPER_MAGIC:
    case CGROUP2_SUPER_MAGIC:
    case DEBUGFS_MAGIC:
    case TRACEFS_MAGIC:
    case SECURITYFS_MAGIC:
    case BPF_FS_MAGIC:
    case PSTOREFS_MAGIC:
    case EFIVARFS_MAGIC:
    case 0x62656570: // configfs
    case 0x65735543: // fusectl
    case 0x19800202: // mqueue
    case 0x42494e4d: // binfmt_misc
        return true;
    default:
        return false;
    }
#else
    (void)fd;
    return false;
#endif
}

} // namespace KSTMountedVolumes
