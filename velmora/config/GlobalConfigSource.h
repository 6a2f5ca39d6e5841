// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/config/GlobalConfigSeam.h"
#include "velmora/system/InputFile.h"

#include <optional>
#include <sstream>
#include <string>

namespace Velmora
{

class LoadProblems;

/// A URL of a configuration, split into its parts, with the content of the file or the answer of
/// the database. The constructor reads both, before the lock of the configuration is taken. Its
/// lines are those of "keswardin.infra.GlobalConfig".
///
/// Thread-safety: none.
class GlobalConfigSource
{
  public:
    /// Keeps the line that it logs if the URL cannot be read.
    GlobalConfigSource(const std::string& in_strUrl, LoadProblems& inout_problems);

    /// The parts of a URL.
    struct Address
    {
        explicit Address(const std::string& in_strUrl);

        /// Returns whether the URL has a scheme other than "file".
        [[nodiscard]] bool isDatabase() const;

        /// Empty for a plain path.
        std::string strScheme;
        std::string strPath;
    };

    const std::string strUrl;
    /// The URL without secrets, for the log.
    const std::string strShown;
    const Address address;
    /// The answer of the database; empty without a database source or an answer.
    std::optional<GlobalConfigSeam::DatabaseSource::Parameters> parameters;
    /// The content of the file, for any source that is not a database.
    std::optional<InputFile> file;
    /// The answer of the database as a text, once it is read.
    std::istringstream text;

  private:
    void fetch(LoadProblems& inout_problems);
};

} // namespace Velmora
