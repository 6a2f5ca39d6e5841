#pragma once

#include "velmora/Export.h"
#include "velmora/memory/InAccount.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/property.h>

#include <ios>
#include <new>
#include <string>

namespace Velmora
{

/// Writes the file of one call: a first line when it is opened and a last one when it is closed,
/// with the time, whatever levels and filters say; between them the call's lines without the call
/// id, which all of them would have.
///
/// Failure: the end throws nothing; what an appender of the library's own lines throws then is
/// logged. What goes wrong is reported by log4cplus on standard error, with the system's reason,
/// once in the life of the object. Lines that cannot be written are lost; after a while the file is
/// opened again for those that come. Ownership: counted by `SharedAppenderPtr`. Thread-safety:
/// lines may come on any thread, on which they are written.
class VELMORA_API FileCallAppender : public log4cplus::FileAppender,
                                     public InAccount<"FileCallAppender">
{
  public:
    /// The logger that the first and the last line tell.
    static const std::string& s_strLoggerName;

    FileCallAppender(const log4cplus::helpers::Properties& in_properties,
                     std::ios_base::openmode in_mode);
    ~FileCallAppender() override;

    /// Destroys an object that `new` has made, without memory too: log4cplus's own destructor of
    /// appenders composes texts, and ends the process where there is no memory for them.
    static void operator delete(FileCallAppender* in_pAppender, std::destroying_delete_t) noexcept;
    /// For an object whose constructor throws.
    using InAccount<"FileCallAppender">::operator delete;

  protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override;

  private:
    void end() noexcept;
    void appendTime(const char* in_szFormat);
    void write(const log4cplus::spi::InternalLoggingEvent& in_event);
    void tellOfWriting();
};

} // namespace Velmora
