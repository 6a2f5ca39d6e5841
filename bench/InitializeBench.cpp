// SPDX-License-Identifier: BSD-2-Clause

// The cost of starting a program of the family, with and without a configuration, including the
// loading and the end of the program: the processor time of its process, user and system. Beside
// it, a program that only links the library, and the time that the libraries of Python alone add to
// a program that does nothing.
//
// Also the cost of starting Python, once in a process, without the rest of that process.

#include "velmora/config/ParameterInfoDB.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;

namespace
{

constexpr std::size_t s_uiLines = 300;

const char* const s_szLogging = "log4cplus.rootLogger=INFO, CONSOLE\n"
                                "log4cplus.logger.keswardin.infra=WARN\n"
                                "log4cplus.appender.CONSOLE=log4cplus::ConsoleAppender\n"
                                "log4cplus.appender.CONSOLE.layout=log4cplus::PatternLayout\n"
                                "log4cplus.appender.CONSOLE.layout.ConversionPattern=%p %c: %m%n\n";
constexpr std::size_t s_uiLinesOfLogging = 5;

std::string valueFor(const ParameterInfoWithName& in_info)
{
    // A default without a fraction would be read as an integer.
    if (in_info.m_type == ParameterValue::FLOAT_TYPE)
        return "1.5";
    if (in_info.m_defaultValue.defined())
    {
        std::ostringstream text;
        text << in_info.m_defaultValue;
        return text.str();
    }
    switch (in_info.m_type)
    {
    case ParameterValue::INT_TYPE:
        return "10";
    case ParameterValue::BOOL_TYPE:
        return "false";
    default:
        return "some/value";
    }
}

/// Returns whether the parameter may have any value of its type.
bool isFree(const ParameterInfoWithName& in_info)
{
    return !in_info.m_bDeprecated &&
           in_info.m_strName.find("Logger.PropertiesFile") == std::string::npos;
}

/// A configuration of known parameters with a section for logging, filled up with comments.
class ConfigurationFile
{
  public:
    ConfigurationFile()
    {
        const int iFile = mkstemp(m_strPath.data());
        if (iFile < 0)
            std::abort();
        close(iFile);
        std::ofstream file(m_strPath);
        std::vector<ParameterInfoWithName> infos;
        ParameterInfoDB::getInstance().retrieve("^keswardin", infos);
        std::size_t uiLines = s_uiLinesOfLogging;
        for (const ParameterInfoWithName& info : infos)
            if (isFree(info) && uiLines < s_uiLines)
            {
                file << info.m_strName << '=' << valueFor(info) << '\n';
                ++uiLines;
            }
        for (; uiLines < s_uiLines; ++uiLines)
            file << "# a comment about the lines around it\n";
        file << s_szLogging;
    }
    ~ConfigurationFile() { unlink(m_strPath.c_str()); }
    ConfigurationFile(const ConfigurationFile&) = delete;
    ConfigurationFile& operator=(const ConfigurationFile&) = delete;

    [[nodiscard]] const std::string& path() const { return m_strPath; }

