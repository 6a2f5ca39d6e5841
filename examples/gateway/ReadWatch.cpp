// SPDX-License-Identifier: BSD-2-Clause

#include "ReadWatch.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace GatewayExample
{

ReadWatch::ReadWatch(const EventLoop& in_loop, int in_iDescriptor, std::function<void()> in_action)
    // Not by `su_wait_create`, which makes two system calls for the flags of the descriptor.
    : m_pRoot(in_loop.root()), m_wait{.fd = in_iDescriptor, .events = SU_WAIT_IN, .revents = 0},
      m_action(std::move(in_action)),
      m_iIndex(su_root_register(m_pRoot, &m_wait,
                                StackCallback<&ReadWatch::handleReadable>::descriptor,
                                StackContext(this), 0))
{
    if (m_iIndex < 0)
        throw std::system_error(errno, std::generic_category(), "a descriptor cannot be watched");
}

void ReadWatch::pause() { su_root_eventmask(m_pRoot, m_iIndex, m_wait.fd, 0); }

void ReadWatch::resume() { su_root_eventmask(m_pRoot, m_iIndex, m_wait.fd, SU_WAIT_IN); }

ReadWatch::~ReadWatch() { su_root_deregister(m_pRoot, m_iIndex); }

} // namespace GatewayExample
