// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>

namespace Velmora
{

struct PropertyKind;

/// A property that a logging configuration can give to an appender, a layout or a filter.
struct KnownProperty
{
    std::string_view name;
    const PropertyKind* pKind;
    /// Whether the object cannot do its work without it.
    bool bRequired = false;
};

/// A class of appenders, layouts or filters and the properties that it reads: those of log4cplus
/// and of the library. log4cplus ignores all other properties without a report, and distinguishes
/// upper and lower case in their names.
///
/// `layout`, `filters` and `Appender`, the inner one of an `AsyncAppender`, begin the names of
/// properties of other objects and are not in the table.
///
/// Thread-safety: constant.
struct KnownType
{
    std::string_view name;
    /// Its own properties, and those of its base classes.
    std::array<std::span<const KnownProperty>, 3> properties{};
    /// Whether lines go through the layout.
    bool bUsesLayout = false;
    /// Whether the object reports what is wrong with its properties to log4cplus's log, and then
    /// has the defaults.
    bool bReports = false;

    /// Returns a property; null if the class has none with that name.
    [[nodiscard]] const KnownProperty* find(std::string_view in_name) const;

    /// Returns the names of all properties, with commas between them.
    [[nodiscard]] std::string namesOfProperties() const;

    static std::span<const KnownType> appenders();
    static std::span<const KnownType> layouts();
    static std::span<const KnownType> filters();

    /// Returns the class with the name; null if there is none.
    static const KnownType* find(std::span<const KnownType> in_types, std::string_view in_name);

    /// What the section of the marker "CALL_LOG_APPENDER", whose name it has, holds beside the
    /// properties of its class: those of the files of calls, each of which is a file of log4cplus.
    static const KnownType& ofCallFiles();
};

} // namespace Velmora
