// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/FileCallAppender.h"

#include "velmora/logging/DescriptorBuf.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/LoggingIdEvent.h"
#include "velmora/logging/PerThreadPool.h"
#include "velmora/logging/WithoutThrowing.h"

#include <log4cplus/helpers/loglog.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(CallAppender)

namespace Velmora
{

namespace
{

/// The copy of a line that goes to the file of a call, reused for each line. It is written on the
/// thread that logs it.
class EventInCall : public LoggingIdEvent
{
  public:
    using LoggingIdEvent::fillWithoutCallId;

    EventInCall* m_pNextInPool = nullptr;
};

using EventPool = PerThreadPool<EventInCall>;

/// Logs the system's reason why a file cannot be used, unless the error is 0.
void logReason(const char* in_szWhat, const std::string& in_strFile, int in_iError)
{
    if (in_iError != 0)
        log4cplus::helpers::getLogLog().error(in_szWhat + in_strFile + ": " +
                                              std::strerror(in_iError));
}

/// Reports only the first failure, with the reason in `errno`. log4cplus's own handler reports each
/// failure that follows a success.
class OncePerCallErrorHandler : public log4cplus::ErrorHandler
{
  public:
    OncePerCallErrorHandler(const std::string& in_strFile, bool in_bTold)
        : m_strFile(in_strFile), m_bTold(in_bTold)
    {
    }

    void error(const log4cplus::tstring& in_strError) override
    {
        if (m_bTold)
            return;
        m_bTold = true;
        const int iError = errno;
        FileCallAppender::countFailure();
        log4cplus::helpers::getLogLog().error(in_strError);
        logReason("cannot write ", m_strFile, iError);
    }
    void reset() override {}

  private:
    std::string m_strFile;
    bool m_bTold;
};

std::atomic<std::uint64_t> s_ulFailures;

const std::string* const s_pLoggerName = new std::string("keswardin.infra.CallLogger.Appender");

} // namespace

// Never destroyed: files may be closed as late as the end of the exit list.
const std::string& FileCallAppender::s_strLoggerName = *s_pLoggerName;

FileCallAppender::FileCallAppender(const log4cplus::helpers::Properties& in_properties,
                                   std::ios_base::openmode in_mode)
    : log4cplus::FileAppender(in_properties, in_mode)
{
    const int iError = errno;
    const bool bOpen = out.good();
    if (bOpen)
        takeBuffer();
    else
    {
        countFailure();
        logReason("cannot open ", filename, iError);
    }
    // Both steps may fail for lack of memory; the file is used even so. If an exception left this
    // constructor, log4cplus would destroy what it has made, which needs memory too.
    const auto attempt = [this](auto in_step)
    {
        withoutThrowingAbout(::liveFileScopeLogger(), "exception at the beginning of",
                             filename.c_str(), in_step);
    };
    attempt([this, bOpen]
            { setErrorHandler(std::make_unique<OncePerCallErrorHandler>(filename, !bOpen)); });
    if (bOpen)
        attempt([this] { appendTime("Call start : %c"); });
}

FileCallAppender::~FileCallAppender() { end(); }

void FileCallAppender::countFailure() noexcept { ++s_ulFailures; }

std::uint64_t FileCallAppender::getFailureCount() noexcept { return s_ulFailures; }

void FileCallAppender::operator delete(FileCallAppender* in_pAppender,
                                       std::destroying_delete_t) noexcept
{
    // The destructors of the bases are skipped; what they would release is released here.
    in_pAppender->end();
    std::destroy_at(&in_pAppender->m_pBuffer);
    Log4cplusAccess::FileAppenderMembers::destroyAllOf(*in_pAppender);
    InAccount::operator delete(in_pAppender, sizeof(FileCallAppender));
}

void FileCallAppender::takeBuffer() noexcept
{
    const int iOfStream = Log4cplusAccess::FileAppenderMembers::descriptorOf(out);
    const int iOwn = ::fcntl(iOfStream, F_DUPFD_CLOEXEC, 0);
    if (iOwn < 0)
        return;
    m_pBuffer.reset(new (std::nothrow) DescriptorBuf(iOwn));
    if (!m_pBuffer)
    {
        ::close(iOwn);
        return;
    }
    m_pBuffer->pubsetbuf(buffer.get(), static_cast<std::streamsize>(bufferSize));
    // Nothing has been written through it yet. The C library closes its newest stream quickly.
    out.close();
    out.std::ostream::rdbuf(m_pBuffer.get());
}

bool FileCallAppender::dropBuffer() noexcept
{
    if (!m_pBuffer)
        return true;
    const bool bWritten = m_pBuffer->close();
    out.std::ostream::rdbuf(out.rdbuf());
    m_pBuffer.reset();
    return bWritten;
}

void FileCallAppender::open(std::ios_base::openmode in_mode)
{
    dropBuffer();
    FileAppender::open(in_mode);
    if (out.good())
        takeBuffer();
}

void FileCallAppender::close()
{
    const log4cplus::thread::MutexGuard guard(access_mutex);
    if (!m_pBuffer)
    {
        FileAppender::close();
        return;
    }
    const std::ios_base::iostate state = out.rdstate();
    const bool bWritten = dropBuffer();
    out.clear(bWritten ? state : state | std::ios_base::badbit);
    closed = true;
}

void FileCallAppender::end() noexcept
{
    // Each step runs even if the one before it failed.
    const auto attempt = [this](auto in_step)
    {
        withoutThrowingAbout(::liveFileScopeLogger(), "exception at the end of", filename.c_str(),
                             in_step);
    };
    attempt(
        [] {
            VELMORA_FILE_LOG_DEBUG(
                "FileCallLogger : call end. Appender dtor, file about to be closed");
        });
    attempt([this] { appendTime("Call end : %c"); });
    // Not `destructorImpl`, which composes a text before it closes the file.
    attempt(
        [this]
        {
            errno = 0;
            close();
            // Closing writes what was buffered, which may fail.
            if (!out.good())
                tellOfWriting();
        });
}

void FileCallAppender::appendTime(const char* in_szFormat)
{
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    std::array<char, 256> text{};
    // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral): both formats are in this file.
    if (std::strftime(text.data(), text.size(), in_szFormat, &local) == 0)
        text[0] = '\0';
    const log4cplus::spi::InternalLoggingEvent event(s_strLoggerName, INFO_LOG_LEVEL, text.data(),
                                                     __FILE__, __LINE__);
    write(event);
}

void FileCallAppender::write(const log4cplus::spi::InternalLoggingEvent& in_event)
{
    errno = 0;
    log4cplus::FileAppender::append(in_event);
    // log4cplus notices a failed write only at the next line, and not at all if it can open the
    // file again by then.
    if (!out.good()) [[unlikely]]
        tellOfWriting();
}

void FileCallAppender::tellOfWriting()
{
    getErrorHandler()->error("Unable to write file: " + filename);
}

void FileCallAppender::append(const log4cplus::spi::InternalLoggingEvent& in_event)
{
    const auto* const pEvent = dynamic_cast<const LoggingIdEvent*>(&in_event);
    if (pEvent == nullptr)
    {
        write(in_event);
        return;
    }
    if (in_event.getMessage().size() > EventPool::s_uiLongestText) [[unlikely]]
    {
        LoggingIdEvent copy(*pEvent);
        copy.removeCallId();
        write(copy);
        return;
    }
    const EventPool::Lease copy;
    copy->fillWithoutCallId(*pEvent);
    write(*copy);
}

} // namespace Velmora
