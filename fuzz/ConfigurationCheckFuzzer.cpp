// SPDX-License-Identifier: BSD-2-Clause

// Checks a configuration file, and reads the same text into a trie as a start does. Both must have
// the same values, what makes the start fail must be an error of the check, and each problem must
// be one printable line.

#include "fuzz/LogIntoNothing.h"
#include "fuzz/Require.h"

#include "velmora/config/Configuration.h"
#include "velmora/config/ConfigurationCheck.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ParameterTrie.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

using namespace Velmora;
using Fuzz::require;

namespace
{

/// Returns the path of a file in memory that holds the text.
std::string pathOf(const std::string& in_strText)
{
    static const int s_iFile = memfd_create("configuration", MFD_CLOEXEC);
    const auto iSize = static_cast<ssize_t>(in_strText.size());
    require(ftruncate(s_iFile, 0) == 0 &&
                pwrite(s_iFile, in_strText.data(), in_strText.size(), 0) == iSize,
            "cannot be written to memory", in_strText);
    return "/proc/self/fd/" + std::to_string(s_iFile);
}

std::string valueOf(const ROConfiguration& in_config, const std::string& in_strName)
{
    ParameterValue value;
    in_config.getParameter(in_strName.c_str(), value);
    std::ostringstream text;
    text << value;
    return ParameterValue::getTypeAsString(value.getType()) + (' ' + text.str());
}

void checkValues(const ConfigurationCheck& in_check, const ParameterTrie& in_trie)
{
    std::stringstream written;
    in_trie.write(written);
    for (std::string strLine; std::getline(written, strLine);)
    {
        const std::string strName = strLine.substr(0, strLine.find('='));
        if (in_trie.parameterDefined(strName.c_str()))
            require(valueOf(in_check.configuration(), strName) == valueOf(in_trie, strName),
                    "has another value", strName);
    }
}

bool isPrintable(const std::string& in_strLine)
{
    return std::all_of(in_strLine.begin(), in_strLine.end(),
                       [](unsigned char in_c)
                       { return in_c == '\t' || (in_c >= ' ' && in_c != '\x7F'); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_pData, std::size_t in_uiSize)
{
    static const bool s_bSilent = Fuzz::logIntoNothing();
    static_cast<void>(s_bSilent);
    const std::string strText(reinterpret_cast<const char*>(in_pData), in_uiSize);
    const ConfigurationCheck check({pathOf(strText)});
    for (const ConfigurationProblem& problem : check.problems())
    {
        std::ostringstream line;
        line << problem;
        require(isPrintable(line.str()), "is reported in another form than a line", line.str());
    }

    std::istringstream stream(strText);
    std::vector<std::string> waiting;
    ParameterTrie trie;
    trie.read(stream, &ParameterInfoDB::getInstance(), '\n', true, &waiting, nullptr);
    if (stream.fail() || !waiting.empty())
        require(check.hasErrors(), "is no error of the check", strText);
    else
        checkValues(check, trie);
    return 0;
}
