// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Application.h"

namespace Velmora
{

/// The interface of a program that is shipped as a product, with a name and a version. Programs
/// derive from `ProductApplicationImpl`.
///
/// Thread-safety: for the main thread only, except `getConfig`. The functions that read the name
/// and the version may be called on any thread once both are set.
class VELMORA_API ProductApplication : public virtual Application
{
  public:
    ~ProductApplication() override;

    /// Returns the displayed name: brand, edition and the product's own name.
    /// Ownership: the text belongs to this object and is valid until the name is set again.
    [[nodiscard]] virtual const char* getProductName() const = 0;

    /// Return the first and the second number of the version, or 0 if the version has none.
    [[nodiscard]] virtual unsigned long getProductMajorVersion() const = 0;
    [[nodiscard]] virtual unsigned long getProductMinorVersion() const = 0;

    /// Sets the displayed name, which is built from the product's own name.
    virtual void setProductNameWithBrand(const char* in_szProductName) = 0;

    /// Sets the version from a text such as "2.1.7"; see `DottedRevision::initFrom`.
    /// Failure: returns false if the text is not a version. There is no version then.
    virtual bool setDottedRevision(const char* in_szRevision) = 0;
};

} // namespace Velmora
