#include "KSTLinuxReportSources.h"

#include "KSTFixtureLinux.h"
#include "KSTTestSupport.h"

namespace KSTLinuxReportSources {

namespace {

// coredumpctl --json=short prints "time" in microseconds since the epoch.
QByteArray coredump(const QDateTime &when, const char *exe, int signal)
{
    return QStringLiteral("{\"time\":%1,\"pid\":%2,\"uid\":1000,\"gid\":1000,\"sig\":%3,"
                          "\"corefile\":\"present\",\"exe\":\"%4\",\"size\":1843200}")
        .arg(when.toMSecsSinceEpoch() * 1000)
        .arg(when.toSecsSinceEpoch() % 30'000 + 1000)
        .arg(signal)
        .arg(QString::fromUtf8(exe))
        .toUtf8();
}

} // namespace

QByteArray builtOutput(const QString &name)
{
    return KSTTestSupport::readFile(
        KSTTestSupport::testDataPath(QStringLiteral("linux/tools/built/") + name));
}

QByteArray recordedOutput(const QString &name)
{
    return KSTTestSupport::readFile(
        KSTTestSupport::testDataPath(QStringLiteral("linux/tools/") + name));
}

void install(KSTFixtureLinux &machine, const QDateTime &now)
{
    machine.writeFile("proc/sys/kernel/osrelease", KernelRelease.toUtf8() + '\n');
    machine.writeFile("proc/cmdline", "BOOT_IMAGE=/vmlinuz-6.1.0-28-amd64 "
                                      "root=/dev/mapper/debian--vg-root ro quiet\n");
    machine.writeFile("proc/modules", builtOutput("proc-modules.thinkpad.txt"));
    machine.writeFile("proc/net/wireless", builtOutput("proc-net-wireless.thinkpad.txt"));
    machine.writeFile("sys/kernel/security/lockdown", "none [integrity] confidentiality\n");
    machine.writeFile("sys/module/apparmor/parameters/enabled", "Y\n");
    machine.writeFile("etc/ufw/ufw.conf", "# /etc/ufw/ufw.conf\n#\n\n"
                                          "# Set to yes to start on boot.\nENABLED=yes\n\n"
                                          "LOGLEVEL=low\n");
    machine.writeFile("sys/firmware/efi/efivars/"
                      "SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c",
                      QByteArray("\x06\x00\x00\x00\x01", 5));

    machine.addTool("/usr/bin/findmnt", builtOutput("findmnt-J.thinkpad-luks-lvm.json"));
    machine.addTool("/usr/bin/lsblk", builtOutput("lsblk-J.thinkpad-luks-lvm.json"));
    machine.addTool("/usr/bin/systemd-analyze", builtOutput("systemd-analyze.thinkpad.txt"));
    machine.addTool("/usr/bin/nmcli", builtOutput("nmcli-t-NAME-TYPE-active.thinkpad.txt"));
    machine.writeFile("usr/share/kestrel-fixture/system-units.txt",
                      builtOutput("systemctl-list-units-running.thinkpad.txt"));
    machine.writeFile("usr/share/kestrel-fixture/user-units.txt",
                      builtOutput("systemctl-user-list-units-running.thinkpad.txt"));
    const QByteArray fixture = machine.path("usr/share/kestrel-fixture/").toUtf8();
    machine.addToolScript("/usr/bin/systemctl", "case \"$1\" in --user) cat '" + fixture +
                                                    "user-units.txt' ;; *) cat '" + fixture +
                                                    "system-units.txt' ;; esac\n");

    const QByteArray dumps = '[' + coredump(now.addSecs(-3600), "/usr/bin/nautilus", 11) + ',' +
                             coredump(now.addDays(-2), "/usr/lib/firefox-esr/firefox-esr", 6) +
                             ',' + coredump(now.addDays(-3), "/usr/bin/nautilus", 11) + ',' +
                             coredump(now.addDays(-10), "/usr/bin/evince", 11) + "]\n";
    machine.addTool("/usr/bin/coredumpctl", dumps);
    // kdump-tools keeps a kernel crash in a folder named by its time.
    const QDateTime kernelCrash = now.addDays(-KernelCrashAgeDays);
    const QString crashFolder =
        QStringLiteral("var/crash/") + kernelCrash.toString(QStringLiteral("yyyyMMddHHmm"));
    machine.writeFile(crashFolder + QStringLiteral("/dmesg.") +
                          kernelCrash.toString(QStringLiteral("yyyyMMddHHmm")),
                      "[    0.000000] Linux version 6.1.0-28-amd64\n", kernelCrash);
    KSTFixtureMachine::setModified(machine.path(crashFolder), kernelCrash);
    machine.writeFile("var/crash/kexec_cmd", "kexec -p --command-line=...\n", now.addDays(-300));

    machine.writeHomeFile(".mozilla/firefox/k3x9q2ab.default-esr/extensions.json",
                          builtOutput("firefox-extensions.thinkpad.json"));
    machine.writeHomeFile(".mozilla/firefox/profiles.ini",
                          "[Profile0]\nName=default-esr\nIsRelative=1\n"
                          "Path=k3x9q2ab.default-esr\nDefault=1\n");
    const QString chromium = QStringLiteral(".config/chromium/Default/Extensions/");
    machine.writeHomeFile(chromium + "eimadpbcbfnmbkopoojfekhnkhdbieeh/4.9.96_0/manifest.json",
                          "{\"manifest_version\":3,\"name\":\"Dark Reader\","
                          "\"version\":\"4.9.96\"}");
    // A name from a message that is not there: the report calls it unknown.
    machine.writeHomeFile(chromium + "aapbdbdomjkkjkaonfhkkikfgjllcleb/2.0.16_0/manifest.json",
                          "{\"manifest_version\":3,\"name\":\"__MSG_appName__\","
                          "\"default_locale\":\"en\"}");
}

} // namespace KSTLinuxReportSources
