#include "velmora/system/InputFile.h"

#include <cerrno>

namespace Velmora
{

InputFile::InputFile(const std::string& in_strPath) : std::istream(nullptr)
{
    rdbuf(&m_buffer);
    if (m_buffer.open(in_strPath, std::ios_base::in) != nullptr)
        return;
    m_buffer.m_iError = errno;
    setstate(std::ios_base::failbit);
}

InputFile::Buffer::int_type InputFile::Buffer::underflow()
try
{
    return std::filebuf::underflow();
}
catch (...)
{
    // The stream drops the exception and keeps its badbit.
    m_iError = errno;
    throw;
}

} // namespace Velmora
