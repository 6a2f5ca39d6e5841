// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Lifetime.h"
#include "velmora/logging/FileScopeLogger.h"

/// Lists the source files of the library that have a logger, with the logger's name, in the order
/// in which the loggers are made. A new file adds its line here and uses
/// VELMORA_LIBRARY_FILE_SCOPE_LOGGER.
// clang-format off
#define VELMORA_LIBRARY_LOGGERS(entry)                                    \
    entry(Log4cplusBackend, "keswardin.ace")                              \
    entry(Assertion, "keswardin.infra.Assertion")                         \
    entry(Debug, "keswardin.infra.Debug")                                 \
    entry(Exception, "keswardin.infra.Exception")                         \
    entry(Fallible, "keswardin.infra.Fallible")                           \
    entry(DynCastAssert, "keswardin.infra.DynCastAssert")                 \
    entry(MemAllocator, "keswardin.infra.MemAllocator")                   \
    entry(Parameter, "keswardin.infra.Parameter")                         \
    entry(Configuration, "keswardin.infra.Configuration")                 \
    entry(ParameterHashMap, "keswardin.infra.ParameterHashMap")           \
    entry(CountedClass, "keswardin.infra.CountedClass")                   \
    entry(MaxCountClass, "keswardin.infra.MaxCountClass")                 \
    entry(RecursivityGuard, "keswardin.infra.RecursivityGuard")           \
    entry(ScratchMemberGuard, "keswardin.infra.ScratchMemberGuard")       \
    entry(OnDemandSingleton, "keswardin.infra.OnDemandSingleton")         \
    entry(RegistrationSingleton, "keswardin.infra.RegistrationSingleton") \
    entry(LevinsteinDistance, "keswardin.infra.LevinsteinDistance")       \
    entry(StateMachine, "keswardin.infra.StateMachine")                   \
    entry(TrieConfiguration, "keswardin.infra.TrieConfiguration")         \
    entry(ParameterInfo, "keswardin.infra.ParameterInfo")                 \
    entry(OS, "keswardin.infra.os")                                       \
    entry(UUID, "keswardin.infra.UUID")                                   \
    entry(ACE_Date_Time_Helpers, "keswardin.infra.ACE_Date_Time_Helpers") \
    entry(DateTimeDirectory, "keswardin.infra.DateTimeDirectory")         \
    entry(Directory, "keswardin.infra.Directory")                         \
    entry(File, "keswardin.infra.File")                                   \
    entry(DiskFileSystem, "keswardin.infra.DiskFileSystem")               \
    entry(ParameterTrie, "keswardin.infra.ParameterTrie")                 \
    entry(LoggingIdEvent, "keswardin.infra.LoggingIdEvent")               \
    entry(LoggingIdLogger, "keswardin.infra.LoggingIdLogger")             \
    entry(ConfigCache, "keswardin.infra.ConfigCache")                     \
    entry(CallAppender, "keswardin.infra.CallAppender")                   \
    entry(CallData, "keswardin.infra.CallData")                           \
    entry(CallLogger, "keswardin.infra.CallLogger")                       \
    entry(DottedRevision, "keswardin.infra.DottedRevision")               \
    entry(Syslog, "keswardin.infra.Syslog")                               \
    entry(RemoteSyslogAppender, "keswardin.infra.RemoteSyslogAppender")   \
    entry(FileAppender, "keswardin.infra.FileAppender")                   \
    entry(Crash, "keswardin.infra.crash")                                 \
    entry(CoreDump, "keswardin.infra.CoreDump")                           \
    entry(StackTrace, "keswardin.infra.StackTrace")                       \
    entry(DynlibObjectFactory, "keswardin.infra.DynlibObjectFactory")     \
    entry(DynLibsLoader, "keswardin.infra.DynLibsLoader")                 \
    entry(EmbeddedInterpreter, "keswardin.python.EmbeddedInterpreter")    \
    entry(PyClassName, "keswardin.infra.PyClassName")                     \
    entry(AdminAlarm, "admin.alarm")                                      \
    entry(Alarm, "keswardin.infra.Alarm")                                 \
    entry(AlarmImpl, "keswardin.infra.AlarmImpl")                         \
    entry(AlarmRegistry, "keswardin.infra.AlarmRegistry")                 \
    entry(VfsFileBuf, "keswardin.VfsFileBuf")                             \
    entry(StatisticComputer, "keswardin.infra.StatisticComputer")         \
    entry(ProfileTimer, "keswardin.infra.ProfileTimer")                   \
    entry(ResourceMonitor, "keswardin.infra.ResourceMonitor")             \
    entry(GlobalConfig, "keswardin.infra.GlobalConfig")                   \
    entry(Support, "keswardin.support")                                   \
    entry(Application, "keswardin.infra.Application")                     \
    entry(UnitTest, "keswardin.infra.UnitTest")
// clang-format on

namespace Velmora::LibraryLoggers
{

#define VELMORA_DECLARE_LIBRARY_LOGGER(source, name)        \
    inline constexpr const char* s_sz##source##Name = name; \
    AceCleanupLogger* source();
VELMORA_LIBRARY_LOGGERS(VELMORA_DECLARE_LIBRARY_LOGGER)
#undef VELMORA_DECLARE_LIBRARY_LOGGER

} // namespace Velmora::LibraryLoggers

/// Defines one of these loggers.
#define VELMORA_LIBRARY_LOGGER(source)                                                       \
    namespace Velmora::LibraryLoggers                                                        \
    {                                                                                        \
    AceCleanupLogger* source()                                                               \
    {                                                                                        \
        static AceCleanupLogger* const s_pLogger = new AceCleanupLogger(s_sz##source##Name); \
        return s_pLogger;                                                                    \
    }                                                                                        \
    }

/// VELMORA_FILE_SCOPE_LOGGER for a source file of the library itself. Brings up the whole library,
/// in its order, before the logger is used.
#define VELMORA_LIBRARY_FILE_SCOPE_LOGGER(source) \
    VELMORA_LIBRARY_LOGGER(source)                \
    VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(source)

/// Same, for a further source file that logs through the logger of another one.
#define VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(source)                                    \
    namespace                                                                           \
    {                                                                                   \
    [[maybe_unused]] ::Velmora::AceCleanupLogger* fileScopeLogger()                     \
    {                                                                                   \
        return ::Velmora::LibraryLoggers::source();                                     \
    }                                                                                   \
    VELMORA_FILE_SCOPE_LOGGER_HELPERS(::Velmora::LibraryLoggers::s_sz##source##Name,    \
                                      (::Velmora::bringUpLibrary(), fileScopeLogger())) \
    }
