// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/alarm/AlarmImpl.h"

#include <ostream>
#include <string>
#include <utility>

/// An alarm with a given id, which behaves like a `Base`.
template <class Base>
class ProcessAlarmOf : public Base
{
  public:
    explicit ProcessAlarmOf(std::string in_strId) : m_strId(std::move(in_strId)) {}

    std::ostream& writeAlarmId(std::ostream& out_stream) const override
    {
        return out_stream << m_strId;
    }
    std::ostream& writeDescription(std::ostream& out_stream) const override { return out_stream; }

  private:
    std::string m_strId;
};

using ProcessAlarm = ProcessAlarmOf<Velmora::AlarmImpl>;
