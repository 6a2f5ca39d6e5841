#pragma once

#include <sofia-sip/nta.h>

#include <string>

/// The methods that the gateway understands.
inline constexpr const char* s_szAllowedMethods = "INVITE, ACK, BYE, CANCEL, OPTIONS";

/// Answers an OPTIONS with what the gateway can do. Gives the status.
int replyToOptions(nta_incoming_t* in_pRequest, const std::string& in_strServer);

/// Answers a request whose method the gateway does not understand. Gives the status.
int replyNotAllowed(nta_incoming_t* in_pRequest, const std::string& in_strServer);