  private:
    std::string m_strPath = "/tmp/initialize-bench-XXXXXX";
};

double secondsOf(const timeval& in_time)
{
    return static_cast<double>(in_time.tv_sec) + static_cast<double>(in_time.tv_usec) / 1e6;
}

/// Runs a program to its end and discards its standard output. Returns the processor time of the
/// process in seconds, or a negative number if it failed.
double timeOf(std::vector<std::string> in_arguments)
{
    std::vector<char*> argv;
    argv.reserve(in_arguments.size() + 1);
    for (std::string& strArgument : in_arguments)
        argv.push_back(strArgument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    const int iError = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int iStatus = -1;
    rusage usage{};
    if (iError != 0 || wait4(pid, &iStatus, 0, &usage) != pid || iStatus != 0)
        return -1;
    return secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
}

void runAll(benchmark::State& out_state, const std::vector<std::string>& in_arguments)
{
    for ([[maybe_unused]] auto _ : out_state)
    {
        const double fTime = timeOf(in_arguments);
        if (fTime < 0)
        {
            out_state.SkipWithError("the program failed");
            break;
        }
        out_state.SetIterationTime(fTime);
    }
}

void initializeOurs(benchmark::State& out_state)
{
    const ConfigurationFile configuration;
    runAll(out_state, {VELMORA_BENCH_MINIMAL, "--global-config", configuration.path()});
}

void runProgram(benchmark::State& out_state, const char* in_szProgram)
{
    runAll(out_state, {in_szProgram});
}

/// An installation in which Python finds its modules, and the environment that leads to it.
class Installation
{
  public:
    Installation()
    {
        if (mkdtemp(m_strPath.data()) == nullptr)
            std::abort();
        const std::filesystem::path path = m_strPath;
        const std::filesystem::path library = VELMORA_BENCH_PYTHON_LIBRARY;
        std::filesystem::create_directories(path / "lib");
        std::filesystem::create_directories(path / "data/Python-2.5");
        std::filesystem::create_directories(path / "Python-2.5");
        std::filesystem::create_directory_symlink(library, path / "data/Python-2.5/Lib");
        std::filesystem::create_directory_symlink(library / "lib-dynload", path / "Python-2.5/Lib");
        setenv("VELMORA", m_strPath.c_str(), 1);
        // The library sets these itself; the program that starts Python without it needs them here.
        setenv("PYTHONHOME", ".", 1);
        setenv("PYTHONPATH",
               (m_strPath + "/lib:" + m_strPath + "/data/Python-2.5/Lib:" + m_strPath +
                "/Python-2.5/Lib:")
                   .c_str(),
               1);
    }
    ~Installation() { std::filesystem::remove_all(m_strPath); }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

  private:
    std::string m_strPath = "/tmp/initialize-bench-XXXXXX";
};

/// Returns the time that the program prints, in seconds, or a negative number if it failed.
double startOfPython(const std::string& in_strHow)
{
    FILE* const pOutput = popen((VELMORA_BENCH_STARTS_PYTHON " " + in_strHow).c_str(), "r");
    long long iNanoseconds = 0;
    if (pOutput == nullptr || std::fscanf(pOutput, "%lld", &iNanoseconds) != 1)
        iNanoseconds = -1;
    // The rest of the output is the log. It is read to the end, or the program would fail to write
    // it.
    while (pOutput != nullptr && std::fgetc(pOutput) != EOF)
        continue;
    const bool bFailed = pOutput == nullptr || pclose(pOutput) != 0 || iNanoseconds < 0;
    return bFailed ? -1 : static_cast<double>(iNanoseconds) / 1e9;
}

void startPython(benchmark::State& out_state, const char* in_szHow)
{
    const Installation installation;
    for ([[maybe_unused]] auto _ : out_state)
    {
        const double fTime = startOfPython(in_szHow);
        if (fTime < 0)
        {
            out_state.SkipWithError("the program failed");
            break;
        }
        out_state.SetIterationTime(fTime);
    }
}

BENCHMARK(initializeOurs)->Name("initialize/ours")->UseManualTime();
BENCHMARK_CAPTURE(runProgram, , VELMORA_BENCH_LINKS)->Name("initialize/linked")->UseManualTime();
BENCHMARK_CAPTURE(runProgram, , VELMORA_BENCH_MINIMAL)->Name("startMinimal/ours")->UseManualTime();
BENCHMARK_CAPTURE(runProgram, , VELMORA_BENCH_LINKS)->Name("startMinimal/linked")->UseManualTime();
BENCHMARK_CAPTURE(runProgram, , VELMORA_BENCH_LINKS_PYTHON)
    ->Name("loadPython/ours")
    ->UseManualTime();
BENCHMARK_CAPTURE(runProgram, , VELMORA_BENCH_LINKS_NOTHING)
    ->Name("loadPython/neither")
    ->UseManualTime();
BENCHMARK_CAPTURE(startPython, , "ours")->Name("startPython/ours")->UseManualTime();
BENCHMARK_CAPTURE(startPython, , "bare")->Name("startPython/bare")->UseManualTime();

} // namespace

BENCHMARK_MAIN();
