#pragma once

#include <windows.h>

#include "sim/Endpoint.h"

namespace sim {

// The store values Windows keeps for every endpoint, and that the search for
// its DSP reads: the endpoint GUID (PKEY_AudioEndpoint_GUID, as registry text),
// the form factor (PKEY_AudioEndpoint_FormFactor) and the friendly name
// (PKEY_Device_FriendlyName).
void DescribeEndpoint(Endpoint& endpoint, const wchar_t* guid, ULONG formFactor, const wchar_t* friendlyName);

}  // namespace sim
