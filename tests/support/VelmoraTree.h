#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// An installation that `VELMORA` can lead to, in a temporary directory, as `scripts/python-tree`
/// makes it: with Debian's standard library and packages of Python, our package as it was built,
/// and modules of a test's own.
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

    /// Sets `VELMORA` for this process.
    void use() const;

    /// Writes a module into `lib`, such as "velmora/infra/Model.py".
    void addModule(const std::string& in_strFile, const std::string& in_strText) const;

  private:
    TemporaryDirectory m_directory;
};

} // namespace Velmora::Test
