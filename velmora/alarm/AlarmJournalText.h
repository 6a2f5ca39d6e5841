// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmJournalTypes.h"

#include <string>

/// The content of an `AlarmJournal` as a text.
///
/// Thread-safety: all operations may be called on any thread.
/// Failure: throw `std::bad_alloc`.
namespace Velmora::AlarmJournalText
{

const char* nameOf(AlarmJournalTypes::State in_state);

/// Returns lines for people, see `AlarmJournal::writeText`.
std::string text(const AlarmJournalTypes::Content& in_content);

/// Returns an object of JSON and the end of a line, see `AlarmJournal::writeJson`.
std::string json(const AlarmJournalTypes::Content& in_content);

} // namespace Velmora::AlarmJournalText
