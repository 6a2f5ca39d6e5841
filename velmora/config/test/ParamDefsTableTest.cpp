// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParamDefsTable.h"

#include "velmora/config/test/ParameterRowSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;

// clang-format off

/// All names, in the order of the table.
constexpr const char* s_names[] = {
    "keswardin.Installation.Directory",
    "keswardin.Installation.OamWebServer.Path",
    "keswardin.Installation.Bin.Directory",
    "keswardin.exitTimeoutSec",
    "keswardin.killTimeoutSec",
    "keswardin.configTimeoutSec",
    "keswardin.startTimeoutSec",
    "keswardin.startup.loadDynLibList",
    "keswardin.gw.CallEngine.logMemAccountingStats",
    "keswardin.gw.ringTimeoutMs",
    "keswardin.gw.connectionTimeoutMs",
    "keswardin.gw.allLegConnectionTimeoutMs",
    "keswardin.gw.maxRoutingRulesMatches",
    "keswardin.gw.recordCalls.enabled",
    "keswardin.gw.recordCalls.directory",
    "keswardin.net.GetHostByNameServer.cacheFlushTimeoutMs",
    "keswardin.net.GetHostByNameServer.cacheFailures",
    "keswardin.net.GetHostByNameServer.cacheSuccess",
    "keswardin.net.GetHostByNameServer.numThread",
    "keswardin.net.primaryIPAddress",
    "keswardin.traceShutdown",
    "keswardin.thread.TPReactorTask.numThread",
    "keswardin.thread.AsyncIO.numThread",
    "keswardin.linuxProcessPriority",
    "keswardin.linuxProcessMaxFd",
    "keswardin.win32ProcessPriority",
    "keswardin.infra.abortOnAssert",
    "keswardin.infra.CallLogger.dateTimeDirectory",
    "keswardin.infra.CallLogger.outputFilePrefix",
    "keswardin.infra.CallLogger.outputFileSuffix",
    "keswardin.infra.CallLogger.log1CallOutOf",
    "keswardin.infra.coreDump.writeOnCrash",
    "keswardin.infra.coreDump.writeOnCrash.path",
    "keswardin.gw.routingRulesUrl",
    "keswardin.gw.staticRoutingEngine.RulesFile",
    "keswardin.gw.routing.cacheFlushTimeoutSec",
    "keswardin.gw.routing.cacheCallRateThreshold",
    "keswardin.gw.routing.cacheTrafficEvaluationPeriodSec",
    "keswardin.gw.useStaticRoutingEngine",
    "keswardin.registry.DialogicMakeCallDXParamsFile",
    "keswardin.registry.DialogicDialDXParamsFile",
    "keswardin.gw.performRoutingRuleQueryAtStartup",
    "keswardin.gw.initialPstnSetupTimeout",
    "keswardin.run.mode",
    "keswardin.infra.Logger.PropertiesFile.production",
    "keswardin.infra.Logger.PropertiesFile.development",
    "keswardin.voip.netIfLibName",
    "keswardin.sip.userAgentPort",
    "keswardin.sip.localOutboundProxyURI",
    "keswardin.sip.userAgentName",
    "keswardin.sip.putUserAgentNameInContact",
    "keswardin.sip.userAgentIPAddress",
    "keswardin.sip.transport",
    "keswardin.sip.includeRportParameterInViaHeader",
    "keswardin.sip.userAgent.IPAddress",
    "keswardin.sip.userAgent.version",
    "keswardin.sip.lifetimeTimer",
    "keswardin.sip.TimerT1",
    "keswardin.sip.TimerT2",
    "keswardin.sip.TimerC",
    "keswardin.sip.MaxRetransmissionCountINV",
    "keswardin.sip.MaxRetransmissionCountNONINV",
    "keswardin.sip.ExpiresHeader",
    "keswardin.sip.mediaLibName",
    "keswardin.sip.getHostByNameTimeoutMs",
    "keswardin.sip.clientRegistration.configFile",
    "keswardin.sip.state.Disconnecting.timeoutMs",
    "keswardin.sip.ignoreMaxForwards",
    "keswardin.sip.reliableProvisionalResponse",
    "keswardin.sip.out.acceptEarlyMedia",
    "keswardin.sip.out.accept180After183",
    "keswardin.sip.in.doNotSend180After183",
    "keswardin.sip.in.override1XXWithSDP",
    "keswardin.sip.in.doNotSendSDPIn180IfAlertingWithoutPIFollowsProgressWithPI",
    "keswardin.webserver.configFile",
    "keswardin.pstn.resourcesFile",
    "keswardin.pstn.netIfLibName",
    "keswardin.pstn.dialogic.defaultMediaType",
    "keswardin.pstn.dialogic.numVoiceBoard",
    "keswardin.pstn.dialogic.gc_AcceptCall.numRing",
    "keswardin.pstn.silSrcPSTN.placeCall",
    "keswardin.pstn.acceptTimeoutMs",
    "keswardin.pstn.mediaLibName",
    "keswardin.pstn.dialogic.makeCallTimeoutMs",
    "keswardin.pstn.dialogic.noInterfaceIDInChannelIE",
    "keswardin.pstn.input.AGC",
    "keswardin.pstn.input.gain.dB",
    "keswardin.pstn.output.AGC",
    "keswardin.pstn.output.gain.dB",
    "keswardin.pstn.onHookTimeMs",
    "keswardin.pstn.isdn.inBandProgressTonesGeneration",
    "keswardin.pstn.isdn.inBandProgressTonesGeneration.Provider",
    "keswardin.pstn.isdn.inBandProgressTonesGeneration.ISDNProgressIndicator",
    "keswardin.pstn.initialChannelState",
    "keswardin.pstn.dialogic.DX_CAP.filename",
    "keswardin.pstn.dialogic.overrideCauseCode",
    "keswardin.pstn.dialogic.isdn.dChannelMonitoring",
    "keswardin.pstn.dialogic.isdn.dChannelMonitoring.autoActivationTimeoutSec",
    "keswardin.pstn.dialogic.isdn.dChannelMonitoring.initialDelaySec",
    "keswardin.pstn.dialogic.SSCTUserBEmulation",
    "keswardin.pstn.dialogic.GC_PDK_START_LOG",
    "keswardin.pstn.dialogic.PlaybackStoppedNotifyDelayUs",
    "keswardin.pstn.dialogic.CSPRecordStoppedNotifyDelayUs",
    "keswardin.pstn.cpa.enhancedAMD.silenceDetection.minDurationMs",
    "keswardin.pstn.cpa.enhancedAMD.toneTrailingSilence.minDurationMs",
    "keswardin.pstn.cpa.enhancedAMD.timeoutMs",
    "keswardin.pstn.cpa.enhancedAMD.toneTrailingSilence.timeoutBufferMs",
    "keswardin.pstn.cpa.enhancedAMD.tone.maxDurationMs",
    "keswardin.pstn.cpa.delayedHangup",
    "keswardin.pstn.cpa.delayedHangup.durationMs",
    "keswardin.pstn.pika.callerID",
    "keswardin.pstn.pika.callerID.timeoutMs",
    "keswardin.pstn.pika.hookFlashDurationMs",
    "keswardin.pstn.pika.offHookDelayMs",
    "keswardin.pstn.pika.onHookDelayMs",
    "keswardin.pstn.pika.interRingTimeoutMs",
    "keswardin.pstn.pika.mediaFormat",
    "keswardin.pstn.config.file",
    "keswardin.pstn.config.schemaFile",
    "keswardin.sipIsdnMessageMapping.config.file",
    "keswardin.sipIsdnMessageMapping.config.schemaFile",
    "keswardin.media.rtp.IPAddress",
    "keswardin.media.rtp.udpPortRange",
    "keswardin.media.rtp.disableRtcp",
    "keswardin.media.rtp.rtcpTransmissionIntervalMs",
    "keswardin.media.rtp.useHalfRTCPIntervalAtStartup",
    "keswardin.media.rtp.rfc2833Supported",
    "keswardin.media.rtp.rfc2833DefaultPayloadType",
    "keswardin.media.rtp.rfc2833MinimumDurationMs",
    "keswardin.media.rtp.enableToneRegeneration",
    "keswardin.media.rtp.packetSizeMs",
    "keswardin.media.rtp.maxRxPacketSizeMs",
    "keswardin.media.rtp.initialDelayMs",
    "keswardin.media.rtp.maxDelayMs",
    "keswardin.media.rtp.tos",
    "keswardin.rtp.encodingList",
    "keswardin.media.rtp.resetJitterBufferOnMarkedRtpPacket",
    "keswardin.media.rtp.comfortNoise.supported",
    "keswardin.media.rtp.comfortNoise.defaultNoiseLevelIndBoV",
    "keswardin.media.rtp.comfortNoise.defaultPayloadType",
    "keswardin.media.CngSessionManager.internalBufferSizeMs",
    "keswardin.media.audioFormat",
    "keswardin.media.inmemory.readFrameSize",
    "keswardin.media.inmemory.writeFrameSize",
    "keswardin.media.hostbased.IPAddress",
    "keswardin.media.hostbased.initDelayMs",
    "keswardin.media.hostbased.maxDelayAdjustmentMs",
    "keswardin.media.hostbased.maxDelayMs",
    "keswardin.media.hostbased.jitterBufferUpdatePeriodMs",
    "keswardin.media.hostbased.Tx.gainDB",
    "keswardin.media.kt.initialDelayMs",
    "keswardin.media.kt.maxDelayMs",
    "keswardin.media.VAD",
    "keswardin.media.toneClamping",
    "keswardin.media.kt.txTimeSlot",
    "keswardin.media.kt.disableKtApiCall",
    "keswardin.media.kt.test.remoteIPAddress",
    "keswardin.media.kt.ctBusTimeSlots",
    "keswardin.media.kt.dhcp",
    "keswardin.media.kt.ipAddress",
    "keswardin.media.kt.netmask",
    "keswardin.media.kt.defaultIPGateway",
    "keswardin.media.kt.forkBeforeMedia",
    "keswardin.media.ec.resetMode",
    "keswardin.media.DummyRtpMediaEngine.startFailure",
    "keswardin.media.DummyRtpMediaEngine.capacityFailure",
    "keswardin.media.DummyRtpMediaEngine.mixingSupported",
    "keswardin.media.CallSM.txDontWaitForPeer",
    "keswardin.media.rxStartTimeoutMs",
    "keswardin.media.audioToneDirectory",
    "keswardin.media.hostbased.reuseSSRC",
    "keswardin.media.kt.ec.enable",
    "keswardin.media.kt.ec.enableNLP",
    "keswardin.media.dialogic.ec.enable",
    "keswardin.media.dialogic.ec.enableNLP",
    "keswardin.media.dialogic.ec.numTaps",
    "keswardin.media.pika.ctBusTimeSlots",
    "keswardin.media.pika.ec.enable",
    "keswardin.media.pika.useRTPAPI",
    "keswardin.media.pika.numberPlayBuffer",
    "keswardin.media.pika.toneGeneration",
    "keswardin.media.dialogic.ipmDeviceRange",
    "keswardin.media.dialogic.voiceBoardRange",
    "keswardin.media.kt.playerStatistics",
    "keswardin.media.kt.ec.mode",
    "keswardin.media.kt.ec.toneDisabler.mode",
    "keswardin.media.kt.ec.toneDisabler.sw.action",
    "keswardin.media.kt.ec.toneDisabler.sw.condition",
    "keswardin.media.kt.useInternalCTBusTimeslot",
    "keswardin.media.ethernet.8021pq.VoiceUserPriority",
    "keswardin.media.ethernet.8021pq.DataUserPriority",
    "keswardin.media.ethernet.8021pq.vlanId",
    "keswardin.media.kt.port",
    "keswardin.media.kt.ec.advancedParms.fSinEnableDcOffsetRemoval",
    "keswardin.media.kt.ec.advancedParms.fRinEnableDcOffsetRemoval",
    "keswardin.media.kt.ec.advancedParms.fRinEnableLevelControl",
    "keswardin.media.kt.ec.advancedParms.fRinEnableALC",
    "keswardin.media.kt.ec.advancedParms.fRinEnableHLC",
    "keswardin.media.kt.ec.advancedParms.fRoutEnableNoiseReduction",
    "keswardin.media.kt.ec.advancedParms.fSoutEnableLevelControl",
    "keswardin.media.kt.ec.advancedParms.fSoutEnableALC",
    "keswardin.media.kt.ec.advancedParms.fSoutEnableNLE",
    "keswardin.media.kt.ec.advancedParms.fSoutEnableANR",
    "keswardin.media.kt.ec.advancedParms.fEnableTailDisplacement",
    "keswardin.media.kt.ec.advancedParms.fEnableAcousticEcho",
    "keswardin.media.kt.ec.advancedParms.lRinLevelControlGainDb",
    "keswardin.media.kt.ec.advancedParms.lRinALCTargetDb",
    "keswardin.media.kt.ec.advancedParms.lRinHLCThresholdDb",
    "keswardin.media.kt.ec.advancedParms.lSoutLevelControlGainDb",
    "keswardin.media.kt.ec.advancedParms.lSoutALCTargetDb",
    "keswardin.media.kt.ec.advancedParms.ulSoutALEGainDb",
    "keswardin.media.kt.ec.advancedParms.ulSoutNLEGainDb",
    "keswardin.media.kt.ec.advancedParms.lSoutAnrEnhancementDb",
    "keswardin.media.kt.ec.advancedParms.ulSoutAnrVoiceNoiseSegregation",
    "keswardin.media.kt.ec.advancedParms.ulTailDisplacement",
    "keswardin.media.kt.ec.advancedParms.ulNonLinearityBehaviorA",
    "keswardin.media.kt.ec.advancedParms.ulNonLinearityBehaviorB",
    "keswardin.media.kt.ec.advancedParms.lDefaultErlDb",
    "keswardin.media.kt.ec.advancedParms.lAecDefaultErlDb",
    "keswardin.media.defaultCtBusAudioFormat",
    "keswardin.media.jsr309.numRtpThread",
    "keswardin.media.jsr309.RTPSleepDurationMs",
    "keswardin.media.jsr309.RtpThreadPriority",
    "keswardin.media.EndpointSM.stopTimeoutSec",
    "keswardin.pstn.dialogic.GTDConfigFilename",
    "keswardin.media.postConnectToneRelay.configFilename",
    "keswardin.media.PSTNEngine.doPostConnectToneRelay",
    "keswardin.gw.ws.blockingTimeMs",
    "keswardin.oam.webServicePort",
    "keswardin.oam.webServiceIpAddress",
    "keswardin.pstn.BoardSimulator.mode",
    "keswardin.pstn.BoardSimulator.numChannel",
    "keswardin.pstn.BoardSimulator.master.configFilename",
    "keswardin.pstn.BoardSimulator.slave.inactivityTimeoutMs",
    "keswardin.pstn.BoardSimulator.slave.scriptFilename",
    "keswardin.voip.SlaveVoipTestSim.inactivityTimeout",
    "keswardin.test.JThread.blockingTimeMs",
    "keswardin.test.JThread.signalingWaitTimeMs",
    "keswardin.recorder.outputDirectory",
    "keswardin.recorder.outputDirectory.dateTime",
    "keswardin.recorder.warnDiskSpaceLeftMB",
    "keswardin.recorder.stopTakingCallsDiskSpaceLeftMB",
    "keswardin.recorder.fileWriteBlockSize",
    "keswardin.recorder.rtpSocketRcvBufSize",
    "keswardin.recorder.jitterBufferPacketCapacity",
    "keswardin.recorder.fileIOQueueSize",
    "keswardin.recorder.RTPRecvBufferBytes",
    "keswardin.recorder.RTPSelectSleepMs",
    "keswardin.tsrecorder.deviceConfigFile",
    "keswardin.tsrecorder.client.webServiceURL",
    "keswardin.tsrecorder.client.outputDirectory",
    "keswardin.tsrecorder.client.outputDirectory.dateTime",
    "keswardin.tsrecorder.client.record.pstn.in",
    "keswardin.tsrecorder.client.record.pstn.out",
    "keswardin.b2bua.doDlgcCPD",
    "keswardin.b2bua.doRecording",
    "keswardin.b2bua.numRTPThread",
    "keswardin.cpd.dialogic.debugAudio.output.directory",
    "keswardin.cpd.dialogic.DxPlay.GainDB",
    "keswardin.curl.followRedirect",
    "keswardin.curl.maxRedirect",
    "keswardin.curl.maxFileDescriptorActive",
    "keswardin.curl.maxPollingTimeMs",
    "keswardin.python.sys.path",
    "keswardin.python.useChecker",
    "keswardin.mem.leak.detecting.aggregateDuplicates",
    "keswardin.mem.leak.detecting.showUselessFrames",
    "keswardin.mem.leak.detecting.maxFrames",
    "keswardin.cpa.runtime.model.path",
    "keswardin.cpa.runtime.model.country",
    "keswardin.cpa.runtime.features.useCaching",
    "keswardin.cpa.runtime.recordAudio",
    "keswardin.cpa.runtime.numThreads",
    "keswardin.cpa.runtime.jitter.buffer.size",
    "keswardin.cpa.runtime.jitter.playBuffer.size",
    "keswardin.cpa.runtime.usePreconnectFeatures",
    "keswardin.cpa.runtime.thresholdNoPreconnect",
    "keswardin.cpa.runtime.thresholdAudioPreconnect",
    "keswardin.cpa.runtime.minNotificationIntervalMsec",
    "keswardin.cpa.package.filename",
    "keswardin.cpa.package.directory",
    "keswardin.thread.timeSource",
    "keswardin.thread.timeSource.VelmoraTimeSource.max.precision",
    "keswardin.thread.timeSource.VelmoraTimeSource.force.interval",
    "keswardin.sip.ua.python.appClass",
    "keswardin.sip.ua.python.callsConfigURL",
    "keswardin.media.toneDB.dir",
    "keswardin.media.toneDB.schemaFile",
    "keswardin.media.tonePackage.file",
    "keswardin.math.xpr.scriptLoader.scriptsDir",
    "keswardin.system.cpu.monitor.monitoringPeriodInMs",
    "keswardin.system.cpu.monitor.setAlarmThreshold",
    "keswardin.system.cpu.monitor.resetAlarmThreshold",
    "keswardin.system.cpu.monitor.averageWindowSize",
    "keswardin.oamWebServer.gwServiceName",
    "keswardin.oamWebServer.offerVirtualBoards",
    "keswardin.oamWebServer.isGatewayInCLI",
    "keswardin.oamWebServer.projectName",
    "keswardin.oamWebServer.model.validateOnWrite",
};

