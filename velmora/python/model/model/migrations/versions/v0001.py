# SPDX-License-Identifier: BSD-2-Clause

"""The first tables."""

import sqlalchemy as sa  # type: ignore[import]
from alembic import op

revision = "0001"
down_revision = None


def upgrade() -> None:
    """Makes the tables."""
    op.create_table(
        "parameter_set",
        sa.Column("id", sa.Integer, primary_key=True),
        sa.Column("name", sa.Text, nullable=False, unique=True),
        sa.Column("parent_id", sa.Integer, sa.ForeignKey("parameter_set.id")),
        sa.Column("note", sa.Text, nullable=False, server_default=""))
    op.create_table(
        "parameter_value",
        sa.Column("set_id", sa.Integer, sa.ForeignKey("parameter_set.id"), primary_key=True),
        sa.Column("host", sa.Text, primary_key=True),
        sa.Column("name", sa.Text, primary_key=True),
        sa.Column("value", sa.Text, nullable=False),
        sqlite_with_rowid=False)
    op.create_table(
        "parameter_history",
        sa.Column("id", sa.Integer, primary_key=True),
        sa.Column("moment", sa.Text, nullable=False),
        sa.Column("who", sa.Text, nullable=False),
        sa.Column("subject", sa.Text, nullable=False),
        sa.Column("set_name", sa.Text, nullable=False),
        sa.Column("host", sa.Text, nullable=False, server_default=""),
        sa.Column("name", sa.Text, nullable=False, server_default=""),
        sa.Column("old_text", sa.Text),
        sa.Column("new_text", sa.Text))
    op.create_table(
        "parameter_row",
        sa.Column("name", sa.Text, primary_key=True),
        sa.Column("type", sa.Text, nullable=False),
        sa.Column("lowest", sa.Text),
        sa.Column("highest", sa.Text))
