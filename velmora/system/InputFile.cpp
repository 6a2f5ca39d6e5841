// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/InputFile.h"

#include <cerrno>
#include <fstream>

namespace Velmora
{

namespace
{

/// A file buffer that keeps the system's error of a failed read.
class File : public std::filebuf
{
  public:
    int m_iError = 0;

  protected:
    int_type underflow() override
    try
    {
        return std::filebuf::underflow();
    }
    catch (...)
    {
        m_iError = errno;
        throw;
    }
};

} // namespace

InputFile::InputFile(const std::string& in_strPath) : std::istream(nullptr)
{
    // `m_text` is constructed after the base class.
    rdbuf(&m_text);
    File file;
    if (file.open(in_strPath, std::ios_base::in) == nullptr)
    {
        m_iError = errno;
        setstate(std::ios_base::failbit);
        return;
    }
    m_text.read(file);
    m_iError = file.m_iError;
}

} // namespace Velmora
