// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/KnownType.h"

#include "velmora/logging/PropertyKind.h"

#include <algorithm>

namespace Velmora
{

namespace
{

using Kind = PropertyKind;

constexpr bool s_bRequired = true;

constexpr KnownProperty s_ofAppenders[] = {
    {"Threshold", &Kind::s_level}, {"UseLockFile", &Kind::s_bool}, {"AsyncAppend", &Kind::s_bool}};

constexpr KnownProperty s_file[] = {{"File", &Kind::s_text, s_bRequired}};
constexpr KnownProperty s_ofFiles[] = {
    {"Append", &Kind::s_bool},        {"ImmediateFlush", &Kind::s_bool},
    {"CreateDirs", &Kind::s_bool},    {"ReopenDelay", &Kind::s_integer},
    {"BufferSize", &Kind::s_natural}, {"LockFile", &Kind::s_text},
    {"Locale", &Kind::s_locale},      {"TextMode", &Kind::s_textMode}};
constexpr KnownProperty s_ofRollingFiles[] = {{"File", &Kind::s_text, s_bRequired},
                                              {"MaxFileSize", &Kind::s_sizeOfLog4cplus},
                                              {"MaxBackupIndex", &Kind::s_integer}};
constexpr KnownProperty s_ofDailyRollingFiles[] = {{"File", &Kind::s_text, s_bRequired},
                                                   {"Schedule", &Kind::s_schedule},
                                                   {"MaxBackupIndex", &Kind::s_integer},
                                                   {"RollOnClose", &Kind::s_bool},
                                                   {"DatePattern", &Kind::s_text}};
constexpr KnownProperty s_ofTimeBasedRollingFiles[] = {{"File", &Kind::s_text},
                                                       {"FilenamePattern", &Kind::s_text},
                                                       {"MaxHistory", &Kind::s_integer},
                                                       {"CleanHistoryOnStart", &Kind::s_bool},
                                                       {"RollOnClose", &Kind::s_bool}};
constexpr KnownProperty s_ofConsoles[] = {{"logToStdErr", &Kind::s_bool},
                                          {"ImmediateFlush", &Kind::s_bool}};
constexpr KnownProperty s_ofAsyncAppenders[] = {{"QueueLimit", &Kind::s_natural}};
constexpr KnownProperty s_ofSockets[] = {{"host", &Kind::s_text},
                                         {"port", &Kind::s_natural},
                                         {"ServerName", &Kind::s_text},
                                         {"IPv6", &Kind::s_bool}};
constexpr KnownProperty s_ofLog4jUdp[] = {
    {"host", &Kind::s_text}, {"port", &Kind::s_integer}, {"IPv6", &Kind::s_bool}};
// "SyslogHost" is the former name of "host".
constexpr KnownProperty s_ofSysLog[] = {{"ident", &Kind::s_text},   {"facility", &Kind::s_text},
                                        {"host", &Kind::s_text},    {"SyslogHost", &Kind::s_text},
                                        {"port", &Kind::s_integer}, {"udp", &Kind::s_bool},
                                        {"IPv6", &Kind::s_bool}};

constexpr KnownProperty s_ofOurFiles[] = {{"File", &Kind::s_text, s_bRequired},
                                          {"Append", &Kind::s_bool},
                                          {"ImmediateFlush", &Kind::s_bool},
                                          {"BufferSize", &Kind::s_bufferSize},
                                          {"FlushLevel", &Kind::s_level},
                                          {"FlushInterval", &Kind::s_seconds},
                                          {"MaxFileSize", &Kind::s_size},
                                          {"Schedule", &Kind::s_schedule},
                                          {"MaxBackupIndex", &Kind::s_backups},
                                          {"Compress", &Kind::s_compression},
                                          {"Mode", &Kind::s_mode},
                                          {"CreateDirs", &Kind::s_bool}};
constexpr KnownProperty s_ofRemoteSyslog[] = {{"Hostname", &Kind::s_text, s_bRequired},
                                              {"Port", &Kind::s_positive},
                                              {"Facility", &Kind::s_positive}};
constexpr KnownProperty s_ofMarker[] = {{"Directory", &Kind::s_text},
                                        {"KeepEarlier", &Kind::s_bool}};

constexpr KnownProperty s_ofTTCCLayout[] = {{"DateFormat", &Kind::s_text},
                                            {"Use_gmtime", &Kind::s_bool},
                                            {"ThreadPrinting", &Kind::s_bool},
                                            {"CategoryPrefixing", &Kind::s_bool},
                                            {"ContextPrinting", &Kind::s_bool}};
// "Pattern" is the former name of "ConversionPattern", and both layouts report it.
constexpr KnownProperty s_ofPatternLayouts[] = {{"ConversionPattern", &Kind::s_text, s_bRequired},
                                                {"Pattern", &Kind::s_text},
                                                {"NDCMaxDepth", &Kind::s_ndcLevels}};
constexpr KnownProperty s_ofOurPatternLayout[] = {{"Escape", &Kind::s_bool}};
constexpr KnownProperty s_ofOurLayouts[] = {{"MaxLength", &Kind::s_messageLength}};

constexpr KnownProperty s_ofFilters[] = {{"AcceptOnMatch", &Kind::s_bool}};
constexpr KnownProperty s_ofLevelMatch[] = {{"LogLevelToMatch", &Kind::s_level, s_bRequired}};
constexpr KnownProperty s_ofLevelRange[] = {{"LogLevelMin", &Kind::s_level},
                                            {"LogLevelMax", &Kind::s_level}};
constexpr KnownProperty s_ofStringMatch[] = {{"StringToMatch", &Kind::s_text, s_bRequired}};
constexpr KnownProperty s_ofNdcMatch[] = {{"NDCToMatch", &Kind::s_text},
                                          {"NeutralOnEmpty", &Kind::s_bool}};
constexpr KnownProperty s_ofMdcMatch[] = {{"MDCKeyToMatch", &Kind::s_text},
                                          {"MDCValueToMatch", &Kind::s_text},
                                          {"NeutralOnEmpty", &Kind::s_bool}};

constexpr bool s_bUsesLayout = true;
constexpr bool s_bReports = true;

constexpr KnownType s_appenders[] = {
    {"velmora::FileAppender", {s_ofOurFiles, s_ofAppenders}, s_bUsesLayout, s_bReports},
    {"velmora::RemoteSyslogAppender", {s_ofRemoteSyslog, s_ofAppenders}, s_bUsesLayout},
    {"log4cplus::ConsoleAppender", {s_ofConsoles, s_ofAppenders}, s_bUsesLayout},
    {"log4cplus::FileAppender", {s_file, s_ofFiles, s_ofAppenders}, s_bUsesLayout},
    {"log4cplus::RollingFileAppender", {s_ofRollingFiles, s_ofFiles, s_ofAppenders}, s_bUsesLayout},
    {"log4cplus::DailyRollingFileAppender",
     {s_ofDailyRollingFiles, s_ofFiles, s_ofAppenders},
     s_bUsesLayout},
    {"log4cplus::TimeBasedRollingFileAppender",
     {s_ofTimeBasedRollingFiles, s_ofFiles, s_ofAppenders},
     s_bUsesLayout},
    {"log4cplus::SysLogAppender", {s_ofSysLog, s_ofAppenders}, s_bUsesLayout},
    {"log4cplus::AsyncAppender", {s_ofAsyncAppenders, s_ofAppenders}},
    {"log4cplus::NullAppender", {s_ofAppenders}},
    {"log4cplus::SocketAppender", {s_ofSockets, s_ofAppenders}},
    {"log4cplus::Log4jUdpAppender", {s_ofLog4jUdp, s_ofAppenders}}};

constexpr KnownType s_layouts[] = {{"velmora::PatternLayout",
                                    {s_ofPatternLayouts, s_ofOurPatternLayout, s_ofOurLayouts},
                                    false,
                                    s_bReports},
                                   {"velmora::JsonLayout", {s_ofOurLayouts}, false, s_bReports},
                                   {"log4cplus::PatternLayout", {s_ofPatternLayouts}},
                                   {"log4cplus::SimpleLayout"},
                                   {"log4cplus::TTCCLayout", {s_ofTTCCLayout}}};

constexpr KnownType s_filters[] = {
    {"log4cplus::spi::DenyAllFilter"},
    {"log4cplus::spi::LogLevelMatchFilter", {s_ofLevelMatch, s_ofFilters}},
    {"log4cplus::spi::LogLevelRangeFilter", {s_ofLevelRange, s_ofFilters}},
    {"log4cplus::spi::StringMatchFilter", {s_ofStringMatch, s_ofFilters}},
    {"log4cplus::spi::NDCMatchFilter", {s_ofNdcMatch, s_ofFilters}},
    {"log4cplus::spi::MDCMatchFilter", {s_ofMdcMatch, s_ofFilters}}};

// "Append" has no effect on a file of a call.
constexpr KnownType s_callFiles{"CALL_LOG_APPENDER", {s_ofMarker, std::span(s_ofFiles).subspan(1)}};

} // namespace

const KnownProperty* KnownType::find(std::string_view in_name) const
{
    for (const std::span<const KnownProperty>& group : properties)
        for (const KnownProperty& property : group)
            if (property.name == in_name)
                return &property;
    return nullptr;
}

std::string KnownType::namesOfProperties() const
{
    std::string strNames;
    for (const std::span<const KnownProperty>& group : properties)
        for (const KnownProperty& property : group)
            strNames.append(strNames.empty() ? "" : ", ").append(property.name);
    return strNames;
}

std::span<const KnownType> KnownType::appenders() { return s_appenders; }

std::span<const KnownType> KnownType::layouts() { return s_layouts; }

std::span<const KnownType> KnownType::filters() { return s_filters; }

const KnownType* KnownType::find(std::span<const KnownType> in_types, std::string_view in_name)
{
    const auto found =
        std::find_if(in_types.begin(), in_types.end(),
                     [in_name](const KnownType& in_type) { return in_type.name == in_name; });
    return found != in_types.end() ? &*found : nullptr;
}

const KnownType& KnownType::ofCallFiles() { return s_callFiles; }

} // namespace Velmora
