// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/logging/TextLayout.h"

#include <log4cplus/helpers/property.h>

#include <memory>
#include <span>
#include <string>

namespace Velmora
{

class DateFormat;
class LineBuffer;
class MessageLimit;

/// A layout that writes each event as one line with one object of JSON (RFC 8259), for programs
/// that collect logs. A configuration names it "velmora::JsonLayout".
///
///     {"time":"2026-11-23T03:00:00.042007Z","level":"INFO","logger":"keswardin.gateway.Leg",
///      "thread":"139764956037504","leg":"1","call_id":"1-25556@192.0.2.17","message":"180 Ringing
///      sent", "file":"examples/gateway/Leg.cpp","line":207}
///
/// The fields come in this order:
///
/// - `time`: in RFC 3339, UTC with microseconds.
/// - `level`, `logger`, `thread`.
/// - Each logging identifier "key=value" is a field, in the order of the identifiers. Each sign of
/// the
///   key other than a letter, a digit and "_" becomes "_". An identifier without a key, and one
///   whose key is that of another field, is a string in the list `ids` instead, whole.
/// - `message`: without the identifiers.
/// - `ndc`, a string, and `mdc`, an object of strings, if the thread has such a context.
/// - `file` and `line`, if they are known.
///
/// A text is always well-formed UTF-8: a byte that does not belong to it becomes the text "\xff".
/// The property `MaxLength` (in bytes, 8192 by default, 0 for no limit) cuts a longer message at a
/// character; "... (51808 bytes more)" follows.
///
/// A line allocates nothing once the texts of the lines before it were as long.
///
/// Ownership: belongs to an appender.
/// Thread-safety: as any layout: the lock of its appender guards it.
/// Failure: reports what is wrong with the properties to log4cplus's log. `append` throws
/// `std::bad_alloc`.
class VELMORA_API JsonLayout : public TextLayout
{
  public:
    static constexpr const char* s_szTypeName = "velmora::JsonLayout";

    explicit JsonLayout(const log4cplus::helpers::Properties& in_properties);
    ~JsonLayout() override;

    void append(std::string& inout_strText,
                const log4cplus::spi::InternalLoggingEvent& in_event) override;

    /// Makes the type known to configurations.
    static void registerFactory();

  private:
    void appendTime(const log4cplus::spi::InternalLoggingEvent& in_event);
    void appendIds(std::span<const std::string> in_ids);
    void appendMessage(const std::string& in_strMessage);

    std::unique_ptr<MessageLimit> m_pLimit;
    std::unique_ptr<DateFormat> m_pSecond;
    /// The line that is written, and texts of it; kept, so that the next line does not allocate.
    std::unique_ptr<LineBuffer> m_pLine;
    std::string m_strTime;
    std::string m_strKey;
    std::string m_strOtherKey;
    std::string m_strCut;
};

} // namespace Velmora
