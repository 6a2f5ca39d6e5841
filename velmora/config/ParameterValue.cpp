// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterValue.h"

#include "velmora/application/Assertion.h"
#include "velmora/config/NumberText.h"
#include "velmora/config/NumberWritten.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/memory/NoSizeMemAllocator.h"
#include "velmora/system/ClassicText.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <istream>
#include <new>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(Parameter)

namespace Velmora
{

namespace
{

enum CharacterClass : unsigned char
{
    BLANK_CHARACTER = 1,
    DIGIT_CHARACTER = 2
};

constexpr std::array<unsigned char, 256> classifyCharacters()
{
    std::array<unsigned char, 256> classes{};
    for (std::size_t i = 0; i < classes.size(); ++i)
    {
        const char character = static_cast<char>(i);
        if (ClassicText::isBlank(character))
            classes[i] = BLANK_CHARACTER;
        else if (ClassicText::isDigit(character))
            classes[i] = DIGIT_CHARACTER;
    }
    return classes;
}

constexpr std::array<unsigned char, 256> s_characterClasses = classifyCharacters();

constexpr unsigned char classOf(char in_character)
{
    return s_characterClasses[static_cast<unsigned char>(in_character)];
}

/// The properties that decide the type of a text, found in one pass over it.
struct ScannedText
{
    std::string_view text;
    bool bHasDigit = false;
    bool bHasInnerBlank = false;
};

ScannedText scan(const char* in_szText, bool in_bTrim)
{
    const char* const pBegin = in_bTrim ? ClassicText::skipBlanks(in_szText) : in_szText;
    const char* pFirstBlank = nullptr;
    bool bHasDigit = false;
    const char* pEnd = pBegin;
    for (; *pEnd != '\0'; ++pEnd)
    {
        const unsigned char characterClass = classOf(*pEnd);
        bHasDigit |= characterClass == DIGIT_CHARACTER;
        if (characterClass == BLANK_CHARACTER && pFirstBlank == nullptr)
            pFirstBlank = pEnd;
    }
    if (in_bTrim)
        pEnd = ClassicText::trimEnd(pBegin, pEnd);
    return {.text{pBegin, static_cast<std::size_t>(pEnd - pBegin)},
            .bHasDigit = bHasDigit,
            .bHasInnerBlank = pFirstBlank != nullptr && pFirstBlank < pEnd};
}

constexpr bool accepts(ParameterValue::Type in_target, ParameterValue::Type in_type)
{
    return in_target == ParameterValue::UNDEF_TYPE || in_target == in_type;
}

// Each initFrom function tries one form of text. It returns true if the form decides the outcome,
// even if the value stays undefined, and false if the text may have another form.

bool initFromFloat(ParameterValue& out_value, std::string_view in_text,
                   ParameterValue::Type in_target)
{
    float fRead = 0;
    if (!accepts(in_target, ParameterValue::FLOAT_TYPE) || !NumberText::readFloat(in_text, fRead))
        return false;
    out_value = fRead;
    return true;
}

bool initFromDecimal(ParameterValue& out_value, std::string_view in_text,
                     ParameterValue::Type in_target)
{
    int iRead = 0;
    if (!NumberText::readDecimal(in_text, iRead))
        return initFromFloat(out_value, in_text, in_target);
    if (accepts(in_target, ParameterValue::INT_TYPE))
        out_value = iRead;
    else if (in_target == ParameterValue::FLOAT_TYPE)
        out_value = static_cast<float>(iRead);
    else
        return false;
    return true;
}

/// Reads a text that begins with "0" as a hexadecimal or, without an "x", as an octal number.
bool initFromHexadecimalOrOctal(ParameterValue& out_value, std::string_view in_text,
                                bool in_bHexadecimal, ParameterValue::Type in_target)
{
    int iRead = 0;
    const bool bRead = in_bHexadecimal ? NumberText::readHexadecimal(in_text, iRead)
                                       : NumberText::readOctal(in_text, iRead);
    // Required: such a number is never a string or a float, even if the target asks for one.
    if (bRead && accepts(in_target, ParameterValue::INT_TYPE))
        out_value = iRead;
    return bRead;
}

bool initFromNumber(ParameterValue& out_value, std::string_view in_text,
                    ParameterValue::Type in_target)
{
    if (in_text.front() != '0')
        return initFromDecimal(out_value, in_text, in_target);
    const char second = in_text.size() > 1 ? in_text[1] : '\0';
    // A fraction such as "0.5" or "0e1" begins with "0" but is not octal.
    if (second == '.' || second == 'e' || second == 'E')
        return initFromFloat(out_value, in_text, in_target);
    return initFromHexadecimalOrOctal(out_value, in_text, second == 'x', in_target);
}

bool initFromBool(ParameterValue& out_value, std::string_view in_text,
                  ParameterValue::Type in_target)
{
    const bool bTrue = ClassicText::equalsIgnoringCase(in_text, "true");
    if (!accepts(in_target, ParameterValue::BOOL_TYPE) ||
        (!bTrue && !ClassicText::equalsIgnoringCase(in_text, "false")))
        return false;
    out_value = bTrue;
    return true;
}

} // namespace

ParameterValue::ParameterValue(const ParameterValue& in_value) { copy(in_value); }

ParameterValue::ParameterValue(ParameterValue&& in_value) noexcept
    : m_type(std::exchange(in_value.m_type, UNDEF_TYPE)), m_payload(in_value.m_payload)
{
}

ParameterValue& ParameterValue::operator=(const ParameterValue& in_value)
{
    // Copies first: if there is no memory for the copy, this value stays unchanged.
    if (this != &in_value)
        *this = ParameterValue(in_value);
    return *this;
}

ParameterValue& ParameterValue::operator=(ParameterValue&& in_value) noexcept
{
    if (this == &in_value)
        return *this;
    releaseString();
    m_type = std::exchange(in_value.m_type, UNDEF_TYPE);
    m_payload = in_value.m_payload;
    return *this;
}

ParameterValue& ParameterValue::operator=(const char* in_szString)
{
    // The text may be part of the old string, so that is released last.
    ParameterValue value;
    value.initUnionFromString(in_szString, nullptr);
    value.m_type = STRING_TYPE;
    return *this = std::move(value);
}

ParameterValue& ParameterValue::operator=(int in_iValue)
{
    releaseString();
    m_type = INT_TYPE;
    m_payload.iInt = in_iValue;
    return *this;
}

ParameterValue& ParameterValue::operator=(long in_lValue)
{
    // Unlike the other assignments, this one does not call deallocateString.
    if (m_type == STRING_TYPE)
        NoSizeMemAllocator::deallocate(m_payload.szString, s_szParamValueAccountName);
    m_type = LONG_TYPE;
    m_payload.lLong = in_lValue;
    return *this;
}

ParameterValue& ParameterValue::operator=(bool in_bValue)
{
    releaseString();
    m_type = BOOL_TYPE;
    m_payload.bBool = in_bValue;
    return *this;
}

ParameterValue& ParameterValue::operator=(float in_fValue)
{
    releaseString();
    m_type = FLOAT_TYPE;
    m_payload.fFloat = in_fValue;
    return *this;
}

ParameterValue& ParameterValue::operator=(double in_dValue)
{
    return *this = static_cast<float>(in_dValue);
}

void ParameterValue::initFromText(const char* in_szText, Type in_target, bool in_bTrim)
{
    VELMORA_FILE_ASSERT_TEXT(in_szText != nullptr, "in_szText != 0");
    if (in_szText == nullptr)
        return;

    // The text may be part of the old string, so that is released last.
    ParameterValue value;
    const ScannedText scanned = scan(in_szText, in_bTrim);
    // The scan rules most attempts out: a text with an inner blank is a string, and a text without
    // a digit is no number.
    const bool bDecided = !scanned.bHasInnerBlank &&
                          ((scanned.bHasDigit && initFromNumber(value, scanned.text, in_target)) ||
                           initFromBool(value, scanned.text, in_target));
    // UNDEF_TYPE and STRING_TYPE are the two smallest: without another form, the text is a string.
    if (!bDecided && in_target <= STRING_TYPE)
    {
        value.initUnionFromString(scanned.text.data(), scanned.text.data() + scanned.text.size());
        value.m_type = STRING_TYPE;
    }
    *this = std::move(value);
}

bool ParameterValue::isPerlTrue() const
{
    switch (m_type)
    {
    case UNDEF_TYPE:
        return false;
    case STRING_TYPE:
        return m_payload.szString[0] != '\0';
    case INT_TYPE:
        return m_payload.iInt != 0;
    case LONG_TYPE:
        return m_payload.lLong != 0;
    case BOOL_TYPE:
        return m_payload.bBool;
    case FLOAT_TYPE:
        return m_payload.fFloat < 0 || m_payload.fFloat > 0 || std::isnan(m_payload.fFloat);
    }
    VELMORA_FILE_ASSERT_TEXT(false, "0");
    return false;
}

const char* ParameterValue::getTypeAsString(Type in_type)
{
    switch (in_type)
    {
    case UNDEF_TYPE:
        return "UNDEF";
    case STRING_TYPE:
        return "STRING";
    case INT_TYPE:
        return "INT";
    case BOOL_TYPE:
        return "BOOL";
    case FLOAT_TYPE:
        return "FLOAT";
    case LONG_TYPE:
        break;
    }
    VELMORA_FILE_ASSERT_TEXT(false, "0");
    return "";
}

ParameterValue::Type ParameterValue::parseTypeString(const char* in_szType)
{
    static constexpr std::array<std::pair<std::string_view, Type>, 5> s_types{{
        {"string", STRING_TYPE},
        {"int", INT_TYPE},
        {"long", LONG_TYPE},
        {"bool", BOOL_TYPE},
        {"float", FLOAT_TYPE},
    }};
    if (in_szType == nullptr)
        return UNDEF_TYPE;
    for (const auto& [name, type] : s_types)
    {
        if (ClassicText::equalsIgnoringCase(in_szType, name))
            return type;
    }
    return UNDEF_TYPE;
}

std::ostream& ParameterValue::dump(std::ostream& out_stream) const
{
    switch (m_type)
    {
    case UNDEF_TYPE:
        return out_stream << "type=UNDEF";
    case STRING_TYPE:
        return out_stream << "type=STRING value=" << m_payload.szString;
    case INT_TYPE:
        return out_stream << "type=INT value=" << NumberWritten(m_payload.iInt);
    case BOOL_TYPE:
        return out_stream << "type=BOOL value=" << ClassicText::ofBool(m_payload.bBool);
    case FLOAT_TYPE:
        return out_stream << "type=FLOAT value=" << NumberWritten(m_payload.fFloat, out_stream);
    case LONG_TYPE:
        break;
    }
    VELMORA_FILE_ASSERT_TEXT(false, "0");
    return out_stream;
}

void ParameterValue::initUnionFromString(const char* in_pBegin, const char* in_pEnd)
{
    if (in_pBegin == nullptr)
        in_pBegin = in_pEnd = "";
    if (in_pEnd == nullptr)
        in_pEnd = in_pBegin + std::strlen(in_pBegin);
    const auto uiLength = static_cast<std::uint32_t>(in_pEnd - in_pBegin);
    auto* const szString = static_cast<char*>(
        NoSizeMemAllocator::allocate(std::size_t{uiLength} + 1, s_szParamValueAccountName));
    if (szString == nullptr) [[unlikely]]
        throw std::bad_alloc();
    std::memcpy(szString, in_pBegin, uiLength);
    szString[uiLength] = '\0';
    m_payload.szString = szString;
}

void ParameterValue::deallocateString()
{
    NoSizeMemAllocator::deallocate(m_payload.szString, s_szParamValueAccountName);
}

void ParameterValue::copy(const ParameterValue& in_value)
{
    if (in_value.m_type == STRING_TYPE)
        initUnionFromString(in_value.m_payload.szString, nullptr);
    else
        // The whole word, whichever field is valid.
        std::memcpy(&m_payload, &in_value.m_payload, sizeof m_payload);
    m_type = in_value.m_type;
}

std::ostream& operator<<(std::ostream& out_stream, const ParameterValue& in_value)
{
    switch (in_value.m_type)
    {
    case ParameterValue::UNDEF_TYPE:
        return out_stream << "UNDEF";
    case ParameterValue::STRING_TYPE:
        return out_stream << in_value.m_payload.szString;
    case ParameterValue::INT_TYPE:
        return out_stream << NumberWritten(in_value.m_payload.iInt);
    case ParameterValue::LONG_TYPE:
        return out_stream << NumberWritten(in_value.m_payload.lLong);
    case ParameterValue::BOOL_TYPE:
        return out_stream << ClassicText::ofBool(in_value.m_payload.bBool);
    case ParameterValue::FLOAT_TYPE:
        return out_stream << NumberWritten(in_value.m_payload.fFloat, out_stream);
    }
    VELMORA_FILE_ASSERT_TEXT(false, "0");
    return out_stream;
}

std::istream& operator>>(std::istream& in_stream, ParameterValue& out_value)
{
    out_value = ParameterValue();
    std::string strToken;
    if (in_stream >> strToken)
        out_value.initFromText(strToken.c_str(), ParameterValue::UNDEF_TYPE, true);
    return in_stream;
}

bool operator==(const ParameterValue& in_left, const ParameterValue& in_right)
{
    if (in_left.m_type != in_right.m_type)
        return false;
    switch (in_left.m_type)
    {
    case ParameterValue::STRING_TYPE:
        return std::strcmp(in_left.m_payload.szString, in_right.m_payload.szString) == 0;
    case ParameterValue::INT_TYPE:
        return in_left.m_payload.iInt == in_right.m_payload.iInt;
    case ParameterValue::BOOL_TYPE:
        return in_left.m_payload.bBool == in_right.m_payload.bBool;
    case ParameterValue::FLOAT_TYPE:
        return in_left.m_payload.fFloat == in_right.m_payload.fFloat;
    case ParameterValue::UNDEF_TYPE:
    case ParameterValue::LONG_TYPE:
        break;
    }
    VELMORA_FILE_ASSERT_TEXT(false, "0");
    return false;
}

} // namespace Velmora
