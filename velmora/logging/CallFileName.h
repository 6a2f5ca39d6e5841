#pragma once

#include "velmora/Export.h"

#include <optional>
#include <string>
#include <string_view>

namespace Velmora
{

/// The name of the file of a call, made of its id, and the id read back from such a name. A call id
/// comes from the network, so it is not trusted to be the name of a file.
///
/// An id that is a plain file name stands in the name as it is, between the prefix and the suffix
/// of all names. Any other id is encoded: one that is empty, begins with a dot, has a "/" or a
/// control byte (0 to 31, 127), or makes the name longer than a file name can be. An encoded id is
/// "%" and the id with each "%", "/" and control byte written as "%" and two hexadecimal digits in
/// upper case:
///
///     a84b4c76@192.0.2.17   a84b4c76@192.0.2.17.log
///     100%                  100%.log
///     ../x                  %..%2Fx.log
///
/// An encoded id that is still too long for one name is cut into pieces, which are the names of
/// directories inside each other and, between prefix and suffix, of the file in the last one. The
/// piece of a directory has a "%" before and behind it, 255 bytes with these where the id is long
/// enough; that of the file has one before it.
///
/// So all files lie below the directory of the calls and two ids never share one: an id that looks
/// like what another one is encoded to, such as "%..%2Fx", is encoded itself.
///
/// Prefix and suffix are the operator's: they are taken as they are. Names are read back where
/// neither has a "/".
///
/// Ownership: keeps copies of prefix and suffix.
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API CallFileName
{
  public:
    struct Name
    {
        /// Empty where the id fits into the name of the file.
        std::string strDirectory;
        std::string strFile;
    };

    CallFileName(std::string_view in_strPrefix, std::string_view in_strSuffix);

    /// The path of the call's file, relative to the directory of the calls.
    [[nodiscard]] std::string nameOf(std::string_view in_strCallId) const;

    /// The same in two parts.
    [[nodiscard]] Name partsOf(std::string_view in_strCallId) const;

    /// The id of the call that a file belongs to. The path may have any directories before the
    /// name; for an id that was cut, it needs those that are pieces. Failure: none for a name that
    /// `nameOf` does not give, with the same prefix and suffix.
    [[nodiscard]] std::optional<std::string> callIdOf(std::string_view in_strPath) const;

  private:
    [[nodiscard]] bool isPlain(std::string_view in_strCallId) const;
    [[nodiscard]] bool fits(std::string_view in_strId) const;
    [[nodiscard]] bool isNamedAsDirectory(std::string_view in_strId) const;
    [[nodiscard]] std::string withPrefixAndSuffix(std::string_view in_strId) const;
    [[nodiscard]] Name cut(std::string_view in_strEncoded) const;
    [[nodiscard]] bool isNameOf(std::string_view in_strPath, std::string_view in_strCallId) const;

    std::string m_strPrefix;
    std::string m_strSuffix;
};

} // namespace Velmora
