// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/memory/InAccount.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/property.h>

#include <cstdint>
#include <ios>
#include <memory>
#include <new>
#include <string>

namespace Velmora
{

class DescriptorBuf;

/// Writes the file of one call. The first line is written when the file is opened, the last when it
/// is closed; both have the time, and ignore levels and filters. Between them are the lines of the
/// call, without the call id, which would be the same in all of them.
///
/// log4cplus opens the file. The stream then writes through a buffer on a descriptor of its own,
/// and the stream of the C library is closed, so opening and closing a file costs the same with any
/// number of open files. Child processes that run another program do not inherit the descriptor.
/// Without memory or a descriptor for the buffer, the stream of the C library stays in use. The
/// bytes of a line are written as they are, whatever facet for their conversion a locale has.
///
/// Ownership: counted by `SharedAppenderPtr`.
/// Thread-safety: lines may come from any thread, and are written on it.
/// Failure: destruction throws nothing; exceptions of appenders at the library's own lines are
/// caught and logged. log4cplus reports errors of the file on standard error, with the system's
/// reason, once in the life of the object. Lines that cannot be written are lost; after a while the
/// file is opened again for later lines.
class VELMORA_API FileCallAppender : public log4cplus::FileAppender,
                                     public InAccount<"FileCallAppender">
{
  public:
    /// The logger name in the first and the last line.
    static const std::string& s_strLoggerName;

    FileCallAppender(const log4cplus::helpers::Properties& in_properties,
                     std::ios_base::openmode in_mode);
    ~FileCallAppender() override;

    /// Destroys an object that was made with `new`, even without memory. log4cplus's own appender
    /// destructor composes texts, and ends the process if there is no memory for them.
    static void operator delete(FileCallAppender* in_pAppender, std::destroying_delete_t) noexcept;
    /// Used if the constructor throws.
    using InAccount<"FileCallAppender">::operator delete;

    void close() override;

    /// Counts a file that could not be opened or written, at least for a while, or whose directory
    /// could not be made. Each file counts once.
    static void countFailure() noexcept;
    /// Returns the number of such files since the process began.
    [[nodiscard]] static std::uint64_t getFailureCount() noexcept;

  protected:
    /// Opens the file through log4cplus, at the beginning and after a failed write. What a failed
    /// write left in the buffer is written to the file that was open before.
    void open(std::ios_base::openmode in_mode) override;
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override;

  private:
    /// Makes the stream, which is open, write through a buffer of its own.
    void takeBuffer() noexcept;
    /// Makes the stream write through the C library again. Returns whether all that was buffered
    /// has been written.
    bool dropBuffer() noexcept;
    /// Writes the last line and closes the file.
    void end() noexcept;
    void appendTime(const char* in_szFormat);
    void write(const log4cplus::spi::InternalLoggingEvent& in_event);
    /// Reports a failed write, with the reason in `errno`.
    void tellOfWriting();

    /// Null while the stream writes through the C library, or is not open.
    std::unique_ptr<DescriptorBuf> m_pBuffer;
};

} // namespace Velmora