/// The rows that this library reads itself, the rows that are settable at run time, and the
/// deprecated rows.
const std::vector<ParameterRow> s_exactRows{
    {"keswardin.Installation.Directory", ParameterValue::STRING_TYPE, ".", false, false, "The directory where an application is installed. Many configuration files are found relative to this path."},
    {"keswardin.Installation.OamWebServer.Path", ParameterValue::STRING_TYPE, nullptr, false, false, "The path to the source code of the Oam Web Server."},
    {"keswardin.Installation.Bin.Directory", ParameterValue::STRING_TYPE, nullptr, false, false, "The directory where all the dlls of the application can be found."},
    {"keswardin.exitTimeoutSec", ParameterValue::INT_TYPE, nullptr, false, false, nullptr},
    {"keswardin.killTimeoutSec", ParameterValue::INT_TYPE, nullptr, false, false, nullptr},
    {"keswardin.configTimeoutSec", ParameterValue::INT_TYPE, "60", false, false, "Specify the amount of time in second needed by the application to complete its configuration."},
    {"keswardin.startTimeoutSec", ParameterValue::INT_TYPE, "30", false, false, "Specify the amount of time in second needed by the application to complete its configuration."},
    {"keswardin.startup.loadDynLibList", ParameterValue::STRING_TYPE, "", false, false, "A comma separated list of DLLs to load at application startup (filenames without extensions)"},
    {"keswardin.gw.recordCalls.enabled", ParameterValue::BOOL_TYPE, "false", true, false, "If true, all call will be recorded in separate files, placed under 'pstn.recordCalls.directory' directory"},
    {"keswardin.gw.recordCalls.directory", ParameterValue::STRING_TYPE, "./logs/recordings", true, false, "Directory where recorded calls are to be stored."},
    {"keswardin.traceShutdown", ParameterValue::BOOL_TYPE, "false", false, false, nullptr},
    {"keswardin.thread.TPReactorTask.numThread", ParameterValue::INT_TYPE, "1", false, false, nullptr},
    {"keswardin.thread.AsyncIO.numThread", ParameterValue::INT_TYPE, "1", false, false, "The number of threads used by the asynchronous IO task"},
    {"keswardin.linuxProcessPriority", ParameterValue::INT_TYPE, "0", false, false, nullptr},
    {"keswardin.linuxProcessMaxFd", ParameterValue::INT_TYPE, "1024", false, false, nullptr},
    {"keswardin.win32ProcessPriority", ParameterValue::STRING_TYPE, nullptr, false, false, nullptr},
    {"keswardin.infra.abortOnAssert", ParameterValue::BOOL_TYPE, nullptr, false, false, nullptr},
    {"keswardin.infra.CallLogger.dateTimeDirectory", ParameterValue::BOOL_TYPE, "false", false, false, "When true, the call log files will be written in a directory hierarchy with year, month, day and hour subdirectories"},
    {"keswardin.infra.CallLogger.outputFilePrefix", ParameterValue::STRING_TYPE, "", false, false, "Text to prepend to output call log filenames"},
    {"keswardin.infra.CallLogger.outputFileSuffix", ParameterValue::STRING_TYPE, ".log", false, false, "Text to append to output call log filenames"},
    {"keswardin.infra.CallLogger.log1CallOutOf", ParameterValue::INT_TYPE, "1", false, false, "Controls the fraction of calls that are logged. Must be >= 1"},
    {"keswardin.infra.coreDump.writeOnCrash", ParameterValue::BOOL_TYPE, "true", false, false, nullptr},
    {"keswardin.infra.coreDump.writeOnCrash.path", ParameterValue::STRING_TYPE, nullptr, false, false, nullptr},
    {"keswardin.run.mode", ParameterValue::STRING_TYPE, "production", true, false, "The mode in which the application runs : production|development. Currently affects logging only"},
    {"keswardin.infra.Logger.PropertiesFile.production", ParameterValue::STRING_TYPE, nullptr, false, false, "The properties file used to configure the logger in production mode"},
    {"keswardin.infra.Logger.PropertiesFile.development", ParameterValue::STRING_TYPE, nullptr, false, false, "The properties file used to configure the logger in development mode"},
    {"keswardin.sip.userAgentPort", ParameterValue::INT_TYPE, nullptr, false, true, "Use parameter sip.userAgent.IPAddress"},
    {"keswardin.sip.userAgentIPAddress", ParameterValue::STRING_TYPE, nullptr, false, true, "Use parameter sip.userAgent.IPAddress"},
    {"keswardin.sip.transport", ParameterValue::STRING_TYPE, "udp", false, true, "Use parameter sip.userAgent.IPAddress"},
    {"keswardin.media.audioFormat", ParameterValue::STRING_TYPE, nullptr, false, true, "Use parameter rtp.encodingList"},
    {"keswardin.b2bua.doDlgcCPD", ParameterValue::BOOL_TYPE, "true", false, true, "NO LONGER SUPPORTED! When set to true, the B2BUA will perform Call Progress Analysis (CPA) on audio received from the callee. Set to false if you want the CPA to be performed in the Velmora Gateway."},
    {"keswardin.python.sys.path", ParameterValue::STRING_TYPE, nullptr, false, false, "Python system path (PYTHONPATH). Comma-separated."},
    {"keswardin.python.useChecker", ParameterValue::BOOL_TYPE, "false", false, false, "When set to true, all Python source code imported or executed by the embedded interpreter will be checked using PyChecker (slows down execution)."},
    {"keswardin.mem.leak.detecting.aggregateDuplicates", ParameterValue::BOOL_TYPE, "true", false, false, "Show/Hide duplicate memory leaks to make reading easier"},
    {"keswardin.mem.leak.detecting.showUselessFrames", ParameterValue::BOOL_TYPE, "false", false, false, "Show/Hide useless callstack output frames"},
    {"keswardin.mem.leak.detecting.maxFrames", ParameterValue::INT_TYPE, nullptr, false, false, "The maximum amount of frames to show in a given callstack. (not defining this property will show all frames)"},
    {"keswardin.thread.timeSource", ParameterValue::STRING_TYPE, "GetTimeOfDayTimeSource", false, false, "The name of the time source to be instanciated (GetTimeOfDayTimeSource, HighResSynchronizerTimeSource, HighResVelmoraTimeSource). This time source will be used to display the date in the logs."},
    {"keswardin.thread.timeSource.VelmoraTimeSource.max.precision", ParameterValue::INT_TYPE, "2", false, false, "Time in ms at which it is acceptable to take a new reference as a new GetTimeOfDay"},
    {"keswardin.thread.timeSource.VelmoraTimeSource.force.interval", ParameterValue::INT_TYPE, "20000", false, false, "Time in ms at which point it is necessary to force the taking of a new reference as a new GetTimeOfDay"},
    {"keswardin.system.cpu.monitor.monitoringPeriodInMs", ParameterValue::INT_TYPE, "500", false, false, "The monitoring period in ms of the system CPU resource usage.  Set this value to 0 to disable the CPU usage monitor."},
    {"keswardin.system.cpu.monitor.setAlarmThreshold", ParameterValue::FLOAT_TYPE, "90.0", false, false, "The CPU monitor generates an alarm when the average % of CPU usage is equal or greater to this value"},
    {"keswardin.system.cpu.monitor.resetAlarmThreshold", ParameterValue::FLOAT_TYPE, "80.0", false, false, "The CPU monitor clear the alarm when the average % of CPU usage goes below this value"},
    {"keswardin.system.cpu.monitor.averageWindowSize", ParameterValue::INT_TYPE, "15", false, false, "The number of observation required to compute the average % of CPU usage."},
};

