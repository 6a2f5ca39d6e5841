// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <ios>
#include <locale>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>

namespace Velmora
{

/// Writes a value or an identifier, which must not be truncated, to one of the library's own
/// streams. A stream without memory keeps the part that fitted and only sets its state.
///
/// Failure: throws `std::bad_alloc` if there is no memory for the whole text. Any other cause of a
/// bad stream, such as a null text, truncates the text as usual.
template <class Write>
void writeWhole(std::ostream& inout_stream, Write in_write)
{
    inout_stream.exceptions(std::ios_base::badbit);
    try
    {
        in_write(inout_stream);
    }
    catch (const std::ios_base::failure&) // NOLINT(bugprone-empty-catch): memory did not run out.
    {
    }
    inout_stream.clear();
    inout_stream.exceptions(std::ios_base::goodbit);
}

/// Returns the text that `in_write` writes to a stream with this locale.
/// Failure: as `writeWhole`.
template <class Write>
std::string wholeText(const std::locale& in_locale, Write in_write)
{
    std::ostringstream stream;
    stream.imbue(in_locale);
    writeWhole(stream, in_write);
    return std::move(stream).str();
}

/// Does the same with the locale of the process.
template <class Write>
std::string wholeText(Write in_write)
{
    return wholeText(std::locale(), in_write);
}

} // namespace Velmora
