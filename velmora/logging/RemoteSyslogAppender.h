#pragma once

#include "velmora/Export.h"
#include "velmora/logging/SyslogHosts.h"

#include <log4cplus/appender.h>
#include <log4cplus/spi/factory.h>
#include <log4cplus/tstring.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>

namespace Velmora
{

/// Sends lines to a syslog server as UDP datagrams, without the local syslog daemon. A
/// configuration of log4cplus names it "velmora::RemoteSyslogAppender"; beside what each appender
/// reads, it reads these properties:
///
/// - "Hostname", the server; must be there. It is looked up once: a later change of its address is
///   not seen.
/// - "Port", an integer above 0; 514 without it. Its low 16 bits count.
/// - "Facility", an integer above 0, the facility's number already times 8; 8 without it, which is
///   the user facility.
///
/// A datagram is "<", the facility plus the severity in decimal, ">" and what the layout gives:
/// time, host and tag are for the layout to supply, and nothing ends the text. An empty text is not
/// sent. A longer message than 900 bytes goes in several datagrams of at most 900 bytes, each with
/// the header. Such a line loses its last bytes, as many as the header has: others stand in their
/// place. Only where less than that is left for the last datagram, it comes whole.
///
/// Sending is best effort: it never waits, and nobody learns that a datagram was lost. An appender
/// that failed to open stays where it is configured and drops its lines.
///
/// Thread-safety: as log4cplus's appenders: lines may be logged and the appender closed on any
/// thread. `open` may be called while others log, but by one thread at a time.
/// Failure: what is wrong with the properties, the name or the socket goes to the error handler;
/// log4cplus's own writes the first of its texts to standard error. Why a name is not found or a
/// socket not to be had follows there. A line whose level has no
/// severity fails the assertion of `Fallible` and is sent with the severity 0.
class VELMORA_API RemoteSyslogAppender : public log4cplus::Appender
{
  public:
    /// By which a configuration names the appender.
    static constexpr const char* s_szTypeName = "velmora::RemoteSyslogAppender";

    /// Makes the appenders that a configuration names.
    class VELMORA_API Factory : public log4cplus::spi::AppenderFactory
    {
      public:
        /// Gives "velmora::RemoteSyslogAppender".
        [[nodiscard]] const log4cplus::tstring& getTypeName() const override;

        log4cplus::SharedAppenderPtr
        createObject(const log4cplus::helpers::Properties& in_properties) override;

      private:
        /// Of the object, as log4cplus outlives the statics of this library.
        const log4cplus::tstring m_strTypeName = s_szTypeName;
    };

    /// Makes the appender and opens it.
    explicit RemoteSyslogAppender(const log4cplus::helpers::Properties& in_properties);
    ~RemoteSyslogAppender() override;
    RemoteSyslogAppender(const RemoteSyslogAppender&) = delete;
    RemoteSyslogAppender& operator=(const RemoteSyslogAppender&) = delete;

    /// Looks up the server's name and makes the socket, in place of one that is open. The lines of
    /// other threads wait for the latter only.
    bool open();

    /// Closes the socket. Lines are refused until it is opened again.
    void close() override;

    /// Lets log4cplus know the factory. The library does so when it is loaded; further calls change
    /// nothing.
    static void registerFactory();

  protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override;

  private:
    bool configure(const log4cplus::helpers::Properties& in_properties);
    bool lookUpHost();
    bool openSocket();
    void closeSocket();
    void formatAndSend(std::ostringstream& out_stream, std::string_view in_strHeader,
                       const log4cplus::spi::InternalLoggingEvent& in_event) const;
    void sendInPieces(std::string in_strMessage, std::size_t in_uiHeader) const;
    void send(std::string_view in_strDatagram) const;

    // The appender's own lock guards all that changes; host name, port and facility do not.
    int m_iSocket = -1;
    std::string m_strHostName;
    SyslogHosts::Address m_hostAddress = 0;
    bool m_bFormatting = false; ///< a line is in the stream, or a layout has thrown
    std::ostringstream m_stream;
    int m_iPort = 514;
    int m_iFacility = 8;
};

} // namespace Velmora
