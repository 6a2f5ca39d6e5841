# SPDX-License-Identifier: BSD-2-Clause

from velmora.infra import Alarm, AlarmRegistry

class TrunkFull(Alarm):
    def getAlarmId(self): return "site.trunk-full"
    def getDescription(self): return "The trunk of 100 channels has few free ones left"

class Rules:
    def __init__(self):
        self.trunkFull = TrunkFull(severity=30000)
        AlarmRegistry.getInstance().addAlarm(self.trunkFull)
    def onActiveCalls(self, calls):
        if calls > 90: self.trunkFull.set()
        elif calls < 80: self.trunkFull.reset()
