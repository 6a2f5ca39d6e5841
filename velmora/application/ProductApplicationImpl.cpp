// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ProductApplicationImpl.h"

#include <boost/program_options.hpp>

#include <cctype>
#include <cstddef>
#include <sstream>
#include <vector>

namespace Velmora
{

namespace po = boost::program_options;

namespace
{

constexpr std::string_view s_strBrand = "keswardin";
/// Empty for a build without editions.
constexpr std::string_view s_strEdition = VELMORA_EDITION;

/// Returns the word with a capital first letter.
std::string capitalized(std::string_view in_strWord)
{
    std::string strWord(in_strWord);
    if (!strWord.empty())
        strWord[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(strWord[0])));
    return strWord;
}

unsigned long componentOf(const DottedRevision& in_revision, std::size_t in_uiIndex)
{
    const std::vector<unsigned long>& components = in_revision.getComponents();
    return in_uiIndex < components.size() ? components[in_uiIndex] : 0;
}

} // namespace

ProductApplication::~ProductApplication() = default;

ProductApplicationImpl::ProductApplicationImpl(const char* in_szProductName)
    : ApplicationImpl(in_szProductName)
{
    // Qualified, as a virtual call in a constructor does not reach an override.
    ProductApplicationImpl::setProductNameWithBrand(in_szProductName);
    // clang-format off
    getAllowedOptions().add_options()
        ("product-name", po::bool_switch(&m_bProductName), "output the product name")
        ("version", po::bool_switch(&m_bVersion), "output the product version");
    // clang-format on
}

ProductApplicationImpl::~ProductApplicationImpl() = default;

const char* ProductApplicationImpl::getProductName() const { return m_strProductName.c_str(); }

unsigned long ProductApplicationImpl::getProductMajorVersion() const
{
    return componentOf(m_revision, 0);
}

unsigned long ProductApplicationImpl::getProductMinorVersion() const
{
    return componentOf(m_revision, 1);
}

void ProductApplicationImpl::setProductNameWithBrand(const char* in_szProductName)
{
    m_strProductName = makeProductName(s_strBrand, s_strEdition, in_szProductName);
}

bool ProductApplicationImpl::setDottedRevision(const char* in_szRevision)
{
    return m_revision.initFrom(in_szRevision);
}

void ProductApplicationImpl::outputVersion() const
{
    if (!m_bVersion)
        return;
    std::ostringstream text;
    text << "Product version : ";
    m_revision.write(text);
    getAppLogger().forcedLog(INFO_LOG_LEVEL, text.str(), nullptr, -1);
}

void ProductApplicationImpl::outputProductName() const
{
    if (m_bProductName)
        getAppLogger().forcedLog(INFO_LOG_LEVEL, "Product name : " + m_strProductName, nullptr, -1);
}

std::string ProductApplicationImpl::makeProductName(std::string_view in_strBrand,
                                                    std::string_view in_strEdition,
                                                    const char* in_szProductName)
{
    std::string strName = capitalized(in_strBrand) + ' ';
    if (!in_strEdition.empty())
        strName += capitalized(in_strEdition) + ' ';
    return strName + (in_szProductName != nullptr ? in_szProductName : "???Application???");
}

} // namespace Velmora
