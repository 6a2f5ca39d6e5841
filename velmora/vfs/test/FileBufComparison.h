// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/vfs/VfsFileBuf.h"
#include "velmora/vfs/test/RandomInput.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <ios>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// Runs the same random operations on a `std::filebuf` and a `VfsFileBuf`, each on a file of its
/// own with the same content, and compares their results, their positions and, at the end, the
/// files' contents. The operations are derived from random bytes.
///
/// The following is known to differ, and is therefore not compared or not done. The tests of
/// `VfsFileBuf` cover it separately:
/// - Modes that only the standard buffer knows: `in|app`, `app`, `in|out|app`.
/// - Seeks without `binary`, except to the beginning, the end and the current position: only the
///   standard buffer does them.
/// - The position after opening with `app`: the standard buffer goes to the end, as fopen does. So
///   both are moved there first.
/// - `in_avail` in output mode, without `in`, and for encodings of more than one byte, where ours
///   has other rules. In input mode it returns the number of buffered characters, which differs: of
///   a buffer of 4,096 characters the standard buffer uses 4,095.
/// - Asking for the position while characters are pending for an encoding with a state: ours keeps
///   the state, the standard buffer returns to the initial one.
/// - Bytes that cannot be converted: the standard buffer throws where the C++ standard demands end
///   of file, and goes on throwing; near the end of the file it drops them. Ours is in error mode.
///   Both are moved to the beginning.
/// - The result of `sungetc`, except success or failure: ours returns the character, the standard
///   buffer any character at the beginning of its buffer.
/// - Moving back by one character beyond the end of the file, where there is none: the standard
///   buffer fails but moves nevertheless.
/// - Moving back after an `sgetn` of more than the buffer: the standard buffer returns an earlier
///   character. So one character is read first.
/// - Asking for the position while characters are pending for a file that is opened with `app`:
///   ours writes them and returns the end of the file.
/// - Switching between reading and writing without a seek in between, for an encoding with a state:
///   the C standard does not allow it, and the standard buffer assumes that the file is in the
///   initial state.
/// - The position between a character of such an encoding and a shift after it, which depends on
///   where a buffer begins.
/// - Taking back a character of an encoding of variable width, which depends on where a buffer
///   begins. If only one of the two could, it moves forward again.
/// - The standard buffer's behaviour after another character was put back in place of the file's:
///   it returns a wrong position, and loses the character when one more is put back, even if it
///   refuses that. So such a character is read, or dropped by a seek, at once.
/// - Another locale in the middle of a file: the standard buffer does not convert again what it has
///   read without conversion, and is unusable after that with an encoding that has a state. So the
///   locale changes only where nothing is buffered, and only at the beginning for one with a state.
/// - The size of the buffer that is set before a file is opened: always 4,096 characters for the
///   standard buffer, any size for ours.
class FileBufComparison
{
  public:
    /// Makes its files in a directory that holds nothing else.
    explicit FileBufComparison(const std::filesystem::path& in_directory);

    /// Returns the first difference, with the operations up to it; empty if there is none.
    std::string run(std::string_view in_bytes);

  private:
    /// The two buffers, and the result of an operation that threw.
    using Standard = std::filebuf;
    using Ours = VfsFileBuf<char>;
    static constexpr long s_iThrew = -2;

    enum class Encoding
    {
        NONE,
        CONSTANT,
        VARIABLE,
        STATE
    };

    /// Writes the initial content of both files: text, and bytes that are invalid in some
    /// encodings.
    void writeContent();

    void setBufferOfOurs();
    void doNext();

    // Operations

    void open();
    void close();

    template <class Get>
    void getOne(const char* in_szName, Get in_get);

    void getSome();
    void putOne();
    void putSome();
    void takeBack();

    /// Puts a character back in place of another one. It is then read, or dropped by a seek.
    void putBack();

    void seek();
    void seekBoth(long in_iOffset, std::ios_base::seekdir in_direction);
    void seekToPosition();
    void tell();
    void imbue();
    static std::locale localeOf(Encoding in_encoding);
    void askForAvailable();

    // Comparison

    /// Returns whether the position is beyond the end of the file. Only ours is asked; asking makes
    /// it write its pending characters, while the standard buffer still has its own.
    [[nodiscard]] bool isBehindEnd() const;

    [[nodiscard]] bool canGet() const { return !m_bWriting || m_encoding != Encoding::STATE; }
    [[nodiscard]] bool canPut() const { return !m_bReading || m_encoding != Encoding::STATE; }
    [[nodiscard]] bool canTell() const;
    [[nodiscard]] bool canRead() const { return (m_mode & std::ios_base::in) != 0; }
    [[nodiscard]] bool canWrite() const { return (m_mode & std::ios_base::out) != 0; }
    [[nodiscard]] bool isBinary() const { return (m_mode & std::ios_base::binary) != 0; }

    template <class Operation>
    static long result(Operation in_operation);

    template <class Operation>
    long compare(const char* in_szName, Operation in_operation);

    /// Moves both to the beginning after ours met bytes that cannot be converted.
    void recoverFromError();

    /// Moves both to the beginning.
    void recover();

    template <class Value>
    void require(const Value& in_standard, const Value& in_ours, const char* in_szWhat);

    static std::string contentOf(const std::filesystem::path& in_path);

    std::filesystem::path m_ofStandard;
    std::filesystem::path m_ofOurs;
    TSHandle<VirtualFileSystem> m_hFileSystem;
    std::array<char, 4096> m_bufferOfStandard{};
    std::vector<char> m_bufferOfOurs;

    RandomInput m_input;
    std::ostringstream m_done;
    std::string m_strDifference;

    Standard* m_pStandard = nullptr;
    Ours* m_pOurs = nullptr;
    std::ios_base::openmode m_mode{};
    Encoding m_encoding = Encoding::NONE;
    bool m_bReading = false;
    bool m_bWriting = false;
    std::vector<std::pair<std::streampos, std::streampos>> m_positions;
};

} // namespace Velmora::Test
