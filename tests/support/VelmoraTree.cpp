#include "tests/support/VelmoraTree.h"

#include <filesystem>
#include <fstream>

namespace Velmora::Test
{

namespace fs = std::filesystem;

VelmoraTree::VelmoraTree()
{
    const fs::path root = m_directory.path();
    fs::create_directories(root / "lib");
    fs::create_directories(root / "data/Python-2.5");
    fs::create_directories(root / "Python-2.5");
    fs::create_directory_symlink("/usr/lib/python3.11", root / "data/Python-2.5/Lib");
    fs::create_directory_symlink("/usr/lib/python3.11/lib-dynload", root / "Python-2.5/Lib");
    for (const fs::directory_entry& entry :
         fs::directory_iterator("/usr/lib/python3/dist-packages"))
        fs::create_symlink(entry.path(), root / "lib" / entry.path().filename());
}

void VelmoraTree::addModule(const std::string& in_strFile, const std::string& in_strText) const
{
    std::ofstream(m_directory.path() / "lib" / in_strFile) << in_strText;
}

void VelmoraTree::linkPackage(const std::string& in_strDirectory) const
{
    fs::create_directory_symlink(in_strDirectory, m_directory.path() / "lib/velmora");
}

} // namespace Velmora::Test