// clang-format on

template <class Predicate>
std::vector<std::string> namesOfRows(Predicate in_isWanted)
{
    std::vector<std::string> result;
    for (const ParameterRow& row : s_paramDefsTable)
        if (in_isWanted(row))
            result.emplace_back(row.szName);
    return result;
}

std::ptrdiff_t countType(ParameterValue::Type in_type)
{
    return std::count_if(std::begin(s_paramDefsTable), std::end(s_paramDefsTable),
                         [in_type](const ParameterRow& in_row) { return in_row.type == in_type; });
}

} // namespace

TEST(ParamDefsTable, HasTheNamesInTheirOrder)
{
    EXPECT_THAT(namesOfRows([](const ParameterRow&) { return true; }), ElementsAreArray(s_names));
}

TEST(ParamDefsTable, HasARowForEachParameterOfTheFamily)
{
    EXPECT_EQ(299U, std::size(s_paramDefsTable));
}

TEST(ParamDefsTable, HasAFixedNumberOfParametersOfEachType)
{
    EXPECT_EQ(123, countType(ParameterValue::INT_TYPE));
    EXPECT_EQ(90, countType(ParameterValue::STRING_TYPE));
    EXPECT_EQ(80, countType(ParameterValue::BOOL_TYPE));
    EXPECT_EQ(6, countType(ParameterValue::FLOAT_TYPE));
}

