# SPDX-License-Identifier: BSD-2-Clause

"""The infrastructure library for scripts: alarms, their registry, making objects by class name, known parameters, and
warnings.

A site may add modules of its own to this package: in its folder, or in velmora/infra of another
entry of sys.path.
"""

from pkgutil import extend_path

from ._infra import (Alarm, AlarmRegistry, AlarmState, OutputStreamableImpl, PyClassName, closestParameterName,
                     isCheck, parameterFits, parameterInfo, parameterNames, registerParameters, urlWithoutSecrets,
                     warnOfSource)

__all__ = ["Alarm", "AlarmRegistry", "AlarmState", "OutputStreamableImpl", "PyClassName", "closestParameterName",
           "isCheck", "parameterFits", "parameterInfo", "parameterNames", "registerParameters", "urlWithoutSecrets",
           "warnOfSource"]
__path__ = extend_path(__path__, __name__)
