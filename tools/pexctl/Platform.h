// pexctl's Windows side: the render endpoints as `list` shows them, an open
// handle, and reads and writes of one parameter on one route through the DLL.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "Values.h"

namespace pexctl {

// "0x80004005 Unspecified error" (the system's text, or the library's fallback).
std::string HResultText(HRESULT hr);

std::u16string ToU16(const wchar_t* text);
std::wstring ToWide(std::u16string_view text);

// Render endpoints in every state but "not present", in the enumerator's
// order; the default one marked. Effect versions are read for active ones.
struct EndpointList {
    HRESULT hr = S_OK;         // of the enumeration
    HRESULT defaultHr = S_OK;  // of the default-endpoint lookup (0x80070490: none)
    std::vector<Endpoint> endpoints;
};
EndpointList ListEndpoints(bool withVersions);

// An open handle, closed when it goes.
class Session {
public:
    HRESULT Open(const std::u16string& deviceId);
    ~Session();
    HRESULT Close();
    wchar_t* Handle() const { return handle_; }
    bool ReadOnlyStore() const { return readOnly_; }

private:
    wchar_t* handle_ = nullptr;
    bool readOnly_ = false;
};

// One route at a time (KELIX_ROUTE_PROPERTY_STORE or KELIX_ROUTE_DSP), the
// buffer grown to the size the library asks for.
struct ReadResult {
    HRESULT hr = S_OK;
    std::vector<std::uint8_t> bytes;
};
ReadResult Read(wchar_t* handle, const kelix::ParameterDescription& parameter, UINT32 route);

// A store write: SetPexParam, or for a scalar with a chosen type a
// PROPVARIANT of that type. `cleared` reports a value the library cleared.
HRESULT WriteStore(wchar_t* handle, const kelix::ParameterDescription& parameter, std::vector<std::uint8_t> bytes,
                   ScalarType type, bool& cleared);
// A DSP write: scalars as VT_I4, structures as their documented VT_BLOB.
HRESULT WriteDsp(wchar_t* handle, const kelix::ParameterDescription& parameter, std::vector<std::uint8_t> bytes);

// Whether the endpoint's DSP carries the module of the id's family.
bool FamilyOnDsp(wchar_t* handle, kelix::ParameterId id);

}  // namespace pexctl
