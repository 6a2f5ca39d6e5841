// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/TemporaryDirectory.h"

#include "tests/support/Files.h"

#include <cerrno>
#include <cstdlib>
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
    return readFile(file(in_strName));
}

std::string TemporaryDirectory::write(const std::string& in_strName,
                                      const std::string& in_strText) const
{
    const std::filesystem::path path = m_path / in_strName;
    std::filesystem::create_directories(path.parent_path());
    writeFile(path, in_strText);
    return path.string();
}

} // namespace Velmora::Test
