#!/usr/bin/env python3
"""Regenerates the property-list fixtures of this folder with Python's plistlib, an encoder
independent of libplist, so that the reader is checked against another implementation.

Run from this folder: python3 make_fixtures.py
"""
import datetime
import plistlib

MACOS = "../macos/"


def convert(source, target, fmt):
    with open(MACOS + source, "rb") as f:
        value = plistlib.load(f)
    with open(target, "wb") as f:
        plistlib.dump(value, f, fmt=fmt, sort_keys=False)


# The same recorded content in the other format.
convert("Info.plist.Safari.xml", "Info.plist.Safari.bplist", plistlib.FMT_BINARY)
convert("Info.plist.GarageBand.bplist", "Info.plist.GarageBand.xml", plistlib.FMT_XML)

# Every value type, with whole-second dates so that both formats hold the same tree.
ALL_TYPES = {
    "string": "plain",
    "unicode": "Grüße, 東京 🦅",
    "emptyString": "",
    "true": True,
    "false": False,
    "zero": 0,
    "small": 42,
    "negative": -1,
    "minimum": -(2**63),
    "maximumSigned": 2**63 - 1,
    "aboveSigned": 2**63,
    "maximumUnsigned": 2**64 - 1,
    "real": 0.1,
    "negativeReal": -2.5e-300,
    "date": datetime.datetime(2021, 12, 3, 19, 33, 13),
    "data": b"\x00\x01\xfe\xffbinary\x00",
    "emptyData": b"",
    "emptyArray": [],
    "emptyDict": {},
    "nested": {
        "list": [1, "two", [3.0, [False, {"deep": "bottom"}]]],
        "dict": {"inner": {"key with spaces": "value"}},
    },
}
for fmt, name in ((plistlib.FMT_XML, "all-types.xml"), (plistlib.FMT_BINARY, "all-types.bplist")):
    with open(name, "wb") as f:
        plistlib.dump(ALL_TYPES, f, fmt=fmt)

# Dates with fractions and before the 2001 epoch only survive the binary format.
DATES = [
    datetime.datetime(2021, 12, 3, 19, 33, 13, 250000),
    datetime.datetime(1999, 12, 31, 23, 59, 58, 500000),
    datetime.datetime(1970, 1, 1),
]
with open("dates.bplist", "wb") as f:
    plistlib.dump(DATES, f, fmt=plistlib.FMT_BINARY)
