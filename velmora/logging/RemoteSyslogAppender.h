// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/logging/SyslogHosts.h"

#include <log4cplus/appender.h>
#include <log4cplus/spi/factory.h>
#include <log4cplus/tstring.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Velmora
{

/// Sends lines to a syslog server as UDP datagrams, without the local syslog daemon. A
/// configuration of log4cplus names it "velmora::RemoteSyslogAppender". In addition to the
/// properties of all appenders, it reads these:
///
/// - "Hostname": the server; required. Its name is looked up once; a later change of its address is
///   not seen.
/// - "Port": an integer above 0; 514 by default. Only its low 16 bits are used.
/// - "Facility": an integer above 0, the number of the facility times 8; 8 by default, which is the
///   user facility.
///
/// A datagram is "<", the facility plus the severity in decimal, ">" and the output of the layout.
/// The layout supplies time, host and tag; nothing ends the text. An empty text is not sent. A
/// message longer than 900 bytes is sent in several datagrams of at most 900 bytes, each with the
/// header. Such a line loses as many bytes at its end as the header has; other bytes replace them.
/// Only a message that exceeds 900 bytes by less than the length of the header arrives complete.
///
/// Sending is best effort: it never waits, and a lost datagram is not reported. An appender that
/// failed to open stays configured, and drops its lines.
///
/// Thread-safety: as for log4cplus's appenders: lines may be logged and the appender closed on any
/// thread. `open` may be called while other threads log, but by one thread at a time.
/// Failure: errors in the properties, the look-up of the name or the socket go to the error
/// handler; log4cplus's own handler writes only the first of its texts to standard error. The
/// reason why a name is not found or a socket cannot be opened is written there too. A line whose
/// level has no severity fails the assertion of `Fallible`, and is sent with the severity 0.
class VELMORA_API RemoteSyslogAppender : public log4cplus::Appender
{
  public:
    /// The name of the appender in a configuration.
    static constexpr const char* s_szTypeName = SyslogHosts::s_szAppenderClass;

    /// Makes the appenders that a configuration names.
    class VELMORA_API Factory : public log4cplus::spi::AppenderFactory
    {
      public:
        /// Returns "velmora::RemoteSyslogAppender".
        [[nodiscard]] const log4cplus::tstring& getTypeName() const override;

        log4cplus::SharedAppenderPtr
        createObject(const log4cplus::helpers::Properties& in_properties) override;

      private:
        /// A member, because log4cplus outlives the statics of this library.
        const log4cplus::tstring m_strTypeName = s_szTypeName;
    };

    /// Makes the appender and opens it.
    explicit RemoteSyslogAppender(const log4cplus::helpers::Properties& in_properties);
    ~RemoteSyslogAppender() override;
    RemoteSyslogAppender(const RemoteSyslogAppender&) = delete;
    RemoteSyslogAppender& operator=(const RemoteSyslogAppender&) = delete;

    /// Looks up the server's name and opens the socket, in place of one that is open. Lines of
    /// other threads wait only while the socket is replaced.
    /// Failure: returns false, after reporting the error.
    bool open();

    /// Closes the socket. Lines are refused until it is opened again.
    void close() override;

    /// Registers the factory with log4cplus. The library does so when it is loaded; further calls
    /// change nothing.
    static void registerFactory();

  protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override;

  private:
    bool configure(const log4cplus::helpers::Properties& in_properties);
    bool lookUpHost();
    bool openSocket();
    void closeSocket();
    void sendInPieces(std::string in_strMessage, std::size_t in_uiHeader) const;
    void send(std::string_view in_strDatagram) const;

    // The appender's own lock, `access_mutex`, guards all members that change. Host name, port and
    // facility do not.
    int m_iSocket = -1;
    std::string m_strHostName;
    SyslogHosts::Address m_hostAddress = 0;
    int m_iPort = 514;
    int m_iFacility = 8;
};

} // namespace Velmora
