#include "KSTRecordedReportTools.h"

#include "KSTFixtureMac.h"
#include "KSTSystemReportLocations.h"
#include "KSTTestSupport.h"

namespace KSTRecordedReportTools {

namespace {

namespace L = KSTSystemReportLocations;

QByteArray quoted(const QString &path)
{
    return "'" + path.toUtf8() + "'";
}

QByteArray catRecorded(const char *name)
{
    return "cat " + quoted(KSTTestSupport::recordedMacFile(QString::fromUtf8(name)));
}

const char *GraphicsAndMemoryParts = "Graphics/Displays:\n\n    Apple M1 Pro:\n\n"
                                     "      Chipset Model: Apple M1 Pro\n      Type: GPU\n"
                                     "      Total Number of Cores: 14\n";

} // namespace

void install(KSTFixtureMac &mac)
{
    mac.addToolScript(
        L::SystemProfiler,
        catRecorded("system_profiler-SPSoftware-SPHardware-SPStorage-SPMemory.apple-M1Pro-"
                    "MacBookPro18,3.macos13.1.txt") +
            "\nprintf '%s' '" + GraphicsAndMemoryParts + "'\n");
    mac.addToolScript(L::SwVers, "case \"$1\" in -buildVersion) echo 22C65;; "
                                 "-productVersion) echo 13.1;; esac\n");
    mac.addToolScript(L::Csrutil, "case \"$*\" in status) " +
                                      catRecorded("csrutil-status.enabled.drduh.txt") +
                                      ";; esac\n");
    mac.addToolScript(L::Fdesetup,
                      "case \"$*\" in status) " +
                          catRecorded("fdesetup-status.on.macos10.15.6.reportFileVault.txt") +
                          ";; esac\n");
    mac.addToolScript(L::Spctl, "case \"$*\" in --status) echo 'assessments disabled';; esac\n");
    mac.addToolScript(
        L::SocketFilterFirewall,
        "case \"$*\" in --getglobalstate) " +
            catRecorded("socketfilterfw-getglobalstate.state2.mac-health-check-pr8.txt") +
            ";; esac\n");
    mac.addToolScript(
        L::Diskutil,
        "case \"$*\" in 'info disk0') " +
            catRecorded("diskutil-info-disk0.intel-MacBookPro15,4.macos10.14.5.txt") +
            ";; 'apfs list') " + catRecorded("diskutil-apfs-list.disk-image-container.2020.txt") +
            ";; 'list external') " +
            catRecorded("diskutil-list.external-physical.usb-ntfs-fat32.nonocast-issue143.txt") +
            ";; esac\n");
    mac.addToolScript(L::Nvram, "case \"$*\" in boot-args) " +
                                    catRecorded("nvram-boot-args.hac-mini-issue196.txt") +
                                    ";; esac\n");
    mac.addToolScript(
        L::SystemExtensionsCtl,
        "case \"$*\" in list) " +
            catRecorded("systemextensionsctl-list.macos12.0.1.karabiner-issue2876.txt") +
            ";; esac\n");
    mac.addToolScript(L::Scutil,
                      "case \"$*\" in '--nc list') " +
                          catRecorded("scutil-nc-list.L2TP.alfred-network-workflow-issue19.txt") +
                          ";; esac\n");
    mac.addToolScript(L::Airport, "case \"$*\" in -I) " +
                                      catRecorded("airport-I.macos10.14.6.txt") + ";; esac\n");
    mac.addToolScript(L::Launchctl,
                      "case \"$*\" in 'print system') printf 'system = {\\n\\tservices = "
                      "{\\n\\t\\t0\\t-\\tcom.apple.a\\n\\t\\t7\\t-\\tcom.b\\n\\t}\\n}\\n';; "
                      "'print gui/'*) printf 'gui = {\\n\\tservices = "
                      "{\\n\\t\\t0\\t-\\tcom.apple.c\\n\\t}\\n}\\n';; esac\n");
    mac.addToolScript(L::Ps, "case \"$*\" in '-Aceo pid,pcpu,comm') printf '  PID  %%CPU "
                             "COMM\\n    1   0.2 launchd\\n  412  37.4 mds_stores\\n';; esac\n");
    mac.addToolScript(L::Kextstat,
                      "printf 'Index Refs Address Size Wired Name (Version)\\n  170 0 0x1 "
                      "0x2 0x3 com.vendor.Thing (1.2) X <5>\\n'\n");
}

} // namespace KSTRecordedReportTools
