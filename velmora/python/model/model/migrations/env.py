# SPDX-License-Identifier: BSD-2-Clause

"""Runs the migrations in the transaction of the caller."""

from alembic import context

context.configure(connection=context.config.attributes["connection"], version_table="parameter_version",
                  transactional_ddl=True)
with context.begin_transaction():
    context.run_migrations()
