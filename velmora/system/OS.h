#pragma once

#include "velmora/Export.h"

#include <sys/types.h>

#include <cstdarg>
#include <string>

namespace Velmora
{

class ROConfiguration;
class StringVector;

/// What is particular to the platform. Logs on "keswardin.infra.os".
///
/// The functions on paths work on their text alone and never look at the file system; only '/'
/// separates. A path must not be null unless told otherwise, and must not be part of the output.
///
/// Thread-safety: all functions may be called on any thread.
namespace OS
{

/// How full a file system is, in bytes.
struct DiskUsage
{
    unsigned long long m_uiTotal = 0;
    unsigned long long m_uiFree = 0;
};

/// Whether a path does not begin with '/'. The empty path is relative; a null one is not.
[[nodiscard]] VELMORA_API bool isPathRelative(const char* in_szPath);

/// The directory of a path: what stands before the last '/', empty without one. So that of "/a" is
/// empty. Gives true.
VELMORA_API bool stripFileName(const char* in_szPath, std::string& out_strDirectory);

/// The file of a path: what stands behind the last '/', the whole path without one. Gives true.
VELMORA_API bool stripPath(const char* in_szPath, std::string& out_strFile);

/// The file of a path without its extension: "lib.a" for "/x/lib.a.so", empty for ".profile".
/// Gives true.
VELMORA_API bool stripPathAndExtension(const char* in_szPath, std::string& out_strName);

/// The same as `stripPathAndExtension`.
VELMORA_API bool getFileBaseName(const char* in_szPath, std::string& out_strName);

/// Not to be had on this platform.
/// Failure: always: the output is cleared, an assertion fails, and the result is false.
VELMORA_API bool getDiskUsage(const char* in_szPath, DiskUsage& out_usage);

/// Not to be had on this platform.
/// Failure: always: an assertion fails, and the result is false with the output as it was.
VELMORA_API bool getCanonicalPath(const char* in_szPath, std::string& out_strPath);

/// The standard function, but that where it fails with -1 the result is twice `in_uiSize`, or the
/// largest int if that is more: a caller who makes the buffer larger until the text fits always
/// sees a length that asks for more. Of a size above the largest int it stays -1, which no length
/// is; a larger size is then of no use.
[[gnu::format(printf, 3, 0)]] VELMORA_API int vsnprintf(char* out_szBuffer, unsigned long in_uiSize,
                                                        const char* in_szFormat,
                                                        std::va_list in_args);

/// The kernel's id of the calling thread.
[[nodiscard]] VELMORA_API pid_t gettid();

/// Whether a character is white space to the standard library.
[[nodiscard]] VELMORA_API bool isspace(char in_character);

/// The name of a type as `std::type_info` gives it, without the digits that it begins with: a
/// pointer into the argument.
/// Failure: a null name fails an assertion and gives the empty text.
[[nodiscard]] VELMORA_API const char* typeIdName(const char* in_szTypeIdName);

/// Runs a command by "/bin/sh -c" and waits for its end; the library's `system`. The command gets
/// the descriptors 0 to 2 and no other. Gives its exit code, 0 to 255; so 127 for a command that
/// the shell does not find, and 1 also where no shell could be started.
///
/// While the command runs, the process handles SIGCHLD by doing nothing, so that the result does
/// not get lost where the program ignores the signal; then it is handled as before. Commands may
/// run on several threads at a time.
///
/// The command starts in a `vfork`, so a large process does not wait for its page tables to be
/// copied, and handlers registered for `fork` do not run.
///
/// Failure: -1 for a command that a signal ended, for a process that cannot be started, and for one
/// that somebody else in the process waited for.
VELMORA_API int executeCommand(std::string& in_strCommand);

/// The hardware addresses of the network adapters, as in "00-1B-44-11-3A-B7": of those with an IPv4
/// address, up or down, in the kernel's order, and of at most 20. An alias counts as an adapter;
/// the loopback does not. An adapter that cannot be read is left out, which only the log tells.
///
/// Failure: false, with a failed assertion, when the adapters cannot be listed.
VELMORA_API bool GetNetworkAdaptersPhysicalAddresses(StringVector& out_addresses);

/// Looks up a text in the registry. On this platform the configuration stands in for it: it is the
/// parameter of type STRING whose name is "keswardin.registry." and the name.
///
/// Failure: false, with the output as it was, without such a parameter.
VELMORA_API bool GetRegistryString(const ROConfiguration& in_config, const char* in_szName,
                                   std::string& out_strValue);

} // namespace OS

} // namespace Velmora
