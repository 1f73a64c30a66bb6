// The System Report's readers of tool output (csrutil, diskutil, systemextensionsctl,
// kextstat, launchctl, ps, scutil, airport, system_profiler), fed the same bytes each.
#include "KSTSystemReportParsers.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    namespace P = KSTSystemReportParsers;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const char *title : {"Hardware", "Graphics/Displays", "Memory"}) {
        const QString part = P::profilerPart(text, QLatin1String(title));
        if (part.size() > text.size() + text.count(QLatin1Char('\n')) + 1)
            std::abort(); // a part is lines of the text, each given back its newline
        const QString value = P::profilerValueForKey(part, QStringLiteral("Chip"));
        if (value.contains(QLatin1Char('\n')) || value != value.trimmed())
            std::abort();
        if (P::leadingNumber(value) < 0)
            std::abort();
    }
    const QString devices = P::profilerDevicesSummary(text);
    if (!devices.isEmpty() && !devices.front().isDigit())
        std::abort();
    P::sipRow(text);
    P::firewallRow(text);
    P::bootMode(text);
    const P::StyledValue smart = P::smartStatus(text);
    if (smart.style < 0 || smart.style > 3 || smart.value.isEmpty())
        std::abort();
    P::wearLevel(text);
    if (!P::apfsContainers(text).front().isDigit())
        std::abort();
    const P::SystemExtensions extensions = P::systemExtensions(text);
    if (extensions.active < 0 || extensions.blocked < 0)
        std::abort();
    if (P::thirdPartyKexts(text) < 0 || P::launchctlServiceCount(text) < 0)
        std::abort();
    if (P::highCpuProcess(text).isEmpty() || P::connectedVpn(text).isEmpty() ||
        P::wifiQuality(text).isEmpty())
        std::abort();
    return 0;
}
