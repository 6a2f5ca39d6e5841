# SPDX-License-Identifier: BSD-2-Clause
# Completes commands and options of velmora-config, if python3-argcomplete is installed.

if type register-python-argcomplete >/dev/null 2>&1; then
  eval "$(register-python-argcomplete velmora-config)"
fi
