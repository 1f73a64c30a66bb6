#!/usr/bin/env python3
"""Writes the crafted seeds of the fuzz corpora (the recorded ones are copies; see
PROVENANCE.md). The binary and XML seeds are the hostile files of tests/support/
KSTHostileFiles built byte for byte the same way, so that the fuzzers start from what broke
earlier readers.

Run from this folder: python3 make_crafted_seeds.py
"""
import plistlib
import struct


def width_for(largest):
    for width in (1, 2, 4):
        if largest < 1 << (8 * width):
            return width
    return 8


def header(kind, count):
    if count < 15:
        return bytes([(kind << 4) | count])
    return bytes([(kind << 4) | 0xF, 0x13]) + struct.pack(">Q", count)


def binary_plist(objects, top=0, reference_width=1):
    out = bytearray(b"bplist00")
    offsets = []
    for obj in objects:
        offsets.append(len(out))
        out += obj
    table = len(out)
    offset_width = width_for(offsets[-1])
    for offset in offsets:
        out += offset.to_bytes(offset_width, "big")
    out += bytes(6) + bytes([offset_width, reference_width])
    out += struct.pack(">QQQ", len(objects), top, table)
    return bytes(out)


def nested_arrays(depth):
    width = width_for(depth)
    objects = [header(0xA, 1) + (level + 1).to_bytes(width, "big") for level in range(depth - 1)]
    objects.append(header(0xA, 0))
    return binary_plist(objects, 0, width)


def shared_arrays(levels, fan_out):
    width = width_for(levels)
    objects = [header(0xA, fan_out) + (level + 1).to_bytes(width, "big") * fan_out
               for level in range(levels)]
    objects.append(b"\x51x")
    return binary_plist(objects, 0, width)


def write(path, data):
    with open(path, "wb") as f:
        f.write(data)


# --- binary ---
write("plist_binary/crafted-nul-key.bplist",
      binary_plist([b"\xD1\x01\x02", b"\x51\x00", b"\x53abc"]))
write("plist_binary/crafted-nested-600.bplist", nested_arrays(600))
write("plist_binary/crafted-shared-8x16.bplist", shared_arrays(8, 16))
write("plist_binary/crafted-self-reference.bplist", binary_plist([b"\xA1\x00"]))
write("plist_binary/crafted-every-width.bplist", binary_plist([
    header(0xA, 9) + bytes(range(1, 10)),
    b"\x14" + b"\xFF" * 15 + b"\xFE",
    b"\x14" + bytes(8) + b"\x80" + bytes(7),
    b"\x22\x3F\xC0\x00\x00",
    b"\x81\x01\x02",
    b"\x33" + struct.pack(">d", 3.2e16),
    header(0x6, 2) + "é東".encode("utf-16-be"),
    header(0x4, 20) + bytes(range(20)),
    header(0xC, 1) + b"\x01",
    b"\x09",
]))

# --- XML ---
entities = '<!ENTITY e0 "laughter">\n' + "".join(
    f'<!ENTITY e{level} "{("&e%d;" % (level - 1)) * 10}">\n' for level in range(1, 10))
write("plist_xml/crafted-entity-expansion.plist", (
    '<?xml version="1.0" encoding="UTF-8"?>\n<!DOCTYPE plist [\n' + entities +
    ']>\n<plist version="1.0"><dict><key>k</key><string>&e9;</string></dict></plist>\n'
).encode())
write("plist_xml/crafted-nested-600.plist",
      b'<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0">' +
      b"<array>" * 600 + b"</array>" * 600 + b"</plist>\n")
write("plist_xml/crafted-numbers-utf16.plist", (
    '<?xml version="1.0" encoding="UTF-16"?><plist><dict>'
    '<key>hex</key><integer> 0x1F </integer><key>big</key><integer>18446744073709551615</integer>'
    '<key>nan</key><real>nan</real><key>down</key><real>-infinity</real>'
    '<key>data</key><data>AAE\n\tC</data><key>when</key><date>1900-01-01T00:00:00Z</date>'
    '<key>name</key><string>Grüße &amp; 東京</string><key>yes</key><true/></dict></plist>'
).encode("utf-16"))

