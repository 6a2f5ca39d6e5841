#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Checks lines of JSON against the messages that were logged.

    read_json_lines.py <lines of JSON> <the message of each line, in hexadecimal>

Each line must be strict UTF-8 with one object and no field twice. Its message must be the one that was
logged, with "\\xff" for each byte that is no UTF-8.
"""
import json
import pathlib
import sys


def without_doubles(pairs):
    fields = dict(pairs)
    if len(fields) != len(pairs):
        raise ValueError(f"a field comes twice in {pairs}")
    return fields


def main():
    lines = pathlib.Path(sys.argv[1]).read_bytes().split(b"\n")
    messages = pathlib.Path(sys.argv[2]).read_text(encoding="ascii").split("\n")
    if lines.pop() or messages.pop() or len(lines) != len(messages):
        sys.exit(f"{len(lines)} lines of {len(messages)} messages")
    for line, message in zip(lines, messages):
        text = line.decode("utf-8", "strict")
        hidden = [f"U+{ord(sign):04X}" for sign in text
                  if ord(sign) < 0x20 or 0x7f <= ord(sign) < 0xa0 or ord(sign) in range(0x2028, 0x202f)
                  or ord(sign) in range(0x2066, 0x206a) or ord(sign) in (0x61c, 0x200e, 0x200f)]
        if hidden:
            sys.exit(f"{hidden} in {text!r}")
        read = json.loads(text, object_pairs_hook=without_doubles)["message"]
        expected = bytes.fromhex(message).decode("utf-8", "backslashreplace")
        if read != expected:
            sys.exit(f"read {read!r}, expected {expected!r}")


if __name__ == "__main__":
    main()
