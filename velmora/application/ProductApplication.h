#pragma once

#include "velmora/Export.h"
#include "velmora/application/Application.h"

namespace Velmora
{

/// A program that is shipped as a product, with a name and a version.
///
/// Programs derive from `ProductApplicationImpl`.
///
/// Thread-safety: the main thread's, but for `getConfig`; what only reads name and version may be
/// called on any thread once they are set.
class VELMORA_API ProductApplication : public virtual Application
{
  public:
    ~ProductApplication() override;

    /// The name that is displayed: brand, edition and the product's own name.
    /// Ownership: this object's; valid until the name is set anew.
    [[nodiscard]] virtual const char* getProductName() const = 0;

    /// The first and the second number of the version, 0 where there is none.
    [[nodiscard]] virtual unsigned long getProductMajorVersion() const = 0;
    [[nodiscard]] virtual unsigned long getProductMinorVersion() const = 0;

    /// Builds the name anew, around the product's own name.
    virtual void setProductNameWithBrand(const char* in_szProductName) = 0;

    /// Sets the version, as in "2.1.7"; see `DottedRevision::initFrom`.
    /// Failure: false, and there is no version.
    virtual bool setDottedRevision(const char* in_szRevision) = 0;
};

} // namespace Velmora
