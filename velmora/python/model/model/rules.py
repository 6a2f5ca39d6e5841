# SPDX-License-Identifier: BSD-2-Clause

"""Which names and values survive the way through the text of a configuration, where each parameter is one line."""

import re
from typing import Collection, Optional

BLANKS = " \t\n\v\f\r"

_CONTROL = re.compile("[\0-\x08\n-\x1f\x7f]")
# A "$" that does not begin a tag. The reader of the text drops what is in front of it.
_STRAY_DOLLAR = re.compile(r"\$(?!\{[^${}]+\})")
_IN_VALUES = bytes(range(0x20, 0x7F)).replace(b"$", b"")
_IN_NAMES = _IN_VALUES.replace(b"=", b"")
_ENDS = bytes.maketrans(b".# ", b"\n\n\n")
_NAMES = {"\n": "an end of a line", "\r": "an end of a line", "\0": "a NUL"}


def _what_no_line_holds(text: str) -> Optional[str]:
    found = _CONTROL.search(text)
    if found:
        return _NAMES.get(found.group(), f"the control character U+{ord(found.group()):04X}")
    try:
        text.encode()
    except UnicodeEncodeError:
        return "half a surrogate pair"
    return None


def fault_of_name(name: str) -> Optional[str]:
    """Returns why a configuration cannot hold a parameter of that name; None if it can."""
    held = _what_no_line_holds(name)
    if held:
        return f"it holds {held}"
    if not name:
        return "it is empty"
    if name != name.strip(BLANKS):
        return "it begins or ends with a blank"
    for character in "=$":
        if character in name:
            return f'it holds "{character}"'
    if name[0] in "#\ufeff":
        return 'it begins with "#"' if name[0] == "#" else "it begins with a byte order mark"
    if "" in name.split("."):
        return 'a part of it between "." is empty'
    return None


def fault_of_value(value: str, tags: bool = False) -> Optional[str]:
    """Returns why a configuration cannot hold the value; None if it can.

    The reader of a configuration replaces tags such as ${HOME}. With `tags` they are permitted; such a value does not
    come out as it went in.
    """
    held = _what_no_line_holds(value)
    if held:
        return f"it holds {held}"
    if value != value.strip(BLANKS):
        return "it begins or ends with a blank"
    if _STRAY_DOLLAR.search(value):
        return 'it holds a "$" that begins no tag such as ${NAME}'
    if not tags and "$" in value:
        return "it holds a tag, which would be replaced"
    return None


def _are_plain_names(names: Collection[str]) -> bool:
    lines = ("\n" + "\n".join(names) + "\n").encode(errors="surrogatepass")
    # Two of these characters in a row are at an end of a name or of a part of it, or are worth a look.
    return (lines.translate(None, _IN_NAMES) == b"\n" * (len(names) + 1)
            and b"\n\n" not in lines.translate(_ENDS))


def _are_plain_values(values: Collection[str]) -> bool:
    lines = "\n" + "\n".join(values) + "\n"
    if lines.isascii():
        printable = lines.encode().translate(None, _IN_VALUES) == b"\n" * (len(values) + 1)
    else:
        # What is printable has no control character and no surrogate; its only blank is " ".
        printable = (lines.count("\n") == len(values) + 1 and "$" not in lines
                     and lines.replace("\n", "").isprintable())
    return printable and "\n " not in lines and " \n" not in lines


def are_plain(names: Collection[str], values: Collection[str]) -> bool:
    """Returns true if no name and no value has a fault, by a few looks at all of them together: most have neither
    special characters nor blanks at their ends. If false, each must be looked at.
    """
    return not names or (_are_plain_names(names) and _are_plain_values(values))
