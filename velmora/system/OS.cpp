// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/OS.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/Configuration.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/ClassicText.h"
#include "velmora/system/ShellProcess.h"
#include "velmora/system/SigChldGuard.h"
#include "velmora/system/StringVector.h"
#include "velmora/system/TextFormat.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(OS)

namespace Velmora
{

namespace
{

class Socket
{
  public:
    Socket() : m_iDescriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~Socket()
    {
        if (m_iDescriptor != -1)
            close(m_iDescriptor);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    [[nodiscard]] int get() const { return m_iDescriptor; }

  private:
    int m_iDescriptor;
};

constexpr std::size_t s_uiMaxNumAdapters = 20;
using Adapters = std::array<ifreq, s_uiMaxNumAdapters>;
static_assert(sizeof(Adapters) == 800);

/// Gets the adapters from the kernel. Sets the number of entries that it filled.
bool listAdapters(int in_iSocket, Adapters& out_adapters, std::size_t& out_uiCount)
{
    ifconf list{};
    list.ifc_len = sizeof(Adapters);
    list.ifc_req = out_adapters.data();
    const int iorc = ioctl(in_iSocket, SIOCGIFCONF, &list);
    // Logged before the assertion, which may end the process.
    if (iorc == -1)
        VELMORA_FILE_LOG_ERROR("cannot list the network adapters: " << std::strerror(errno));
    VELMORA_FILE_ASSERT(iorc != -1);
    if (iorc == -1)
        return false;
    // The kernel does not report how many more there are.
    if (list.ifc_len == sizeof(Adapters))
        VELMORA_FILE_LOG_WARN("Probably not all network devices will be tested for MAC address");
    out_uiCount = static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq);
    return true;
}

void formatAddress(const sockaddr& in_address, std::string& out_strText)
{
    std::array<unsigned char, 6> bytes{};
    std::memcpy(bytes.data(), in_address.sa_data, bytes.size());
    format(out_strText, "%02X-%02X-%02X-%02X-%02X-%02X", bytes[0], bytes[1], bytes[2], bytes[3],
           bytes[4], bytes[5]);
}

void addAddressOf(int in_iSocket, ifreq& in_adapter, StringVector& out_addresses)
{
    // A copy, because each answer of the kernel overwrites the entry behind the name.
    const std::string strName(in_adapter.ifr_name, strnlen(in_adapter.ifr_name, IFNAMSIZ));
    if (ioctl(in_iSocket, SIOCGIFFLAGS, &in_adapter) == -1)
    {
        const int iError = errno;
        VELMORA_FILE_LOG_WARN("Could not get flags of network adapter " << strName);
        VELMORA_FILE_LOG_WARN("cannot read the flags of " << strName << ": "
                                                          << std::strerror(iError));
        return;
    }
    if ((in_adapter.ifr_flags & IFF_LOOPBACK) != 0)
    {
        VELMORA_FILE_LOG_DEBUG("Skipping loopback adapter " << strName);
        return;
    }
    if (ioctl(in_iSocket, SIOCGIFHWADDR, &in_adapter) == -1)
    {
        const int iError = errno;
        VELMORA_FILE_LOG_DEBUG("Could not get MAC address of network adapter " << strName);
        VELMORA_FILE_LOG_DEBUG("cannot read the MAC address of " << strName << ": "
                                                                 << std::strerror(iError));
        return;
    }
    std::string strAddress;
    formatAddress(in_adapter.ifr_hwaddr, strAddress);
    VELMORA_FILE_LOG_DEBUG("Found network adapter " << strName
                                                    << " with MAC address: " << strAddress);
    out_addresses.push_back(strAddress);
}

/// Returns false if there is no exit status.
bool waitForEnd(pid_t in_pid, const std::string& in_strCommand, int& out_iStatus)
{
    for (;;)
    {
        VELMORA_FILE_LOG_DEBUG("waiting on pid " << in_pid << " for cmd: " << in_strCommand);
        const pid_t res = waitpid(in_pid, &out_iStatus, 0);
        // Logging may change `errno`.
        const int iError = errno;
        VELMORA_FILE_LOG_DEBUG("done waiting, res=" << res << " for cmd: " << in_strCommand);
        if (res != -1)
            return true;
        if (iError == EINTR)
            continue;
        VELMORA_FILE_LOG_DEBUG("cannot wait for pid " << in_pid << " for cmd: " << in_strCommand
                                                      << ": " << std::strerror(iError));
        return false;
    }
}

int runInShell(const std::string& in_strCommand)
{
    // Constructed before the child: SIGCHLD must not be ignored when the child ends.
    const SigChldGuard guard;
    const pid_t pid = startShell(in_strCommand.c_str());
    if (pid == -1)
    {
        const int iError = errno;
        VELMORA_FILE_LOG_ERROR("Fork failed for command " << in_strCommand);
        VELMORA_FILE_LOG_ERROR("cannot start a process for " << in_strCommand << ": "
                                                             << std::strerror(iError));
        return -1;
    }
    int iStatus = 0;
    if (!waitForEnd(pid, in_strCommand, iStatus))
        return -1;
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
}

} // namespace

bool OS::isPathRelative(const char* in_szPath) { return in_szPath != nullptr && *in_szPath != '/'; }

bool OS::stripFileName(const char* in_szPath, std::string& out_strDirectory)
{
    const std::string_view path = in_szPath;
    const std::size_t uiSlash = path.rfind('/');
    out_strDirectory = uiSlash == std::string_view::npos ? "" : path.substr(0, uiSlash);
    return true;
}

bool OS::stripPath(const char* in_szPath, std::string& out_strFile)
{
    const std::string_view path = in_szPath;
    // Without a slash this adds 1 to the largest value, which gives 0.
    out_strFile = path.substr(path.rfind('/') + 1);
    return true;
}

bool OS::stripPathAndExtension(const char* in_szPath, std::string& out_strName)
{
    stripPath(in_szPath, out_strName);
    if (const std::size_t uiDot = out_strName.rfind('.'); uiDot != std::string::npos)
        out_strName.erase(uiDot);
    return true;
}

bool OS::getFileBaseName(const char* in_szPath, std::string& out_strName)
{
    return stripPathAndExtension(in_szPath, out_strName);
}

bool OS::getDiskUsage(const char*, DiskUsage& out_usage)
{
    out_usage = {};
    VELMORA_FILE_ASSERT_TEXT(false, "Not implemented : OS::getDiskUsage");
    return false;
}

bool OS::getCanonicalPath(const char*, std::string&)
{
    VELMORA_FILE_ASSERT_TEXT(false, "0");
    return false;
}

int OS::vsnprintf(char* out_szBuffer, unsigned long in_uiSize, const char* in_szFormat,
                  std::va_list in_args)
{
    const int iLength = std::vsnprintf(out_szBuffer, in_uiSize, in_szFormat, in_args);
    if (iLength != -1)
        return iLength;
    constexpr unsigned long uiLargest = std::numeric_limits<int>::max();
    // Any other int would be less than `in_uiSize`, and so read as the length of a text that fits.
    if (in_uiSize > uiLargest)
        return -1;
    return static_cast<int>(std::min(in_uiSize * 2, uiLargest));
}

pid_t OS::gettid() { return static_cast<pid_t>(syscall(SYS_gettid)); }

bool OS::isspace(char in_character)
{
    return std::isspace(static_cast<unsigned char>(in_character)) != 0;
}

const char* OS::typeIdName(const char* in_szTypeIdName)
{
    VELMORA_FILE_ASSERT_TEXT(in_szTypeIdName != nullptr, "in_szTypeIdName != 0");
    if (in_szTypeIdName == nullptr)
        return "";
    while (ClassicText::isDigit(*in_szTypeIdName))
        ++in_szTypeIdName;
    return in_szTypeIdName;
}

int OS::executeCommand(std::string& in_strCommand)
{
    const int iResult = runInShell(in_strCommand);
    VELMORA_FILE_LOG_DEBUG("velmora_system returned " << iResult << " for cmd: " << in_strCommand);
    return iResult;
}

bool OS::GetNetworkAdaptersPhysicalAddresses(StringVector& out_addresses)
{
    VELMORA_FILE_TRACE_SCOPE(OS::GetNetworkAdaptersPhysicalAddresses);
    out_addresses.clear();
    const Socket owner;
    const int sock = owner.get();
    if (sock == -1)
        VELMORA_FILE_LOG_ERROR("cannot open a socket: " << std::strerror(errno));
    VELMORA_FILE_ASSERT(sock != -1);
    Adapters adapters{};
    std::size_t uiCount = 0;
    if (sock == -1 || !listAdapters(sock, adapters, uiCount))
        return false;
    VELMORA_FILE_LOG_DEBUG("Found " << uiCount << " adapters, checking MAC addresses");
    for (std::size_t i = 0; i < uiCount; ++i)
        addAddressOf(sock, adapters[i], out_addresses);
    return true;
}

bool OS::GetRegistryString(const ROConfiguration& in_config, const char* in_szName,
                           std::string& out_strValue)
{
    VELMORA_FILE_TRACE_SCOPE(OS::GetRegistryString);
    const std::string strKey = std::string("keswardin.registry.") + in_szName;
    ParameterValue value;
    in_config.getParameter(strKey.c_str(), value);
    if (value.getType() != ParameterValue::STRING_TYPE)
    {
        VELMORA_FILE_LOG_DEBUG("Cannot find string value \""
                               << in_szName << "\" in the Config nor the registry");
        return false;
    }
    Parameter::logParameterUsage(strKey.c_str(), value, DEBUG_LOG_LEVEL);
    out_strValue = static_cast<const char*>(value);
    VELMORA_FILE_LOG_DEBUG("Found value \"" << out_strValue << "\" for value name \"" << in_szName
                                            << "\" in the Config");
    return true;
}

} // namespace Velmora
