// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Exception.h"

#include "velmora/logging/LibraryLoggers.h"

#include <ostream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(Exception)

namespace Velmora
{

Exception::~Exception() = default;

ExceptionWithMsg::ExceptionWithMsg(const char* in_szMessage) : m_message(in_szMessage) {}

ExceptionWithMsg::~ExceptionWithMsg() = default;

std::ostream& ExceptionWithMsg::write(std::ostream& out_stream) const
{
    return out_stream << m_message;
}

const char* ExceptionWithMsg::what() const noexcept { return m_message.c_str(); }

} // namespace Velmora
