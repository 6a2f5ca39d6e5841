#pragma once

#include "velmora/application/OutputStreamable.h"

#include <exception>
#include <string>

namespace Velmora
{

/// The root of what the library throws as an object with a text form. An exception object also
/// serves, unthrown, to format a log line.
class VELMORA_API Exception : public virtual OutputStreamable
{
  public:
    Exception() = default;
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    ~Exception() override;
};

/// An exception whose text form is a message. Handlers of `std::exception` catch it too.
class VELMORA_API ExceptionWithMsg : public virtual Exception, public virtual std::exception
{
  public:
    /// Copies the message, which must not be null.
    explicit ExceptionWithMsg(const char* in_szMessage);
    ExceptionWithMsg(const ExceptionWithMsg&) = default;
    ExceptionWithMsg& operator=(const ExceptionWithMsg&) = default;
    ~ExceptionWithMsg() override;

    std::ostream& write(std::ostream& out_stream) const override;

    /// The characters of the message.
    /// Ownership: this object's; valid for as long as it lives.
    [[nodiscard]] const char* what() const noexcept override;

  private:
    std::string m_message;
};

} // namespace Velmora
