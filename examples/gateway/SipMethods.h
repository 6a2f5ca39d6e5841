#pragma once

#include <sofia-sip/nta.h>

#include <chrono>
#include <string>

/// The methods that the gateway understands.
inline constexpr const char* s_szAllowedMethods = "INVITE, ACK, BYE, CANCEL, OPTIONS";

/// Answers an OPTIONS with what the gateway can do. Gives the status.
int replyToOptions(nta_incoming_t* in_pRequest, const std::string& in_strServer);

/// Refuses a request for overload, and says after what time it may come again. Gives the status.
int replyOverloaded(nta_incoming_t* in_pRequest, const std::string& in_strServer,
                    std::chrono::seconds in_retryAfter);

/// Answers a request whose method the gateway does not understand. Gives the status.
int replyNotAllowed(nta_incoming_t* in_pRequest, const std::string& in_strServer);
