#!/usr/bin/env python3
"""Removes from Thrift's generated headers the operator< that every class
declares and nothing defines.

Qt 6 gives each type it knows a less-than comparison whenever the type declares
operator<, so the undefined declaration would turn every record used in a
signal, a slot or a registration into a link error (in hosts too, since the
header is installed). Without it a comparison of records fails to compile
instead of failing to link; nothing else changes.

usage: drop_undefined_less.py HEADER...
"""
import re
import sys

DECLARATION = re.compile(r"^\s*bool operator < \(const \w+ & \) const;\n", re.M)

for path in sys.argv[1:]:
    with open(path) as f:
        text = f.read()
    with open(path, "w") as f:
        f.write(DECLARATION.sub("", text))
