// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/FileAppender.h"

#include "velmora/application/ProcessGate.h"
#include "velmora/logging/AppenderChain.h"
#include "velmora/logging/CheckedProperties.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LivingFileAppenders.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/LogFileWriter.h"
#include "velmora/logging/LogText.h"
#include "velmora/logging/PerThreadPool.h"
#include "velmora/logging/TextLayout.h"

#include <log4cplus/spi/factory.h>
#include <log4cplus/thread/syncprims.h>

#include <chrono>
#include <type_traits>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(FileAppender)

namespace Velmora
{

namespace
{

using Factory = log4cplus::spi::FactoryTempl<FileAppender, log4cplus::spi::AppenderFactory>;

LogFileWriter::Options optionsOf(const log4cplus::helpers::Properties& in_properties)
{
    const CheckedProperties properties(
        *KnownType::find(KnownType::appenders(), FileAppender::s_szTypeName), in_properties);
    LogFileWriter::Options options;
    options.location.strPath = in_properties.getProperty("File");
    properties.readMode("Mode", options.location.uiMode);
    properties.read("CreateDirs", options.location.bMakesDirectories);
    properties.read("Append", options.bAppends);
    properties.read("ImmediateFlush", options.bImmediate);
    std::uint64_t uiBufferSize = options.uiBufferSize;
    properties.readSize("BufferSize", uiBufferSize);
    options.uiBufferSize = uiBufferSize;
    properties.readLevel("FlushLevel", options.flushLevel);
    unsigned int uiInterval = static_cast<unsigned int>(options.flushInterval.count());
    properties.read("FlushInterval", uiInterval);
    options.flushInterval = std::chrono::seconds(uiInterval);
    properties.readSize("MaxFileSize", options.uiMaxFileSize);
    if (properties.isGiven("Schedule"))
        options.schedule = RollSchedule::parse(in_properties.getProperty("Schedule"));
    // The defaults of log4cplus.
    options.uiMaxBackupIndex = options.schedule ? 10 : 1;
    properties.read("MaxBackupIndex", options.uiMaxBackupIndex);
    options.bCompresses = properties.isGiven("Compress");
    properties.warnOfOthers();
    return options;
}

} // namespace

class FileAppender::Living final : public LivingFileAppenders::Member
{
  public:
    explicit Living(FileAppender& inout_appender) : m_appender(inout_appender)
    {
        LivingFileAppenders::add(*this);
    }
    ~Living() override { LivingFileAppenders::remove(*this); }
    Living(const Living&) = delete;
    Living& operator=(const Living&) = delete;

    [[nodiscard]] log4cplus::SharedAppenderPtr share() const override
    {
        return Log4cplusAccess::shareIfReferenced<log4cplus::Appender>(m_appender);
    }

    std::string reopen() override
    {
        LogFileWriter& writer = *m_appender.m_pWriter;
        if (withLock([this] { return m_appender.closed; }))
            return {};
        LogFile::Opened opened = writer.openAgain();
        if (!opened.descriptor.isOpen())
            return opened.strProblem + withLock([&writer] { return writer.meaningOfProblem(); });
        // The former file, or one that was opened for an appender that is closed by now, is closed
        // without the lock.
        withLock(
            [&]
            {
                if (!m_appender.closed)
                    opened.descriptor = writer.use(std::move(opened.descriptor));
            });
        return {};
    }

    void forgetInChild() noexcept override { m_appender.m_pWriter->forgetInChild(); }
    [[nodiscard]] std::uint64_t getLineCount() const noexcept override
    {
        return m_appender.m_pWriter->getLineCount();
    }
    [[nodiscard]] std::uint64_t getLossCount() const noexcept override
    {
        return m_appender.m_pWriter->getLossCount();
    }

  private:
    /// Calls a function with the lock of the appender, for which it waits as a line does.
    template <class Function>
    std::invoke_result_t<Function> withLock(Function in_function)
    {
        const ProcessGate::Pass pass;
        const AppenderChain::MutexOfLine mutex(m_appender.access_mutex);
        return in_function();
    }

    FileAppender& m_appender;
};

void FileAppender::registerFactory()
{
    // log4cplus deletes a factory whose name is already registered.
    log4cplus::spi::getAppenderFactoryRegistry().put(std::make_unique<Factory>(s_szTypeName));
}

FileAppender::FileAppender(const log4cplus::helpers::Properties& in_properties)
    : log4cplus::Appender(in_properties),
      m_pWriter(std::make_unique<LogFileWriter>(
          optionsOf(in_properties),
          [this](std::string& inout_strText, const std::string& in_strMessage)
          { formatReport(inout_strText, in_strMessage); })),
      m_pLiving(std::make_unique<Living>(*this)),
      m_pTextLayout(dynamic_cast<TextLayout*>(layout.get()))
{
}

FileAppender::~FileAppender()
{
    // First, so that the lines that it writes are counted.
    FileAppender::close();
    m_pLiving.reset();
    destructorImpl();
}

void FileAppender::close()
{
    const log4cplus::thread::MutexGuard guard(access_mutex);
    m_pWriter->close();
    closed = true;
}

void FileAppender::setLayout(std::unique_ptr<log4cplus::Layout> in_pLayout)
{
    const log4cplus::thread::MutexGuard guard(access_mutex);
    m_pTextLayout = dynamic_cast<TextLayout*>(in_pLayout.get());
    log4cplus::Appender::setLayout(std::move(in_pLayout));
}

void FileAppender::flush()
{
    const ProcessGate::Pass pass;
    const AppenderChain::MutexOfLine mutex(access_mutex);
    m_pWriter->flush();
}

const std::string& FileAppender::getPath() const { return m_pWriter->getPath(); }

std::uint64_t FileAppender::getLineCount() const { return m_pWriter->getLineCount(); }

std::uint64_t FileAppender::getLossCount() const { return m_pWriter->getLossCount(); }

void FileAppender::append(const log4cplus::spi::InternalLoggingEvent& in_event)
{
    // The layout of a program may log to the same appender while it formats a line.
    std::string strInner;
    const bool bInner = std::exchange(m_bFormatting, true);
    std::string& strLine = bInner ? strInner : m_strLine;
    try
    {
        strLine.clear();
        format(strLine, in_event);
        m_bFormatting = bInner;
        m_pWriter->write(strLine, in_event.getLogLevel(), in_event.getTimestamp());
    }
    catch (...)
    {
        m_bFormatting = bInner;
        m_pWriter->lose(in_event.getTimestamp());
        throw;
    }
    if (strLine.capacity() > PerThreadPool<LogText>::s_uiLongestText) [[unlikely]]
        std::string().swap(strLine);
}

void FileAppender::format(std::string& inout_strText,
                          const log4cplus::spi::InternalLoggingEvent& in_event)
{
    if (m_pTextLayout != nullptr) [[likely]]
        return m_pTextLayout->append(inout_strText, in_event);
    LogText text;
    layout->formatAndAppend(text.stream(), in_event);
    inout_strText += text.text();
}

void FileAppender::formatReport(std::string& inout_strText, const std::string& in_strMessage)
{
    format(inout_strText,
           log4cplus::spi::InternalLoggingEvent(fileScopeLoggerName(), log4cplus::ERROR_LOG_LEVEL,
                                                in_strMessage, __FILE__, __LINE__));
}

} // namespace Velmora