TEST(ParamDefsTable, HasAFixedNumberOfDefaultsAndDescriptions)
{
    EXPECT_EQ(
        171U,
        namesOfRows([](const ParameterRow& in_row) { return in_row.szDefault != nullptr; }).size());
    EXPECT_EQ(186U, namesOfRows([](const ParameterRow& in_row)
                                { return in_row.szDescription != nullptr; })
                        .size());
}

TEST(ParamDefsTable, HasThreeParametersThatCanBeSetAtRunTime)
{
    EXPECT_THAT(namesOfRows([](const ParameterRow& in_row) { return in_row.bRunTimeSettable; }),
                ElementsAre("keswardin.gw.recordCalls.enabled",
                            "keswardin.gw.recordCalls.directory", "keswardin.run.mode"));
}

TEST(ParamDefsTable, HasFiveDeprecatedParameters)
{
    EXPECT_THAT(namesOfRows([](const ParameterRow& in_row) { return in_row.bDeprecated; }),
                ElementsAre("keswardin.sip.userAgentPort", "keswardin.sip.userAgentIPAddress",
                            "keswardin.sip.transport", "keswardin.media.audioFormat",
                            "keswardin.b2bua.doDlgcCPD"));
}

TEST(ParamDefsTable, HasTheExactRowsThatProgramsRelyOn)
{
    ASSERT_EQ(43U, s_exactRows.size());
    for (const ParameterRow& expected : s_exactRows)
    {
        const auto* const pFound =
            std::find_if(std::begin(s_paramDefsTable), std::end(s_paramDefsTable),
                         [&expected](const ParameterRow& in_row)
                         { return std::string_view(in_row.szName) == expected.szName; });
        ASSERT_NE(std::end(s_paramDefsTable), pFound) << expected.szName;
        EXPECT_EQ(expected, *pFound);
    }
}

TEST(ParamDefsTable, HasDefaultsThatReadAsTheTypeOfTheirRow)
{
    for (const ParameterRow& row : s_paramDefsTable)
    {
        if (row.szDefault == nullptr)
            continue;
        ParameterValue value;
        value.initFromText(row.szDefault, ParameterValue::UNDEF_TYPE, true);
        EXPECT_EQ(row.type, value.getType()) << row.szName;
    }
}

TEST(ParamDefsTable, DescribesInWholeSentences)
{
    for (const ParameterRow& row : s_paramDefsTable)
    {
        const std::string_view strName(row.szName);
        const bool bExact =
            std::any_of(s_exactRows.begin(), s_exactRows.end(),
                        [strName](const ParameterRow& in_row) { return strName == in_row.szName; });
        if (row.szDescription == nullptr || bExact)
            continue;
        const std::string_view strText(row.szDescription);
        EXPECT_TRUE(strText.front() >= 'A' && strText.front() <= 'Z') << strName;
        EXPECT_EQ('.', strText.back()) << strName;
        EXPECT_EQ(std::string_view::npos, strText.find("  ")) << strName;
    }
}

} // namespace Velmora::Test
