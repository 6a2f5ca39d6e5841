// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <sys/types.h>

#include <cstdarg>
#include <string>

namespace Velmora
{

class ROConfiguration;
class StringVector;

/// Functions that depend on the platform. Logs on "keswardin.infra.os".
///
/// The functions on paths process the text only and never access the file system. Only '/' is a
/// separator. A path must not be null unless stated otherwise, and must not be part of the output.
///
/// Thread-safety: all functions may be called on any thread.
namespace OS
{

/// The size and the free space of a file system, in bytes.
struct DiskUsage
{
    unsigned long long m_uiTotal = 0;
    unsigned long long m_uiFree = 0;
};

/// Returns whether a path does not begin with '/'. The empty path is relative; a null one is not.
[[nodiscard]] VELMORA_API bool isPathRelative(const char* in_szPath);

/// Sets the output to the directory of a path: the part before the last '/'. It is empty for a path
/// without '/', and for "/a". Returns true.
VELMORA_API bool stripFileName(const char* in_szPath, std::string& out_strDirectory);

/// Sets the output to the file name of a path: the part after the last '/', or the whole path
/// without one. Returns true.
VELMORA_API bool stripPath(const char* in_szPath, std::string& out_strFile);

/// Sets the output to the file name of a path without its extension: "lib.a" for "/x/lib.a.so",
/// empty for ".profile". Returns true.
VELMORA_API bool stripPathAndExtension(const char* in_szPath, std::string& out_strName);

/// Does the same as `stripPathAndExtension`.
VELMORA_API bool getFileBaseName(const char* in_szPath, std::string& out_strName);

/// Not available on this platform.
/// Failure: always clears the output, fails an assertion and returns false.
VELMORA_API bool getDiskUsage(const char* in_szPath, DiskUsage& out_usage);

/// Not available on this platform.
/// Failure: always fails an assertion and returns false; the output is unchanged.
VELMORA_API bool getCanonicalPath(const char* in_szPath, std::string& out_strPath);

/// Formats like the standard function, except when that returns -1. The result is then twice
/// `in_uiSize`, or the largest int if that is less. So a caller that enlarges its buffer until the
/// text fits always gets a length that asks for more. For a size above the largest int the result
/// stays -1, which is not a length; a larger buffer does not help then.
[[gnu::format(printf, 3, 0)]] VELMORA_API int vsnprintf(char* out_szBuffer, unsigned long in_uiSize,
                                                        const char* in_szFormat,
                                                        std::va_list in_args);

/// Returns the kernel's id of the calling thread.
[[nodiscard]] VELMORA_API pid_t gettid();

/// Returns whether the standard library counts a character as white space.
[[nodiscard]] VELMORA_API bool isspace(char in_character);

/// Returns the name of a type from `std::type_info` without its leading digits, as a pointer into
/// the argument.
/// Failure: a null name fails an assertion and returns the empty text.
[[nodiscard]] VELMORA_API const char* typeIdName(const char* in_szTypeIdName);

/// Runs a command by "/bin/sh -c" and waits for its end, in place of `system`. The command gets the
/// descriptors 0 to 2 and no others. Returns its exit code, 0 to 255. The code is 127 for a command
/// that the shell does not find. It is 1 also if the shell could not be started.
///
/// While the command runs, the process handles SIGCHLD by doing nothing. Otherwise the exit code
/// would be lost in a program that ignores the signal. Afterwards the former handler is restored.
/// Several threads may run commands concurrently.
///
/// The command is started by `vfork`. A large process therefore does not wait for its page tables
/// to be copied, and handlers registered for `fork` do not run.
///
/// Failure: returns -1 for a command that was ended by a signal, for a process that cannot be
/// started, and for one whose exit status other code of the process has already collected.
VELMORA_API int executeCommand(std::string& in_strCommand);

/// Returns the hardware addresses of the network adapters, in the form "00-1B-44-11-3A-B7". The
/// list has at most 20 adapters with an IPv4 address, up or down, in the kernel's order. An alias
/// counts as an adapter; the loopback does not. An adapter that cannot be read is logged and left
/// out.
///
/// Failure: fails an assertion and returns false when the adapters cannot be listed.
VELMORA_API bool GetNetworkAdaptersPhysicalAddresses(StringVector& out_addresses);

/// Looks up a text in the registry. On this platform the configuration takes its place: the text is
/// the parameter of type STRING whose name is "keswardin.registry." followed by `in_szName`.
///
/// Failure: returns false without such a parameter; the output is unchanged.
VELMORA_API bool GetRegistryString(const ROConfiguration& in_config, const char* in_szName,
                                   std::string& out_strValue);

} // namespace OS

} // namespace Velmora
