# SPDX-License-Identifier: BSD-2-Clause

"""The names of this machine."""

import socket

from .._infra import warnOfSource
from .deadline import Deadline, DeadlinePassed, within


def own_short_name() -> str:
    """Returns the name of this machine up to its first ".", in lower case."""
    return socket.gethostname().lower().partition(".")[0]


def own_names(deadline: Deadline, shown: str) -> tuple[str, ...]:
    """Returns the short name of this machine and, if it has one, its full name, in lower case.

    The full name is that of the host itself, of /etc/hosts or of the name server, which has half of the time.
    Failure: logs a WARN and returns the short name alone if the name server does not answer.
    """
    own = socket.gethostname().lower()
    short = own_short_name()
    if short != own:
        return short, own
    try:
        answers = within(Deadline(deadline.left() / 2),
                         lambda: socket.getaddrinfo(own, None, flags=socket.AI_CANONNAME))
        full = answers[0][3].lower()
    except (OSError, DeadlinePassed) as error:
        reason = error.strerror if isinstance(error, OSError) else "the name server does not answer"
        if not isinstance(error, socket.gaierror) or error.errno != socket.EAI_NONAME:
            warnOfSource(f'only parameters for host "{short}" are read from {shown}: the full name of this machine is not '
                 f"found: {reason}; write hostnames= into the URL")
        return (short,)
    # What is no name of this machine, such as localhost, is not its full name.
    return (short, full) if full.startswith(short + ".") else (short,)
