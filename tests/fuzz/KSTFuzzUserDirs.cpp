// A user's ~/.config/user-dirs.dirs, as the environment's places read it to find the user
// folders, and the resolution of its absolute values under a root.
#include "KSTEnvironment.h"
#include "KSTUserDirsFile.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QHash<QString, KSTUserDirsFile::Value> values = KSTUserDirsFile::parse(bytes);
    if (values.size() > bytes.count('\n') + 1)
        std::abort();

    KSTEnvironment environment;
    environment.setRoot(QStringLiteral("/r"));
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        const KSTUserDirsFile::Value &value = it.value();
        // A value is one line's text; an absolute one starts with "/".
        if (it.key().isEmpty() || value.path.contains(QLatin1Char('\n')) ||
            value.path.contains(QChar(0)) ||
            (!value.relativeToHome && !value.path.startsWith(QLatin1Char('/'))))
            std::abort();
        if (value.relativeToHome)
            continue;
        // Resolved under the root it never climbs out of it.
        const QString resolved = environment.machinePath(value.path);
        if ((resolved != QLatin1String("/r") && !resolved.startsWith(QLatin1String("/r/"))) ||
            resolved.contains(QLatin1String("/../")) || resolved.endsWith(QLatin1String("/..")))
            std::abort();
    }
    return 0;
}
