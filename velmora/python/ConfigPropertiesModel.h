#pragma once

#include "velmora/config/GlobalConfigSeam.h"

namespace Velmora::Python
{

/// The database behind configuration URLs that name no file: the Python module
/// `velmora.infra.ConfigPropertiesModel`, which comes with an installation. Its function
/// `getPropertyNameValuesForGivenSetsAndHostnames` is called with the URL and gives a list of
/// tuples of two strings: names with values.
///
/// Starts Python where it does not run yet.
///
/// Failure: a start that fails and a tuple that is none of two strings are failed assertions, with
/// the reason in a line of their own. An exception of the module is an ERROR with its traceback.
// Static, so without a destructor to run.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
class ConfigPropertiesModel final : public GlobalConfigSeam::DatabaseSource
{
  public:
    constexpr ConfigPropertiesModel() = default;
    std::optional<Parameters> fetch(const std::string& in_strUrl) override;
};

} // namespace Velmora::Python
