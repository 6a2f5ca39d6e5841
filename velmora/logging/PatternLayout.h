// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/logging/TextLayout.h"

#include <log4cplus/helpers/property.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora
{

class MessageLimit;
struct PatternField;

/// A layout with the conversions of log4cplus's `PatternLayout`, which a configuration names
/// "velmora::PatternLayout". What comes from outside the pattern (message, identifiers, NDC, MDC,
/// the name of a thread and all other fields) is escaped as `EscapedText` describes, so that an
/// event is always one line, whatever the network has sent.
///
/// | Property | Meaning | Default |
/// |---|---|---|
/// | `ConversionPattern` | the pattern | must be given |
/// | `NDCMaxDepth` | the number of levels of the NDC that `%x` writes; 0 for all | 0 |
/// | `Escape` | whether fields are escaped | true |
/// | `MaxLength` | in bytes; a longer message is cut at a character, and "... (51808 bytes more)"
/// follows; 0 for no limit | 8192 |
///
/// With `Escape` false and `MaxLength` 0, the text is that of log4cplus's layout, except that a
/// width above 1,000,000 counts as 1,000,000 and that a date with an empty text does not throw. A
/// width counts the bytes of the escaped text; a cut leaves escaped and other characters whole.
///
/// A line allocates nothing once the texts of the lines before it were as long. Dates are formatted
/// once a second.
///
/// Ownership: belongs to an appender.
/// Thread-safety: as any layout: the lock of its appender guards it.
/// Failure: reports what is wrong with the properties to log4cplus's log. The constructor throws
/// `std::runtime_error` if there is no pattern. `append` throws `std::bad_alloc`.
class VELMORA_API PatternLayout : public TextLayout
{
  public:
    static constexpr const char* s_szTypeName = "velmora::PatternLayout";

    explicit PatternLayout(const log4cplus::helpers::Properties& in_properties);
    ~PatternLayout() override;

    void append(std::string& inout_strText,
                const log4cplus::spi::InternalLoggingEvent& in_event) override;

    /// Makes the type known to configurations.
    static void registerFactory();

  private:
    void appendField(std::string& inout_strText, PatternField& inout_field,
                     const log4cplus::spi::InternalLoggingEvent& in_event);
    void appendMessage(std::string& inout_strText, std::string_view in_message) const;
    void appendText(std::string& inout_strText, std::string_view in_text) const;
    /// Appends all of the event's MDC.
    void appendContext(std::string& inout_strText,
                       const log4cplus::spi::InternalLoggingEvent& in_event) const;
    /// Makes the end of a text, from an offset on, as wide as a field says.
    void fit(std::string& inout_strText, std::size_t in_uiBegin,
             const PatternField& in_field) const;

    bool m_bEscapes = true;
    std::unique_ptr<MessageLimit> m_pLimit;
    std::vector<PatternField> m_fields;
};

} // namespace Velmora
