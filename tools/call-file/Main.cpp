// SPDX-License-Identifier: BSD-2-Clause

#include "CallFiles.h"
#include "Output.h"

#include "velmora/logging/EscapedText.h"

#include <getopt.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using CallFileTool::CallFile;
using CallFileTool::CallFiles;
using CallFileTool::escaped;
using CallFileTool::Form;

constexpr int s_iFound = 0;
constexpr int s_iNotFound = 1;
constexpr int s_iUsage = 2;

constexpr const char* s_szName = "keswardin-call-file";
constexpr const char* s_szUsage =
    R"(Usage: keswardin-call-file [options] CALL-ID...
       keswardin-call-file [options] --like TEXT
       keswardin-call-file [options] --list

Names the log files of calls by their SIP Call-IDs, the newest first. A CALL-ID may
be in the form that it has in the log, with a control byte as \x1b.

  -d, --directory DIR  the directory of the files of calls; "calls" by default
  -p, --prefix TEXT    keswardin.infra.CallLogger.outputFilePrefix; empty by default
  -s, --suffix TEXT    keswardin.infra.CallLogger.outputFileSuffix; ".log" by default
  -e, --earlier        with CALL-ID: the files of earlier calls with this id, too
  -k, --like TEXT      lists all calls whose id contains the text
  -l, --list           lists all calls
  -j, --json           writes an object of JSON for each file
  -0, --null           writes paths as they are, each with a NUL behind it
  -h, --help           writes this text

The exit code is 0 if each call was found, 1 if not, and 2 if the command line is
wrong, the directory cannot be opened or the output cannot be written.
)";

struct Options
{
    std::string strDirectory = "calls";
    std::string strPrefix;
    std::string strSuffix = ".log";
    bool bEarlier = false;
    bool bList = false;
    bool bHelp = false;
    std::optional<std::string> strLike;
    std::optional<Form> form;
    std::vector<std::string> callIds;
};

/// Reads the command line.
/// Failure: returns no value, after a text on standard error.
std::optional<Options> readCommandLine(int in_argc, char** in_argv)
{
    static constexpr option s_options[] = {{"directory", required_argument, nullptr, 'd'},
                                           {"prefix", required_argument, nullptr, 'p'},
                                           {"suffix", required_argument, nullptr, 's'},
                                           {"earlier", no_argument, nullptr, 'e'},
                                           {"like", required_argument, nullptr, 'k'},
                                           {"list", no_argument, nullptr, 'l'},
                                           {"json", no_argument, nullptr, 'j'},
                                           {"null", no_argument, nullptr, '0'},
                                           {"help", no_argument, nullptr, 'h'},
                                           {nullptr, 0, nullptr, 0}};
    const auto refuse = [](const char* in_szReason) -> std::optional<Options>
    {
        std::cerr << s_szName << ": " << in_szReason << "; see " << s_szName << " --help\n";
        return std::nullopt;
    };
    Options result;
    // getopt writes what is wrong, but not in an escaped form.
    opterr = 0;
    for (;;)
    {
        switch (getopt_long(in_argc, in_argv, "d:p:s:ek:lj0h", s_options, nullptr))
        {
        case 'd':
            result.strDirectory = optarg;
            break;
        case 'p':
            result.strPrefix = optarg;
            break;
        case 's':
            result.strSuffix = optarg;
            break;
        case 'e':
            result.bEarlier = true;
            break;
        case 'k':
            result.strLike = optarg;
            break;
        case 'l':
            result.bList = true;
            break;
        case 'j':
            result.form = Form::json;
            break;
        case '0':
            result.form = Form::raw;
            break;
        case 'h':
            result.bHelp = true;
            return result;
        case -1:
            result.callIds.assign(in_argv + optind, in_argv + in_argc);
            if (result.bList + result.strLike.has_value() + !result.callIds.empty() != 1)
                return refuse("give either call ids, --like or --list");
            if ((result.strPrefix + result.strSuffix).find('/') != std::string::npos)
                return refuse("a prefix or suffix with a \"/\" cannot be searched for");
            return result;
        default:
            return refuse("wrong option, or no argument of one");
        }
    }
}

void warn(const std::string& in_strText)
{
    std::cerr << s_szName << ": " << escaped(in_strText) << '\n';
}

/// Finds the files of a call. An id that is copied from the log may be in its escaped form.
std::vector<CallFile> find(const CallFiles& in_files, const std::string& in_strCallId,
                           bool in_bEarlier)
{
    std::vector<CallFile> found = in_files.find(in_strCallId, in_bEarlier);
    std::string strRead;
    if (found.empty() && in_strCallId.find('\\') != std::string::npos &&
        Velmora::EscapedText::read(strRead, in_strCallId))
        found = in_files.find(strRead, in_bEarlier);
    return found;
}

int run(const Options& in_options)
{
    const CallFiles files(in_options.strDirectory, in_options.strPrefix, in_options.strSuffix,
                          warn);
    if (!files.exist())
    {
        warn("cannot open directory " + in_options.strDirectory + ": " + std::strerror(errno));
        return s_iUsage;
    }
    std::string strOutput;
    int iResult = s_iFound;
    const auto append = [&](const std::vector<CallFile>& in_found, Form in_form)
    {
        if (in_found.empty())
            iResult = s_iNotFound;
        for (const CallFile& file : in_found)
            CallFileTool::append(strOutput, file, in_options.form.value_or(in_form));
    };
    for (const std::string& strCallId : in_options.callIds)
    {
        const std::vector<CallFile> found = find(files, strCallId, in_options.bEarlier);
        if (found.empty())
            warn("call " + strCallId + " has no file in " + in_options.strDirectory +
                 "; --like searches for a part of an id");
        append(found, Form::path);
    }
    if (in_options.callIds.empty())
        append(files.search(
                   [&](std::string_view in_strCallId)
                   {
                       return !in_options.strLike ||
                              in_strCallId.find(*in_options.strLike) != std::string_view::npos;
                   }),
               Form::table);
    if (std::fwrite(strOutput.data(), 1, strOutput.size(), stdout) != strOutput.size() ||
        std::fflush(stdout) != 0)
    {
        warn(std::string("cannot write the output: ") + std::strerror(errno));
        return s_iUsage;
    }
    return iResult;
}

} // namespace

int main(int argc, char** argv)
{
    try
    {
        const std::optional<Options> options = readCommandLine(argc, argv);
        if (!options)
            return s_iUsage;
        if (options->bHelp)
            return std::fputs(s_szUsage, stdout) >= 0 && std::fflush(stdout) == 0 ? s_iFound
                                                                                  : s_iUsage;
        return run(*options);
    }
    catch (const std::exception& error)
    {
        std::cerr << s_szName << ": " << error.what() << '\n';
        return s_iUsage;
    }
}
