// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Failures of a `VfsFileBuf`: the guard that puts it into error mode.

#include "velmora/vfs/VfsFileBuf.h"

namespace Velmora
{

/// Guards an operation: puts the buffer into error mode at the end of its scope, unless `done` was
/// called. This covers failures and exceptions of the file and of a facet alike.
template <class CharT, class Traits>
class VfsFileBuf<CharT, Traits>::Attempt
{
  public:
    explicit Attempt(VfsFileBuf& inout_buffer) : m_buffer(inout_buffer) {}
    ~Attempt()
    {
        if (!m_bDone)
            m_buffer.setErrorMode();
    }
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

    bool done()
    {
        m_bDone = true;
        return true;
    }

  private:
    VfsFileBuf& m_buffer;
    bool m_bDone = false;
};

} // namespace Velmora
