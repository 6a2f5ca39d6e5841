# SPDX-License-Identifier: BSD-2-Clause

"""Where a Python that runs in a program finds the machine's modules."""

import encodings
import os
import sys


def add_machine_directories() -> None:
    """Appends the interpreter's own directory of extension modules and Debian's directory of packages to `sys.path`.

    A program starts Python with PYTHONHOME "." and the directories of VELMORA alone: it finds neither `_sqlite3` nor
    psycopg2. Does nothing if the extension modules are found, as in `python3` or with PYTHONHOME.
    """
    present = {os.path.realpath(entry) for entry in sys.path}
    version = f"python{sys.version_info.major}.{sys.version_info.minor}"
    # Where the standard library itself is, and where Debian has it.
    # The modules of `os` and others are frozen and may have no file.
    libraries = [os.path.dirname(os.path.dirname(os.path.realpath(encodings.__file__))), "/usr/lib/" + version]
    dynamic = [os.path.join(library, "lib-dynload") for library in libraries]
    if any(directory in present for directory in dynamic):
        return
    packages = [os.path.join(os.path.dirname(library), "python3", "dist-packages") for library in libraries]
    for candidates in (dynamic, packages):
        found = next((directory for directory in candidates if os.path.isdir(directory)), None)
        if found is not None and found not in present:
            sys.path.append(found)