# --- text ---
strings = ('/* Localized versions of Info.plist keys */\n\n'
           '"CFBundleName" = "Kestrel";\n'
           '"NSHumanReadableCopyright" = "© 2024 \\"Kestrel\\"\\nAll rights reserved.";\n'
           '// A key alone stands for itself.\n"OK";\n'
           "CFBundleDisplayName = 'Kestrel 3';\n"
           '"Tab\\tand octal \\101 and \\U00e9" = "東京";\n')
write("plist_text/crafted-strings-utf8.strings", strings.encode())
write("plist_text/crafted-strings-utf16le.strings", b"\xFF\xFE" + strings.encode("utf-16-le"))
write("plist_text/crafted-strings-utf16be.strings", b"\xFE\xFF" + strings.encode("utf-16-be"))
write("plist_text/crafted-openstep.plist",
      b'{ name = Kestrel; path = /usr/bin/find; list = (a, "b c", <0001 ff>, );\n'
      b'  empty = {}; none = (); nested = { deeper = ( { x = y; } ); }; }\n')
write("plist_text/crafted-nested-600.plist", b"(" * 600 + b")" * 600)

# --- SystemVersion.plist in both formats ---
version = {"ProductBuildVersion": "23F79", "ProductCopyright": "1983-2024 Apple Inc.",
           "ProductName": "macOS", "ProductUserVisibleVersion": "14.5", "ProductVersion": "14.5",
           "iOSSupportVersion": "17.5"}
write("system_version/crafted-sonoma.plist", plistlib.dumps(version, fmt=plistlib.FMT_XML))
write("system_version/crafted-sonoma.bplist", plistlib.dumps(
    dict(version, ProductVersion="15.0.1", ProductBuildVersion="24A348"),
    fmt=plistlib.FMT_BINARY))
write("system_version/crafted-odd-version.plist", plistlib.dumps(
    {"ProductVersion": "99999999999999999999.-1.x.4.5", "ProductBuildVersion": ""},
    fmt=plistlib.FMT_XML))

# --- what `tmutil listlocalsnapshots / | wc -l` prints ---
for name, data in {"three": b"       3\n", "zero": b"0\n", "words": b"12 lines\n",
                   "negative": b"  -7\n", "huge": b"99999999999999999999999\n",
                   "error": b"wc: broken\n", "empty": b""}.items():
    write(f"tmutil_count/crafted-{name}.txt", data)

# --- what find prints ---
write("find_output/crafted-paths.txt",
      b"/Users/alice/Movies/holiday.mov\n/Users/alice/Desktop/disk image.iso\n"
      b"  /Users/alice/Downloads/padded.zip  \n\n/Users/alice/Documents/Gr\xc3\xbc\xc3\x9fe.mp4\n")
write("find_output/crafted-odd-bytes.txt",
      b"/Users/alice/bad\xff\xfename.bin\n/Users/alice/esc\x1b[2Jape\r\n/Users/alice/nul\x00byte\n")

# --- the first bytes of an application's executable ---
def words(values, big_endian):
    return b"".join(struct.pack(">I" if big_endian else "<I", v) for v in values)


def fat(announced, cpu_types, big_endian=True):
    return words([0xCAFEBABE, announced], big_endian) + b"".join(
        words([cpu, 0, 0x4000, 0x1000, 14], big_endian) for cpu in cpu_types)


write("macho_header/crafted-fat-count-beyond-bytes.bin",
      fat(5, [0x01000007, 0x0100000C, 0x12])[:8 + 20 * 2 + 10])
write("macho_header/crafted-fat-little-endian.bin", fat(1, [0x0100000C], False))
write("macho_header/crafted-fat-huge-count.bin", fat(0xFFFFFFFF, [7, 12]))
write("macho_header/crafted-thin32-big-endian-i386.bin",
      words([0xFEEDFACE, 7, 3, 2], True) + bytes(12))
