// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/GlobalConfigSeam.h"

namespace Velmora::Python
{

/// Fetches parameters from the database behind configuration URLs that do not name a file. Asks the
/// Python module `velmora.infra.ConfigPropertiesModel`, which is part of an installation: calls its
/// function `getPropertyNameValuesForGivenSetsAndHostnames` with the URL. The function returns a
/// list of tuples of two strings, a name and a value.
///
/// Starts Python if it does not run yet.
///
/// Thread-safety: may be called on any thread.
/// Failure: returns nothing and reports why:
/// - Python cannot be started: an ERROR with the reason and a failed assertion;
/// - Python may not be entered: an ERROR;
/// - a tuple does not consist of two strings: a failed assertion and an ERROR with the reason;
/// - an exception of the module, or an element that is not a tuple: an ERROR with the traceback.
// The only object is a constexpr static, which must not have a destructor to run at exit.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
class ConfigPropertiesModel final : public GlobalConfigSeam::DatabaseSource
{
  public:
    constexpr ConfigPropertiesModel() = default;
    std::optional<Parameters> fetch(const std::string& in_strUrl) override;
};

} // namespace Velmora::Python
