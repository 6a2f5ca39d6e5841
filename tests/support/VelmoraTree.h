#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// An installation that `VELMORA` can lead to, in a temporary directory: `data/Python-2.5/Lib` is
/// Debian's standard library of Python, `Python-2.5/Lib` its extension modules, and `lib` holds
/// Debian's packages, with space for those of a test and for our own.
class VelmoraTree
{
  public:
    VelmoraTree();

    /// The value of `VELMORA`.
    [[nodiscard]] std::string root() const { return m_directory.path().string(); }

    /// The environment of a helper that uses it.
    [[nodiscard]] std::vector<std::pair<std::string, std::string>> environment() const
    {
        return {{"VELMORA", root()}};
    }

    /// Writes a module into `lib`, such as "Model.py".
    void addModule(const std::string& in_strFile, const std::string& in_strText) const;

    /// Makes `lib/velmora` a link to the directory of a package.
    void linkPackage(const std::string& in_strDirectory) const;

  private:
    TemporaryDirectory m_directory;
};

} // namespace Velmora::Test
