"""What the infrastructure library offers to scripts: alarms, their registry, and objects by class name.

A site's own modules may stand beside this package's, in its folder or in velmora/infra of another entry of sys.path.
"""

from pkgutil import extend_path

from ._infra import Alarm, AlarmRegistry, AlarmState, OutputStreamableImpl, PyClassName

__all__ = ["Alarm", "AlarmRegistry", "AlarmState", "OutputStreamableImpl", "PyClassName"]
__path__ = extend_path(__path__, __name__)
