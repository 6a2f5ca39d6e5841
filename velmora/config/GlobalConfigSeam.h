// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Velmora
{

class ParameterTrie;

/// The places by which the configuration of the process reaches parts of the library on higher
/// floors. These parts fill the places when they are made and empty them before they are destroyed.
///
/// Thread-safety: the places may be read on any thread. The code that brings the library up and
/// takes it down fills and empties them.
class VELMORA_API GlobalConfigSeam
{
  public:
    /// Supplies the parameters for URLs with a scheme other than "file". Without a database source,
    /// such a URL cannot be loaded.
    class VELMORA_API DatabaseSource
    {
      public:
        /// Names with values, in their order.
        using Parameters = std::vector<std::pair<std::string, std::string>>;

        /// Fetches the parameters that a URL names. Called with the configuration unlocked, so that
        /// the source may read parameters and no thread waits for a database.
        /// Failure: returns nothing; the source has already reported the error.
        virtual std::optional<Parameters> fetch(const std::string& in_strUrl) = 0;

      protected:
        ~DatabaseSource() = default;
    };

    /// Logs each call into a file of its own. Without it, the configuration of such files is
    /// skipped.
    class VELMORA_API CallLogging
    {
      public:
        /// Configures the log files of calls. Called with a configuration that names a directory
        /// for them, after logging as a whole has been configured from it.
        virtual bool configure(const ParameterTrie& in_trie) = 0;

      protected:
        ~CallLogging() = default;
    };

    /// Logs a WARN about what a database source fetches, for the operator. If the calling thread is
    /// inside `fetch`, the line is also kept for the log that the configuration sets up. Inside
    /// `fetchForCheck` the text is only handed to its caller.
    static void warnOfSource(const std::string& in_strText);

    /// Fetches the parameters that a URL names for a check of the configuration: the source writes
    /// no file, and warnings are added to the output.
    /// Failure: returns nothing if there is no database source, or if it has reported an error.
    static std::optional<DatabaseSource::Parameters>
    fetchForCheck(const std::string& in_strUrl, std::vector<std::string>& inout_warnings);

    /// Returns whether the calling thread is inside `fetchForCheck`.
    static bool isCheck();

    static void setDatabaseSource(DatabaseSource* in_pSource);
    static DatabaseSource* getDatabaseSource();

    static void setCallLogging(CallLogging* in_pCallLogging);
    static CallLogging* getCallLogging();
};

} // namespace Velmora
