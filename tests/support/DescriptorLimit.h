// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sys/resource.h>

namespace Velmora::Test
{

/// Limits this process's descriptors for the lifetime of the object. Run the code under test once
/// before setting a tight limit: a sanitizer opens descriptors when it first meets a class.
class DescriptorLimit
{
  public:
    /// Limits descriptors to numbers below the given one. Open descriptors stay open.
    explicit DescriptorLimit(rlim_t in_uiLimit);

    /// Returns a limit under which the process can open no descriptor.
    static DescriptorLimit noneLeft();

    ~DescriptorLimit();
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

    /// Returns whether the limit is in effect: only a privileged process may exceed its hard limit.
    [[nodiscard]] bool isSet() const { return m_bSet; }

  private:
    rlimit m_former{};
    bool m_bSet;
};

} // namespace Velmora::Test
