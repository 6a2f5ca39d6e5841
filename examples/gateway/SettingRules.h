// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "BadSetting.h"

#include "velmora/config/Configuration.h"

#include <vector>

namespace GatewayExample
{

/// A rule that a setting breaks.
struct BrokenRule
{
    /// The name of the rule.
    const char* szRule;
    /// Whether the gateway cannot work with the setting. It starts with any other.
    bool bFatal;
    BadSetting setting;
};

/// What is known about the settings of a gateway beyond their types and bounds. Each rule has a
/// name:
///
/// | Rule | A setting breaks it that |
/// |---|---|
/// | setting | is missing, of another type, or not above 0 |
/// | sip-address | is not an address like udp:10.0.0.1:5060, or has a port outside 1..65535 |
/// | rtp-address | is not an IP address, or has brackets |
/// | name | is the name of a machine |
/// | not-local | is not an address of this machine |
/// | address-twice | occurs twice |
/// | address-family | leaves SIP and RTP without a common version of IP |
/// | port-range | is no range of ports from 1 to 65535, or has no port that RTP can use |
/// | odd-port | begins or ends with a port that RTP cannot use |
/// | sip-port | contains a port of SIP |
/// | too-few-ports | has fewer ports than the calls that are taken |
/// | codec | names an encoding that the gateway does not know |
/// | no-audio | leaves no encoding for audio |
/// | time-outs | contradicts another time |
/// | threshold | contradicts another threshold, or is never reached |
/// | descriptors | needs more descriptors than the process may have |
namespace SettingRules
{

/// Returns all rules that the configuration breaks, in the order of the table. Opens no socket and
/// writes nothing.
[[nodiscard]] std::vector<BrokenRule> check(const Velmora::ROConfiguration& in_config);

} // namespace SettingRules

} // namespace GatewayExample
