// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <iosfwd>

namespace Velmora
{

/// The memory account that the strings of parameter values are charged to.
inline constexpr const char* s_szParamValueAccountName = "ParameterValue";

/// The value of a configuration parameter: one of a few types, or undefined. Reading a value never
/// changes its type: an attempt to read it as another type yields a neutral value and logs an
/// error.
///
/// The type of a value that is read from text follows from what the text looks like; see
/// `initFromText`.
///
/// Ownership: a string is copied on the way in and belongs to the value. Its memory comes from
/// `NoSizeMemAllocator`, under the account "ParameterValue". Copies are deep.
/// Failure: throws `std::bad_alloc` if there is no memory for a string; the value is then
/// unchanged.
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

    /// Makes an undefined value.
    ParameterValue() = default;
    ParameterValue(const ParameterValue& in_value);
    /// Takes over what the other value holds and leaves it undefined.
    ParameterValue(ParameterValue&& in_value) noexcept;
    ~ParameterValue() { releaseString(); }

    ParameterValue& operator=(const ParameterValue& in_value);
    ParameterValue& operator=(ParameterValue&& in_value) noexcept;

    /// Copies the text, which may be part of this value's own string. A null text is stored as the
    /// empty string.
    ParameterValue& operator=(const char* in_szString);
    ParameterValue& operator=(int in_iValue);
    ParameterValue& operator=(long in_lValue);
    ParameterValue& operator=(bool in_bValue);
    ParameterValue& operator=(float in_fValue);
    /// Stores the value narrowed to a float, as there is no type for a double.
    ParameterValue& operator=(double in_dValue);

    /// Returns what the value holds if it has exactly this type.
    /// Ownership: the string belongs to the value.
    /// Failure: for a value of another type, returns null, 0, false or 0.0, and logs an error and a
    /// failed assertion on "keswardin.infra.Parameter".
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
    /// - decimal digits with or without a sign, if the number fits into 32 bits, signed or
    ///   unsigned: INT;
    /// - "0x" and hexadecimal digits, "0" and octal digits, or "0" alone: INT, with the same limit;
    /// - any other text that the stream extraction of a float reads as a whole: FLOAT;
    /// - "true" and "false" in any case: BOOL;
    /// - anything else, including every text with an inner blank: STRING.
    ///
    /// Any other target limits the result to that type and leaves the value undefined if the text
    /// does not fit. A decimal integer also fits FLOAT, and any text fits STRING, with one
    /// exception: a hexadecimal or octal number, including "0", fits INT only and leaves the value
    /// undefined for FLOAT and STRING. No text fits LONG.
    ///
    /// With `in_bTrim`, whitespace (that of the classic locale) at both ends is not part of the
    /// text. The text may be part of this value's own string.
    ///
    /// Failure: a null text fails an assertion and leaves the value unchanged.
    void initFromText(const char* in_szText, Type in_target, bool in_bTrim);

    /// Returns whether the value counts as true: a nonempty string ("0" is true), a number other
    /// than 0 (NaN is true), or the bool true. An undefined value is false.
    /// Failure: a value of no valid type fails an assertion and is false.
    [[nodiscard]] bool isPerlTrue() const;

    /// Returns the name of a type, such as "INT".
    /// Failure: for `LONG_TYPE` and an invalid type, fails an assertion and returns the empty text.
    [[nodiscard]] static const char* getTypeAsString(Type in_type);

    /// Returns the type that "string", "int", "long", "bool" or "float" names, in any case;
    /// `UNDEF_TYPE` for any other text and for null.
    [[nodiscard]] static Type parseTypeString(const char* in_szType);

    /// Writes type and value, as in "type=INT value=42" or "type=UNDEF".
    /// Failure: for `LONG_TYPE` and an invalid type, fails an assertion and writes nothing.
    std::ostream& dump(std::ostream& out_stream) const;

    // The rest is the representation, for code that fills a value in steps. Only the payload's
    // field that belongs to `m_type` is valid.

    /// Sets the payload to a copy of the text from `in_pBegin` to `in_pEnd`; to the terminator if
    /// the end is null; of the empty text if the begin is null. The length is truncated to 32 bits.
    /// The caller must have released any previous string, and must set `m_type`.
    void initUnionFromString(const char* in_pBegin, const char* in_pEnd);

    /// Returns the payload's string to the allocator. The caller must know that there is a string,
    /// and must set `m_type`.
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
/// number is written in the form in which it can be read again: in decimal, regardless of the
/// stream's locale, a float with the stream's precision.
/// Failure: a value of no valid type fails an assertion and writes nothing.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream, const ParameterValue& in_value);

/// Reads one token between blanks, as `initFromText` with the target `UNDEF_TYPE` does. Leaves the
/// value undefined if there is no token.
VELMORA_API std::istream& operator>>(std::istream& in_stream, ParameterValue& out_value);

/// Returns whether both values have the same type and payload. NaN differs from itself.
/// Failure: two values of type UNDEF, LONG or no valid type fail an assertion and count as
/// different.
[[nodiscard]] VELMORA_API bool operator==(const ParameterValue& in_left,
                                          const ParameterValue& in_right);

} // namespace Velmora
