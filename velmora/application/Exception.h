// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/OutputStreamable.h"

#include <exception>
#include <string>

namespace Velmora
{

/// The root of the exceptions of the library that have a text form. An exception object that is not
/// thrown is also used to format a log line.
class VELMORA_API Exception : public virtual OutputStreamable
{
  public:
    Exception() = default;
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    ~Exception() override;
};

/// An exception whose text form is a message. A handler of `std::exception` catches it, too.
class VELMORA_API ExceptionWithMsg : public virtual Exception, public virtual std::exception
{
  public:
    /// Copies the message, which must not be null.
    explicit ExceptionWithMsg(const char* in_szMessage);
    ExceptionWithMsg(const ExceptionWithMsg&) = default;
    ExceptionWithMsg& operator=(const ExceptionWithMsg&) = default;
    ~ExceptionWithMsg() override;

    std::ostream& write(std::ostream& out_stream) const override;

    /// Returns the message.
    /// Ownership: the text belongs to this object and is valid while the object lives.
    [[nodiscard]] const char* what() const noexcept override;

  private:
    std::string m_message;
};

} // namespace Velmora
