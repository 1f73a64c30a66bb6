// An analysed machine's /etc/passwd, as the environment reads it to find a login's account.
#include "KSTPasswordFile.h"

#include <cstdint>
#include <cstdlib>

namespace {

void check(const QByteArray &contents, const QString &login)
{
    const std::optional<KSTPasswordFile::Entry> entry = KSTPasswordFile::findLogin(contents, login);
    if (!entry)
        return;
    // An entry is the login asked for, with one absolute home from one line of the input.
    if (entry->login != login || !entry->home.startsWith(QLatin1Char('/')) ||
        entry->home.contains(QLatin1Char('\n')) || entry->home.size() > contents.size())
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    check(bytes, QStringLiteral("root"));
    check(bytes, QStringLiteral("anna"));
    // The first line's own login, so that the fuzzer reaches the field parsing of any name.
    const qsizetype colon = bytes.indexOf(':');
    if (colon > 0)
        check(bytes, QString::fromUtf8(bytes.left(colon)));
    return 0;
}
