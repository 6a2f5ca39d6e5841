// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace Velmora
{

/// Converts call ids to the names of call files, and back. A call id comes from the network, so it
/// is not trusted as a file name.
///
/// An id that is a plain file name is used unchanged, between the prefix and the suffix that all
/// names have. Any other id is encoded: one that is empty, begins with a dot, contains a "/" or a
/// control byte (0 to 31, 127), or makes the name longer than a file name can be. An encoded id is
/// "%" followed by the id, in which each "%", "/" and control byte is written as "%" and two
/// uppercase hexadecimal digits:
///
///     a84b4c76@192.0.2.17   a84b4c76@192.0.2.17.log
///     100%                  100%.log
///     ../x                  %..%2Fx.log
///
/// An encoded id that is still too long for one name is cut into pieces. The last piece is in the
/// name of the file, between prefix and suffix; the others are the names of nested directories
/// above it. A directory's piece has a "%" at both ends, and is 255 bytes long with them if the id
/// is long enough. The file's piece begins with a "%".
///
/// So all files are below the directory of the calls, and no two ids share a file: an id that looks
/// like the encoded form of another one, such as "%..%2Fx", or that would give the file the name of
/// such a directory, is encoded itself.
///
/// A file can be kept under another name when the same id comes again: its name is then followed by
/// the time of its last change and, if that is taken, by a number:
///
///     a84b4c76@192.0.2.17   a84b4c76@192.0.2.17.log.2026-11-23T081500Z
///                           a84b4c76@192.0.2.17.log.2026-11-23T081500Z-1
///
/// An id that is too long for such a name is encoded and cut for it, even if it is not for its own
/// file. The name of no other call's file ends so: if an id would give it such an end, the dot in
/// the id is encoded as well.
///
/// Prefix and suffix come from the operator and are used as they are. A name can be converted back
/// if neither contains a "/".
///
/// Ownership: keeps copies of prefix and suffix.
/// Thread-safety: all operations may be called from any thread.
class VELMORA_API CallFileName
{
  public:
    struct Name
    {
        /// The nested directories; empty if the id fits into the name of the file.
        std::string strDirectory;
        std::string strFile;
    };

    CallFileName(std::string_view in_strPrefix, std::string_view in_strSuffix);

    /// Returns the path of the call's file, relative to the directory of the calls.
    [[nodiscard]] std::string nameOf(std::string_view in_strCallId) const;

    /// Returns the same path in two parts.
    [[nodiscard]] Name partsOf(std::string_view in_strCallId) const;

    /// Returns the path of a kept file of the call, in two parts. The time is that of the file's
    /// last change. The number is at most `s_uiMostKept`; 0 is left out.
    [[nodiscard]] Name keptPartsOf(std::string_view in_strCallId, std::time_t in_changed,
                                   unsigned int in_uiNumber) const;
    static constexpr unsigned int s_uiMostKept = 9999;

    /// Returns the id of the call that a file belongs to, which may be a kept one. The path may
    /// have any directories before the name. For an id that was cut, it must include the
    /// directories that are pieces of it. Failure: returns no value for a name that neither
    /// `nameOf` nor `keptPartsOf` returns with the same prefix and suffix.
    [[nodiscard]] std::optional<std::string> callIdOf(std::string_view in_strPath) const;

  private:
    [[nodiscard]] std::optional<std::string> callIdOfNotKept(std::string_view in_strPath) const;
    [[nodiscard]] std::string encoded(std::string_view in_strId) const;
    [[nodiscard]] std::optional<std::string> decoded(std::string_view in_strEncoded) const;
    [[nodiscard]] std::size_t dotOfKeptEnd(std::string_view in_strId) const;
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
