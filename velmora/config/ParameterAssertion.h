// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Assertion.h"

/// Asserts as VELMORA_FILE_ASSERT does, in the sources of values and of lists of values. The
/// message names the source `Parameter`, which stands for all of them, and the line in the source
/// that asserts.
#define VELMORA_PARAMETER_ASSERT(condition) VELMORA_PARAMETER_ASSERT_TEXT(condition, #condition)

/// Does the same, with another text for the condition.
#define VELMORA_PARAMETER_ASSERT_TEXT(condition, text)                                  \
    ((condition) ? static_cast<void>(0)                                                 \
                 : ::Velmora::Assertion::assert_i(false, text, ::liveFileScopeLogger(), \
                                                  "velmora/config/Parameter.cpp", __LINE__))
