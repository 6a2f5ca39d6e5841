// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

namespace Velmora::Test
{

TemporaryDirectory::TemporaryDirectory()
{
    std::string strPath = (std::filesystem::temp_directory_path() / "velmora-test-XXXXXX").string();
    if (mkdtemp(strPath.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), strPath);
    m_path = strPath;
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TemporaryDirectory::file(const std::string& in_strName) const
{
    return (m_path / in_strName).string();
}

std::string TemporaryDirectory::read(const std::string& in_strName) const
{
    std::ostringstream text;
    text << std::ifstream(file(in_strName), std::ios::binary).rdbuf();
    return text.str();
}

} // namespace Velmora::Test
