// SPDX-License-Identifier: BSD-2-Clause

#include "ByteSource.h"

#include "BadArchive.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace
{

std::string reasonOf(int in_iError)
{
    return std::error_code(in_iError, std::generic_category()).message();
}

} // namespace

ByteSource::~ByteSource() = default;

FileSource::FileSource(const std::string& in_strPath)
    : m_iDescriptor(open(in_strPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)),
      m_strBlock(s_uiBlock, '\0')
{
    struct stat status = {};
    if (m_iDescriptor != -1 && fstat(m_iDescriptor, &status) == 0 && S_ISREG(status.st_mode))
        return;
    const std::string strReason = m_iDescriptor == -1 ? reasonOf(errno) : "it is no regular file";
    if (m_iDescriptor != -1)
        close(m_iDescriptor);
    throw BadArchive("cannot read the archive " + BadArchive::printable(in_strPath) + ": " +
                     strReason);
}

FileSource::~FileSource() { close(m_iDescriptor); }

std::string_view FileSource::next()
{
    const ssize_t iRead = read(m_iDescriptor, m_strBlock.data(), m_strBlock.size());
    if (iRead < 0)
        throw BadArchive(reasonOf(errno));
    return std::string_view(m_strBlock).substr(0, static_cast<std::size_t>(iRead));
}

std::string_view TextSource::next()
{
    const std::string_view block = m_text.substr(0, s_uiBlock);
    m_text.remove_prefix(block.size());
    return block;
}
