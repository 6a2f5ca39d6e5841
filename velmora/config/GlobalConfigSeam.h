#pragma once

#include "velmora/Export.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Velmora
{

class ParameterTrie;

/// What the configuration of the process needs of parts of the library that stand above it. They
/// fill these places in when they come into being and empty them before they die.
///
/// Thread-safety: places may be read on any thread; they are filled and emptied by the code that
/// brings the library up and takes it down.
class VELMORA_API GlobalConfigSeam
{
  public:
    /// Where parameters come from that a URL with a scheme other than "file" names. While there is
    /// none, such a URL cannot be loaded.
    class VELMORA_API DatabaseSource
    {
      public:
        /// Names with values, in their order.
        using Parameters = std::vector<std::pair<std::string, std::string>>;

        /// Fetches the parameters that a URL names. Called with the configuration unlocked, so that
        /// the source may read parameters and nobody waits for a database.
        /// Failure: nothing; what is wrong has been reported.
        virtual std::optional<Parameters> fetch(const std::string& in_strUrl) = 0;

      protected:
        ~DatabaseSource() = default;
    };

    /// Logging into a file for each call. While there is none, its configuration is skipped.
    class VELMORA_API CallLogging
    {
      public:
        /// Called with a configuration that names a directory for such files, after logging as a
        /// whole has been configured from it.
        virtual bool configure(const ParameterTrie& in_trie) = 0;

      protected:
        ~CallLogging() = default;
    };

    static void setDatabaseSource(DatabaseSource* in_pSource);
    static DatabaseSource* getDatabaseSource();

    static void setCallLogging(CallLogging* in_pCallLogging);
    static CallLogging* getCallLogging();
};

} // namespace Velmora
