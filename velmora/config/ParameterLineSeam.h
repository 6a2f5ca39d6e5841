// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>

namespace Velmora
{

class ROConfiguration;

/// The place by which the table of known parameters finds out which line of a file a parameter
/// comes from. The configuration of a process, on a higher floor, fills it in at load.
///
/// Thread-safety: may be read on any thread; filled in once, while the library is loaded.
class ParameterLineSeam
{
  public:
    ParameterLineSeam() = delete;

    /// Returns the line of the log about a parameter of a configuration: the place of the line that
    /// defines it, and what to write there. Empty if the place is not known.
    using LineAbout = std::string (*)(const ROConfiguration& in_configuration,
                                      const std::string& in_strName);

    static void fill(LineAbout in_pLineAbout);
    static std::string lineAbout(const ROConfiguration& in_configuration,
                                 const std::string& in_strName);
};

} // namespace Velmora
