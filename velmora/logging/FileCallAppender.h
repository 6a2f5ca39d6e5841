#pragma once

#include "velmora/Export.h"
#include "velmora/memory/InAccount.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/property.h>

#include <ios>
#include <string>

namespace Velmora
{

/// Writes the file of one call: a first line when it is opened and a last one when it is closed,
/// with the time, whatever levels and filters say; between them the call's lines without the call
/// id, which all of them would have.
///
/// Failure: what goes wrong is reported by log4cplus on standard error, with the system's reason,
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

  protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override;

  private:
    void appendTime(const char* in_szFormat);
    void write(const log4cplus::spi::InternalLoggingEvent& in_event);
    void tellOfWriting();
};

} // namespace Velmora
