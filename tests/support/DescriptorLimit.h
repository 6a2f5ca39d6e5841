#pragma once

#include <sys/resource.h>

namespace Velmora::Test
{

/// A limit on this process's descriptors, until the object goes. What the process does under a
/// tight one must have been done before: a sanitizer takes descriptors when it meets a class for
/// the first time.
class DescriptorLimit
{
  public:
    /// Lets the process have descriptors below a number; what is open stays open.
    explicit DescriptorLimit(rlim_t in_uiLimit);

    /// Lets the process open none.
    static DescriptorLimit noneLeft();

    ~DescriptorLimit();
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

    /// Whether the limit is in force: only a privileged process may have more descriptors than its
    /// hard limit.
    [[nodiscard]] bool isSet() const { return m_bSet; }

  private:
    rlimit m_former{};
    bool m_bSet;
};

} // namespace Velmora::Test
