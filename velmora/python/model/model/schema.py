# SPDX-License-Identifier: BSD-2-Clause

"""The tables, and their versions. Only what changes a database imports this module, and SQLAlchemy with it."""

import os

from sqlalchemy import Column, ForeignKey, Integer, MetaData, Table, Text  # type: ignore[import]
from sqlalchemy.engine import Connection  # type: ignore[import]

VERSION_TABLE = "parameter_version"

metadata = MetaData()

# A set of parameters. Its values win over those of its parent.
sets = Table(
    "parameter_set", metadata,
    Column("id", Integer, primary_key=True),
    Column("name", Text, nullable=False, unique=True),
    Column("parent_id", Integer, ForeignKey("parameter_set.id")),
    Column("note", Text, nullable=False, server_default=""))

# The value of a parameter in a set, for the host of that name; for all hosts if that is empty. Without row numbers, the
# values of a set and host are side by side in SQLite.
values = Table(
    "parameter_value", metadata,
    Column("set_id", Integer, ForeignKey("parameter_set.id"), primary_key=True),
    Column("host", Text, primary_key=True),
    Column("name", Text, primary_key=True),
    Column("value", Text, nullable=False),
    sqlite_with_rowid=False)

# All changes, in their order. The subject is "value", "set", "parent" or "note"; a text that did not exist, or exists
# no more, is null.
history = Table(
    "parameter_history", metadata,
    Column("id", Integer, primary_key=True),
    Column("moment", Text, nullable=False),
    Column("who", Text, nullable=False),
    Column("subject", Text, nullable=False),
    Column("set_name", Text, nullable=False),
    Column("host", Text, nullable=False, server_default=""),
    Column("name", Text, nullable=False, server_default=""),
    Column("old_text", Text),
    Column("new_text", Text))

# The parameters that programs have beside those of the library. Programs that start do not read them.
rows = Table(
    "parameter_row", metadata,
    Column("name", Text, primary_key=True),
    Column("type", Text, nullable=False),
    Column("lowest", Text),
    Column("highest", Text))


def upgrade(connection: Connection) -> None:
    """Makes the tables, or brings those of an older version up to date, in the transaction of the connection."""
    # No other command pays for these imports.
    from alembic import command
    from alembic.config import Config

    config = Config()
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "migrations")
    config.set_main_option("script_location", folder.replace("%", "%%"))
    config.attributes["connection"] = connection
    command.upgrade(config, "head")
