// SPDX-License-Identifier: BSD-2-Clause

#include "bench/ComparedState.h"

namespace Velmora::Bench
{

namespace
{

class ComparedStateImpl : public ComparedState
{
  public:
    void setState(int in_iState) override
    {
        if (in_iState != m_iState) [[unlikely]]
            m_iState = in_iState;
    }

  private:
    int m_iState = 0;
};

} // namespace

ComparedState::~ComparedState() = default;

ComparedState& comparedState()
{
    static ComparedStateImpl s_state;
    return s_state;
}

} // namespace Velmora::Bench
