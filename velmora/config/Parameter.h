#pragma once

#include "velmora/Export.h"
#include "velmora/logging/LogLevel.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Velmora
{

class ParameterInfoDB;

/// The memory account that the strings of parameter values are charged to.
inline constexpr const char* s_szParamValueAccountName = "ParameterValue";

/// A value of one of a few types, or undefined. It is what a configuration parameter holds. A value
/// never changes its type by being read: who reads it as another type than it has gets a neutral
/// value and an error in the log.
///
/// The type of a value that is read from text follows from what the text looks like; see
/// `initFromText`.
///
/// Ownership: a string is copied on the way in and belongs to the value; it comes from
/// `NoSizeMemAllocator` under the account "ParameterValue". Copies are deep.
/// Failure: `std::bad_alloc` when there is no memory for a string; the value is as it was.
/// Thread-safety: none; a value belongs to one thread at a time or to an owner that guards it.
class VELMORA_API ParameterValue
{
  public:
    enum Type : int
    {
        UNDEF_TYPE = 0,
        STRING_TYPE = 1,
        INT_TYPE = 2,
        LONG_TYPE = 3,
        BOOL_TYPE = 4,
        FLOAT_TYPE = 5
    };

    union Payload
    {
        char* szString;
        int iInt;
        long lLong;
        bool bBool;
        float fFloat;
    };

    /// An undefined value.
    ParameterValue() = default;
    ParameterValue(const ParameterValue& in_value);
    /// Takes over what the other value holds and leaves it undefined.
    ParameterValue(ParameterValue&& in_value) noexcept;
    ~ParameterValue() { releaseString(); }

    ParameterValue& operator=(const ParameterValue& in_value);
    ParameterValue& operator=(ParameterValue&& in_value) noexcept;

    /// Copies the text, which may be part of this value's own string. A null text makes the empty
    /// string.
    ParameterValue& operator=(const char* in_szString);
    ParameterValue& operator=(int in_iValue);
    ParameterValue& operator=(long in_lValue);
    ParameterValue& operator=(bool in_bValue);
    ParameterValue& operator=(float in_fValue);
    /// Narrows to a float: there is no value of type double.
    ParameterValue& operator=(double in_dValue);

    /// What the value holds, for a value of exactly this type.
    /// Ownership: the string stays the value's.
    /// Failure: a value of another type gives null, 0, false or 0.0, and logs an error and a failed
    /// assertion on "keswardin.infra.Parameter".
    operator const char*() const;
    operator int() const;
    operator long() const;
    operator bool() const;
    operator float() const;

    [[nodiscard]] Type getType() const { return m_type; }
    [[nodiscard]] bool defined() const { return m_type != UNDEF_TYPE; }

    /// Reads the value from text. With the target `UNDEF_TYPE` the text decides the type, and the
    /// value is always defined afterwards:
    ///
    /// - decimal digits with a sign or without that fit 32 bits, signed or unsigned: INT;
    /// - "0x" and hexadecimal digits, "0" and octal digits, "0" itself: INT, with the same limit;
    /// - what else the stream extraction of a float takes as a whole: FLOAT;
    /// - "true" and "false" without regard to case: BOOL;
    /// - anything else, all texts with an inner blank among it: STRING.
    ///
    /// Any other target limits the result to that type and leaves the value undefined when the text
    /// does not fit. A decimal integer also fits FLOAT, and any text fits STRING, with an
    /// exception: a hexadecimal or octal number, "0" among them, fits INT only and is undefined for
    /// FLOAT and STRING. No text fits LONG.
    ///
    /// With `in_bTrim`, whitespace (that of the classic locale) at both ends is no part of the
    /// text. The text may be part of this value's own string.
    ///
    /// Failure: a null text fails an assertion and leaves the value as it is.
    void initFromText(const char* in_szText, Type in_target, bool in_bTrim);

    /// Whether the value counts as true: a string that is not empty ("0" is true), a number that is
    /// not 0 (a float that is not a number is true), a bool that is true. An undefined value is
    /// false.
    /// Failure: a value of no type fails an assertion and is false.
    [[nodiscard]] bool isPerlTrue() const;

    /// The name of a type, such as "INT".
    /// Failure: `LONG_TYPE` and what is no type fail an assertion and give the empty text.
    [[nodiscard]] static const char* getTypeAsString(Type in_type);

    /// The type named by "string", "int", "long", "bool" or "float" in any case; `UNDEF_TYPE` for
    /// any other text and for null.
    [[nodiscard]] static Type parseTypeString(const char* in_szType);

    /// Writes type and value, as in "type=INT value=42" or "type=UNDEF".
    /// Failure: `LONG_TYPE` and what is no type fail an assertion and write nothing.
    std::ostream& dump(std::ostream& out_stream) const;

    // The rest is the representation, for code that fills a value in steps. The payload's field
    // that belongs to `m_type` is the valid one.

    /// Makes the payload a copy of `in_pBegin` up to `in_pEnd`, up to the terminator for a null
    /// end, or of the empty text for a null begin. The length is taken as 32 bits. The caller has
    /// released any string before and sets `m_type`.
    void initUnionFromString(const char* in_pBegin, const char* in_pEnd);

    /// Gives the payload's string back to the allocator. The caller knows that there is one and
    /// sets `m_type`.
    void deallocateString();

    Type m_type = UNDEF_TYPE;
    Payload m_payload{.lLong = 0};

  private:
    void copy(const ParameterValue& in_value);
    void releaseString()
    {
        if (m_type == STRING_TYPE)
            deallocateString();
    }
};

static_assert(sizeof(ParameterValue::Payload) == 8, "a payload is copied as one word of 64 bits");

/// Writes the bare value: "UNDEF", the string without quotes, the number, or "true" or "false". A
/// number is written as it can be read, in decimal and without regard to the stream's locale; a
/// float with the stream's precision.
/// Failure: a value of no type fails an assertion and writes nothing.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const ParameterValue& in_value);

/// Reads one token between blanks as `initFromText` with the target `UNDEF_TYPE`; leaves the value
/// undefined when there is none.
VELMORA_API std::istream& operator>>(std::istream& in_stream, ParameterValue& out_value);

/// Whether both have the same type and payload. A float that is not a number differs from itself.
/// Failure: two values of type UNDEF, LONG or no type fail an assertion and count as different.
[[nodiscard]] VELMORA_API bool operator==(const ParameterValue& in_left,
                                          const ParameterValue& in_right);

/// Values in order, as in the text "1 2.5 true x".
///
/// Thread-safety: as `ParameterValue`.
class VELMORA_API ParameterValueVector : public std::vector<ParameterValue>
{
  public:
    using std::vector<ParameterValue>::vector;

    /// Takes a string apart at its blanks and gives each token the type that it looks like. An
    /// undefined value gives no element; a value of any other type gives one, a copy of it.
    void initFrom(const ParameterValue& in_value);
};

/// Replaces the content by the values in the rest of the stream, and leaves the stream in a good
/// state.
/// Failure: a stream that fails for another reason than its end fails an assertion, and throws
/// where its owner wants that (`std::ios::exceptions`).
VELMORA_API std::istream& operator>>(std::istream& in_stream, ParameterValueVector& out_values);

/// What became of a text that a `Parameter` was to be read from.
enum ParameterInitResult : int
{
    /// There is no "=" in the line, or no value came of it.
    INIT_UNDEFINED = 0,
    /// The name is not a known one; the value has the type that it looks like.
    INIT_UNKNOWN_PARAMETER = 1,
    /// The text does not fit the required type; the value has the type that it looks like.
    INIT_WRONG_TYPE = 2,
    /// The value has the required type, or no type was required.
    INIT_OK = 3
};

/// A name with a value, as in the line "name=value".
///
/// Thread-safety: as `ParameterValue`; the static operations may be called on any thread.
class VELMORA_API Parameter
{
  public:
    [[nodiscard]] const std::string& getName() const { return m_name; }
    [[nodiscard]] const ParameterValue& getValue() const { return m_value; }

    /// Reads the name: what stands before the first "=", without the blanks around it. It may be
    /// empty. `inout_szText` is left behind the "=".
    /// Failure: false for a null text, and for a text without "=", of which `inout_szText` is then
    /// the first character that is not blank.
    [[nodiscard]] bool initNameFromText(const char*& inout_szText);

    /// Reads the value, of the given type or, with `UNDEF_TYPE`, of the type that it looks like.
    /// Failure: a text that does not fit the type is read as what it looks like. A text that gives
    /// no value logs a warning.
    ParameterInitResult initValueFromText(const char* in_szText,
                                          ParameterValue::Type in_bTargetType);

    /// Reads a line of name, "=" and value.
    ParameterInitResult initFromText(const char* in_szLine, ParameterValue::Type in_bTargetType);

    /// Reads a line of name, "=" and a value of the type that the table of known parameters tells
    /// for the name. A value of an unknown name has the type that it looks like.
    ParameterInitResult initFromText(const char* in_szLine, const ParameterInfoDB& in_paramInfoDB);

    /// Writes both, as in "name=answer type=INT value=42".
    std::ostream& dump(std::ostream& out_stream) const;

    /// Logs, as an error, that a parameter without which the caller cannot go on is missing.
    static void logUndefinedParameter(const char* in_szParamName, ParameterValue::Type in_type);

    /// Logs which value of a parameter the caller uses.
    static void logParameterUsage(const char* in_szParamName, const ParameterValue& in_value,
                                  LogLevel in_logLevel);

  private:
    std::string m_name;
    ParameterValue m_value;
};

/// Writes "name=value" with the bare value.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const Parameter& in_parameter);

} // namespace Velmora
