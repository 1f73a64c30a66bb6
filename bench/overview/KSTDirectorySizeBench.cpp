// Sizes one folder the way the engines do (KSTStorageFigures::directorySizeAtPath) and
// prints the total with the time the sizing took and the process's peak resident size, as
// one JSON line. The runner script times the whole process against du(1).
#include "KSTStorageFigures.h"

#include <QElapsedTimer>
#include <QString>

#include <cstdio>
#include <cstring>
#include <sys/resource.h>

int main(int argc, char **argv)
{
    if (argc != 2 || std::strcmp(argv[1], "--help") == 0) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    QElapsedTimer timer;
    timer.start();
    const quint64 bytes = KSTStorageFigures::directorySizeAtPath(folder);
    const qint64 nanoseconds = timer.nsecsElapsed();

    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("{\"bytes\": %llu, \"seconds\": %.6f, \"peakRssKiB\": %ld}\n",
                static_cast<unsigned long long>(bytes), double(nanoseconds) / 1e9, usage.ru_maxrss);
    return 0;
}
