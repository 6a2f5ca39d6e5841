// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/ApplicationImpl.h"
#include "velmora/application/DottedRevision.h"
#include "velmora/application/ProductApplication.h"

#include <string>
#include <string_view>

namespace Velmora
{

/// The base class of a program that is shipped as a product. The constructor names the product, and
/// `run` logs what the command line asks for:
///
///     class Gateway : public Velmora::ProductApplicationImpl
///     {
///       public:
///         Gateway() : ProductApplicationImpl("Gateway") { setDottedRevision("2.1.7"); }
///         void run() override
///         {
///             outputProductName();
///             outputVersion();
///             ...
///
/// The command line has two more options, neither of which ends the program:
///
/// | Option | What it does |
/// |---|---|
/// | `--product-name` | makes `outputProductName` log the name |
/// | `--version` | makes `outputVersion` log the version |
///
/// Logs through "keswardin.infra.Application".
///
/// Thread-safety, failure: as `ProductApplication` and `ApplicationImpl`.
class VELMORA_API ProductApplicationImpl : public ProductApplication, public ApplicationImpl
{
  public:
    /// Sets the name; see `setProductNameWithBrand`. There is no version yet.
    explicit ProductApplicationImpl(const char* in_szProductName);
    ~ProductApplicationImpl() override;

    [[nodiscard]] const char* getProductName() const override;
    [[nodiscard]] unsigned long getProductMajorVersion() const override;
    [[nodiscard]] unsigned long getProductMinorVersion() const override;

    /// Sets the name to "Keswardin Tarnel Gateway" for the product Gateway. For null it ends in
    /// "???Application???". The edition, Tarnel, is a setting of the library's build.
    void setProductNameWithBrand(const char* in_szProductName) override;

    bool setDottedRevision(const char* in_szRevision) override;

    /// Log "Product version : " and the version, and "Product name : " and the name, at any level
    /// of the logger, if the command line asks for it. To be called after `initialize`.
    void outputVersion() const;
    void outputProductName() const;

  protected:
    /// Joins the words with blanks and capitalizes the first two. An empty edition leaves no blank.
    static std::string makeProductName(std::string_view in_strBrand, std::string_view in_strEdition,
                                       const char* in_szProductName);

  private:
    std::string m_strProductName;
    DottedRevision m_revision;
    bool m_bProductName = false;
    bool m_bVersion = false;
};

} // namespace Velmora
