#pragma once

#include <ios>
#include <locale>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>

namespace Velmora
{

/// Writes to a stream of this library's own what must not be cut short: a value, an identifier.
/// A stream that runs out of memory keeps what fitted and only sets its state.
///
/// Failure: throws `std::bad_alloc` without memory for all of it. Anything else that makes the
/// stream bad, such as a null text, cuts the text short as ever.
template <class Write>
void writeWhole(std::ostream& inout_stream, Write in_write)
{
    inout_stream.exceptions(std::ios_base::badbit);
    try
    {
        in_write(inout_stream);
    }
    catch (const std::ios_base::failure&) // NOLINT(bugprone-empty-catch): not for want of memory.
    {
    }
    inout_stream.clear();
    inout_stream.exceptions(std::ios_base::goodbit);
}

/// What is written to a stream with this locale.
/// Failure: as `writeWhole`.
template <class Write>
std::string wholeText(const std::locale& in_locale, Write in_write)
{
    std::ostringstream stream;
    stream.imbue(in_locale);
    writeWhole(stream, in_write);
    return std::move(stream).str();
}

/// The same with the locale of the process.
template <class Write>
std::string wholeText(Write in_write)
{
    return wholeText(std::locale(), in_write);
}

} // namespace Velmora
