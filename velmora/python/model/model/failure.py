# SPDX-License-Identifier: BSD-2-Clause

"""Why a database gives no configuration, or takes no change."""


class SourceError(Exception):
    """The configuration of a URL cannot be read or changed. The text is for an operator: it names the URL without
    secrets, the reason, and what to do.
    """

    action = "read the configuration from"

    def __init__(self, shown: str, reason: str, cure: str) -> None:
        super().__init__(f"cannot {self.action} {shown}: {reason}; {cure}")
        self.reason = reason
        self.cure = cure


class SourceAway(SourceError):
    """The database does not answer, so that a snapshot may take its place."""


class ChangeError(SourceError):
    """The configuration was not changed."""

    action = "change the configuration in"


class Conflict(ChangeError):
    """Another writer has changed the value first."""


class NotReadable(Exception):
    """A reason with its cure, before the URL is known that it belongs to. `away` is set if there is no answer."""

    def __init__(self, reason: str, cure: str, away: bool = False) -> None:
        super().__init__(f"{reason}; {cure}")
        self.reason = reason
        self.cure = cure
        self.away = away
