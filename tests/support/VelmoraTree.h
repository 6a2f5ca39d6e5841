// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// A directory for the variable `VELMORA`, in a temporary directory, as `scripts/python-tree`
/// creates it: with Debian's standard library and packages of Python, our package from the build,
/// and modules that the test adds.
class VelmoraTree
{
  public:
    VelmoraTree();

    /// Returns the value of `VELMORA`.
    [[nodiscard]] std::string root() const { return m_directory.path().string(); }

    /// Returns the environment of a helper that uses it.
    [[nodiscard]] std::vector<std::pair<std::string, std::string>> environment() const
    {
        return {{"VELMORA", root()}};
    }

    /// Sets `VELMORA` for this process.
    void use() const;

    /// Writes a module into `lib`, such as "velmora/infra/Model.py", in place of one of that name.
    void addModule(const std::string& in_strFile, const std::string& in_strText) const;

    /// Removes a module from `lib`, if it is there.
    void removeModule(const std::string& in_strFile) const;

  private:
    TemporaryDirectory m_directory;
};

} // namespace Velmora::Test
