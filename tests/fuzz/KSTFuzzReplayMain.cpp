// Replays fuzz inputs through a target without libFuzzer, so that any compiler builds the
// targets and CI runs their corpora under the sanitizers: every argument is a file, or a
// folder whose files are each one input.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

QStringList inputsOf(const QString &argument)
{
    const QFileInfo info(argument);
    if (!info.isDir())
        return {argument};
    QStringList files;
    const QDir folder(argument);
    for (const QString &name : folder.entryList(QDir::Files | QDir::Hidden, QDir::Name))
        files << folder.filePath(name);
    return files;
}

} // namespace

int main(int argc, char **argv)
{
    int replayed = 0;
    for (int index = 1; index < argc; ++index) {
        for (const QString &path : inputsOf(QFile::decodeName(argv[index]))) {
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
                return 1;
            }
            const QByteArray input = file.readAll();
            // An exact-size copy, as libFuzzer passes it: a read one byte past the input (a
            // missing terminator assumed) is an error AddressSanitizer sees.
            const auto bytes = std::make_unique<uint8_t[]>(size_t(input.size()));
            std::copy(input.cbegin(), input.cend(), bytes.get());
            LLVMFuzzerTestOneInput(bytes.get(), size_t(input.size()));
            ++replayed;
        }
    }
    std::printf("replayed %d inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
