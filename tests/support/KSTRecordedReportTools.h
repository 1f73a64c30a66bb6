#pragma once

class KSTFixtureMac;

/// The System Report's tools on a fixture Mac: each one a `<root><path>` script answering by
/// its arguments with a recording of a real Mac (tests/data/macos), hand-written only where
/// no recording exists (spctl, kextstat, `ps` with %CPU, launchctl's service lists, and the
/// profiler's graphics and memory parts). The profiler is the MacBook Pro (Apple M1 Pro,
/// macOS 13.1) recording; sw_vers answers that Mac's 13.1 (22C65). Shared by the report's
/// tests and kst_fixture_mac, so the pictures and the tests read the same machine.
namespace KSTRecordedReportTools {

/// Installs every tool on @p mac, replacing what was at their paths.
void install(KSTFixtureMac &mac);

} // namespace KSTRecordedReportTools
