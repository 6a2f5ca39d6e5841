// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/StringVector.h"

namespace Velmora
{

StringVector::StringVector() = default;
StringVector::StringVector(std::size_t in_uiCount) : m_vector(in_uiCount) {}
StringVector::StringVector(std::size_t in_uiCount, const std::string& in_strValue)
    : m_vector(in_uiCount, in_strValue)
{
}
StringVector::StringVector(const std::string& in_strValue) : m_vector(1, in_strValue) {}
StringVector::StringVector(const StringVector& in_vector) = default;
StringVector::StringVector(StringVector&& in_vector) noexcept = default;
StringVector::~StringVector() = default;
StringVector& StringVector::operator=(const StringVector& in_vector) = default;
StringVector& StringVector::operator=(StringVector&& in_vector) noexcept = default;

void StringVector::reserve(std::size_t in_uiCount) { m_vector.reserve(in_uiCount); }
void StringVector::push_back(const std::string& in_strValue) { m_vector.push_back(in_strValue); }
void StringVector::clear() { m_vector.clear(); }

} // namespace Velmora
