# SPDX-License-Identifier: BSD-2-Clause

"""What brings the tables from one version to the next."""
