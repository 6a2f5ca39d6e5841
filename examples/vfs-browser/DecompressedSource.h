// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "LibarchiveReader.h"

/// The decompressed bytes of a source.
class DecompressedSource : public ByteSource
{
  public:
    explicit DecompressedSource(ByteSource& inout_source);

    [[nodiscard]] std::string_view next() override;

  private:
    void open();

    LibarchiveReader m_reader;
    bool m_bOpen = false;
    bool m_bMember = false;
};
