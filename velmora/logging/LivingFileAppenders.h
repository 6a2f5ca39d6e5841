// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <log4cplus/appender.h>

#include <cstdint>
#include <string>

namespace Velmora
{

/// The appenders in the process that write to files, those of other copies of the library included.
///
/// Thread-safety: all functions may be called from any thread, except `forgetInChild`.
class LivingFileAppenders
{
  public:
    LivingFileAppenders() = delete;

    /// One of these appenders.
    class Member
    {
      public:
        virtual ~Member() = default;
        Member(const Member&) = delete;
        Member& operator=(const Member&) = delete;

        /// Returns the appender, or null if it is being made or destroyed.
        [[nodiscard]] virtual log4cplus::SharedAppenderPtr share() const = 0;
        /// Opens the path again. Returns why that failed; an empty text if it worked.
        [[nodiscard]] virtual std::string reopen() = 0;
        virtual void forgetInChild() noexcept = 0;
        [[nodiscard]] virtual std::uint64_t getLineCount() const noexcept = 0;
        [[nodiscard]] virtual std::uint64_t getLossCount() const noexcept = 0;

      protected:
        Member() = default;
    };

    /// Failure: throws `std::bad_alloc`.
    static void add(Member& in_member);
    /// Waits until no other thread uses the object.
    static void remove(Member& in_member) noexcept;

    /// Lets each appender open its path again. Logs an ERROR for each that cannot. Returns whether
    /// all could. Holds no lock of the list while files are opened.
    static bool reopenAll();

    /// Return the number of lines that all of them have written, or lost, those that are destroyed
    /// included.
    static std::uint64_t getLineCount();
    static std::uint64_t getLossCount();

    /// Called in the child of a fork. Lets each appender forget what its parent will write: what is
    /// buffered, and the report of lost lines.
    static void forgetInChild() noexcept;
};

} // namespace Velmora