write("macho_header/crafted-thin64-short.bin", words([0xFEEDFACF, 0x0100000C], False) + bytes(23))
write("macho_header/crafted-java-class.bin", words([0xCAFEBABE, 0x00000034], True) + bytes(40))
write("macho_header/crafted-script.bin", b"#!/bin/sh\nexec \"$0.real\" \"$@\"\n")

# --- InfoPlist.strings in every encoding a bundle uses ---
info_strings = ('/* Localized versions of Info.plist keys */\n'
                '"CFBundleDisplayName" = "Caf\u00e9 \u00c9clair";\n'
                'CFBundleName = "Caf\u00e9";\n"NSHumanReadableCopyright" = "\u00a9 2024 Example";\n')
write("infoplist_strings/crafted-utf8.strings", info_strings.encode())
write("infoplist_strings/crafted-utf16le-bom.strings", b"\xFF\xFE" + info_strings.encode("utf-16-le"))
write("infoplist_strings/crafted-utf16be-bom.strings", b"\xFE\xFF" + info_strings.encode("utf-16-be"))
write("infoplist_strings/crafted-utf16le-no-bom.strings", info_strings.encode("utf-16-le"))
write("infoplist_strings/crafted-utf16be-no-bom.strings", info_strings.encode("utf-16-be"))
write("infoplist_strings/crafted-binary.bplist", plistlib.dumps(
    {"CFBundleDisplayName": "Vorschau", "CFBundleName": 3}, fmt=plistlib.FMT_BINARY))
write("infoplist_strings/crafted-xml.plist", plistlib.dumps(
    {"CFBundleDisplayName": "Aper\u00e7u"}, fmt=plistlib.FMT_XML))
write("infoplist_strings/crafted-odd-length.strings", b"\"a\"\x00 = \"b\";")

# --- launch jobs ---
write("launch_agent/crafted-program-and-arguments.bplist", plistlib.dumps(
    {"Label": "com.example.go.agent", "Program": "/Applications/Go.app/Contents/MacOS/agent",
     "ProgramArguments": ["/usr/bin/open", 7, "-a", "/Applications/Go.app"]},
    fmt=plistlib.FMT_BINARY))
write("launch_agent/crafted-wrong-types.plist", plistlib.dumps(
    {"Label": 1, "Program": ["x"], "ProgramArguments": "not a list"}, fmt=plistlib.FMT_XML))
write("launch_agent/crafted-many-arguments.plist", plistlib.dumps(
    {"Label": "many", "ProgramArguments": ["-v"] * 400}, fmt=plistlib.FMT_XML))
write("launch_agent/crafted-openstep.plist",
      b'{ Label = "org.user.job"; ProgramArguments = ("/bin/sh", "-c", "open -a Go"); }\n')

# --- Linux accounts and user folders ---
write("passwd/crafted-odd-lines.txt",
      b"+::::::\n-nis:x:1:1::/home/nis:/bin/sh\nanna:x:1000:1000:A:/home/anna:/bin/bash\r\n"
      b"anna:x:0:0::/root:/bin/sh\nroot:x:4294967296:0::/root:/bin/sh\n"
      b"root:x:0:0:root:/../../root/:/bin/bash:extra\nroot:x:0:0:root:relative:/bin/sh\n"
      b"root:x:\xff:0::/\x00root:/bin/sh\nroot:x:0:0::/root:/bin/sh")
write("user_dirs/crafted-quoting-and-damage.txt",
      b'  XDG_MUSIC_DIR = "$HOME/My \\"Best\\" Music"\n'
      b'XDG_PICTURES_DIR="$HOME/Back\\\\slash\\$x"\r\n'
      b'XDG_VIDEOS_DIR=$HOME/Films\nXDG_DOCUMENTS_DIR="$HOMEWORK/x"\n'
      b'XDG_TEMPLATES_DIR="$HOME/Vorlagen\n#XDG_DESKTOP_DIR="$HOME/Nope"\n'
      b'XDG_DOWNLOAD_DIR="/../../../etc/.."\nXDG_PUBLICSHARE_DIR="$HOME"\n'
      b'XDG__DIR="/x"\nXDG_DESKTOP_DIR="/a\\\x00b"\nXDG_DESKTOP_DIR="/trailing\\')
