# SPDX-License-Identifier: BSD-2-Clause

"""The configuration of many programs in one database: sets of parameters, for all hosts or for one.

`velmora.infra.ConfigPropertiesModel` reads it when a program starts. `store` changes it.
"""
