# SPDX-License-Identifier: BSD-2-Clause

"""The configuration of a program from a database: what the library asks for a URL that is no file.

    sqlite://localhost/etc/gateways.db?sets=common,site-a&hostnames=gw1
    postgresql://db.example/gateways?sets=common,site-a&service=gw

docs/operating.md describes the URLs.
"""

from .model.search_path import add_machine_directories

add_machine_directories()

from .model.failure import SourceError  # noqa: E402
from .model.source import parameters_of  # noqa: E402

__all__ = ["getPropertyNameValuesForGivenSetsAndHostnames"]


def getPropertyNameValuesForGivenSetsAndHostnames(url: str) -> list[tuple[str, str]]:
    """Returns the names and values of the sets and hosts that the URL names, each name once.

    Failure: raises `SourceError`, whose text is for an operator and repeats no password.
    """
    try:
        return parameters_of(url)
    except SourceError as error:
        # The place in these modules is of no use to an operator.
        raise error.with_traceback(None) from None
