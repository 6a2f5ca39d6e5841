// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <dirent.h>
#include <sys/stat.h>

namespace Velmora
{

/// Reads the items of a directory on the disk.
///
/// Thread-safety: may be used by one thread at a time.
/// Failure: `isOpen` returns false, with the reason in `errno`. If the rest of the items cannot be
/// read, they end early and `error` returns the reason.
class ItemReader
{
  public:
    explicit ItemReader(const char* in_szPath);

    /// Opens a directory by its name in a parent directory, without following a link. Fails with
    /// ESTALE if it is no longer the one that `in_seen` describes.
    ItemReader(int in_iParent, const char* in_szName, const struct stat& in_seen);

    ~ItemReader();
    ItemReader(const ItemReader&) = delete;
    ItemReader& operator=(const ItemReader&) = delete;

    [[nodiscard]] bool isOpen() const { return m_pDirectory != nullptr; }
    [[nodiscard]] int descriptor() const { return dirfd(m_pDirectory); }

    /// Returns the name of the next item except "." and "..", or null at the end. The name is valid
    /// until the next call.
    [[nodiscard]] const char* next();

    /// Returns why there was no next item; 0 at the end.
    [[nodiscard]] int error() const { return m_iError; }

  private:
    DIR* m_pDirectory = nullptr;
    int m_iError = 0;
};

} // namespace Velmora
