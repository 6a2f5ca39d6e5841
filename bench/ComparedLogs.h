// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/FileAppender.h"
#include "velmora/logging/LogMacros.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include <unistd.h>

/// The ways to a log file that benchmarks compare. All of them write the same lines.
namespace Velmora::Bench
{

/// The arguments of a line: three of different types.
struct Call
{
    std::string strId = "a84b4c76e66710";
    int iMilliseconds = 1234;
    unsigned short usPort = 5060;
};

inline constexpr const char* s_szLoudLogger = "keswardin.bench.Loud";
inline constexpr const char* s_szPattern = "%d{%Y-%m-%d %H:%M:%S.%q} %-5p [%T] %c - %m%n";
inline constexpr const char* s_szPatternOfSpdlog = "%Y-%m-%d %H:%M:%S.%e %-5l [%t] %n - %v";

/// How lines get into the file.
enum class FileKind
{
    flushed,
    /// As many bytes at once as a stream of the C library writes.
    buffered,
    /// The same, and the file rolls over.
    rolling
};

inline constexpr std::size_t s_uiSizeOfRolling = 1024 * 1024;
inline constexpr unsigned int s_uiBackups = 3;

/// A directory for a log file and its backups. The destructor deletes it.
class LogDirectory
{
  public:
    LogDirectory()
        : m_path(std::filesystem::temp_directory_path() / ("log-bench." + std::to_string(getpid())))
    {
        std::filesystem::create_directory(m_path);
    }
    ~LogDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    LogDirectory(const LogDirectory&) = delete;
    LogDirectory& operator=(const LogDirectory&) = delete;

    [[nodiscard]] std::string file() const { return (m_path / "log").string(); }

  private:
    std::filesystem::path m_path;
};

inline log4cplus::SharedAppenderPtr makeAppender(const std::string& in_strFile, FileKind in_kind,
                                                 const char* in_szLayout)
{
    log4cplus::helpers::Properties properties;
    properties.setProperty("File", in_strFile);
    properties.setProperty("ImmediateFlush", in_kind == FileKind::flushed ? "true" : "false");
    properties.setProperty("BufferSize", "4096");
    if (in_kind == FileKind::rolling)
    {
        properties.setProperty("MaxFileSize", std::to_string(s_uiSizeOfRolling));
        properties.setProperty("MaxBackupIndex", std::to_string(s_uiBackups));
    }
    properties.setProperty("layout", in_szLayout);
    properties.setProperty("layout.ConversionPattern", s_szPattern);
    return log4cplus::SharedAppenderPtr(new FileAppender(properties));
}

inline log4cplus::SharedAppenderPtr makeAppenderOfLog4cplus(const std::string& in_strFile,
                                                            FileKind in_kind)
{
    const bool bFlushes = in_kind == FileKind::flushed;
    log4cplus::SharedAppenderPtr pAppender(
        in_kind == FileKind::rolling
            ? new log4cplus::RollingFileAppender(in_strFile, s_uiSizeOfRolling, s_uiBackups,
                                                 bFlushes)
            : new log4cplus::FileAppender(in_strFile, std::ios_base::trunc, bFlushes));
    pAppender->setLayout(std::make_unique<log4cplus::PatternLayout>(s_szPattern));
    return pAppender;
}

inline std::unique_ptr<spdlog::logger> makeLoggerOfSpdlog(const std::string& in_strFile,
                                                          FileKind in_kind)
{
    spdlog::sink_ptr pSink;
    if (in_kind == FileKind::rolling)
        pSink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
            in_strFile, s_uiSizeOfRolling, s_uiBackups);
    else
        pSink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(in_strFile, true);
    auto pLogger = std::make_unique<spdlog::logger>(s_szLoudLogger, pSink);
    pLogger->set_pattern(s_szPatternOfSpdlog, spdlog::pattern_time_type::utc);
    pLogger->flush_on(in_kind == FileKind::flushed ? spdlog::level::trace : spdlog::level::off);
    pLogger->set_level(spdlog::level::debug);
    return pLogger;
}

/// Our logger, and the one of log4cplus with the same name, while the object exists: they log to
/// one appender.
class LoudEntry
{
  public:
    explicit LoudEntry(const log4cplus::SharedAppenderPtr& in_pAppender)
    {
        m_logger.setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
        m_logger.setAdditivity(false);
        m_logger.addAppender(in_pAppender);
    }
    ~LoudEntry() { m_logger.removeAllAppenders(); }
    LoudEntry(const LoudEntry&) = delete;
    LoudEntry& operator=(const LoudEntry&) = delete;

  private:
    log4cplus::Logger m_logger = log4cplus::Logger::getInstance(s_szLoudLogger);
};

template <class LoggerClass>
[[gnu::always_inline]] inline void logCall(const LoggerClass& in_logger, const Call& in_call)
{
    VELMORA_LOG(in_logger, DEBUG_LOG_LEVEL,
                "call " << in_call.strId << " took " << in_call.iMilliseconds << " ms from port "
                        << in_call.usPort);
}

[[gnu::always_inline]] inline void logCallByLog4cplus(const log4cplus::Logger& in_logger,
                                                      const Call& in_call)
{
    LOG4CPLUS_DEBUG(in_logger, "call " << in_call.strId << " took " << in_call.iMilliseconds
                                       << " ms from port " << in_call.usPort);
}

[[gnu::always_inline]] inline void logCallBySpdlog(spdlog::logger& in_logger, const Call& in_call)
{
    SPDLOG_LOGGER_CALL(&in_logger, spdlog::level::debug, "call {} took {} ms from port {}",
                       in_call.strId, in_call.iMilliseconds, in_call.usPort);
}

} // namespace Velmora::Bench
