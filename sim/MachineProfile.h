#pragma once

// A simulated machine described in JSON, installed into a Platform, and written back with the
// values its endpoints and DSP modules hold afterwards, so that successive runs see one machine.
//
//   {
//     "format": 1,
//     "wrapper": {"<FX slot>": "<version text>"},      values under HKLM\SOFTWARE\Sonavel\Wrapper
//     "failures": [{"method": "IPropertyStore::SetValue", "hresult": "0x80070005", "times": -1}],
//     "endpoints": [{
//       "id": "{0.0.0.00000000}.{...}", "guid": "{...}",
//       "description": "Speakers", "interface": "Realtek(R) Audio",   friendly name "Speakers (Realtek(R) Audio)"
//       "friendlyName": "...", "interfacePath": "\\?\SWD#...",     as given, instead of the built ones
//       "deviceFormat": {"sampleRate": 48000, "channels": 2, "bits": 32, "type": "float"},
//       "formFactor": 1, "flow": "render", "state": "active", "default": true, "removed": false,
//       "store": "readwrite",                          readwrite | readonly | none
//       "fx": {"13": "{class id}"},                    FX store values by pid (VT_LPWSTR)
//       "values": [{"key": "{fmtid},pid", "type": "i4", "value": -6}],
//                                                      types: i4, ui4, i4vector, blob (hex), text
//       "dsp": {
//         "apiVersion": 1,
//         "modules": [{"id": "{...}", "type": 2, "name": "krelo", "version": "1.4.2",
//                      "enabled": true, "instantiated": true,
//                      "parameters": [{"index": 21, "words": [3]}]}],   or "bytes": "hex"
//         "amd": [{"id": "{...}", "instantiated": true, "parameters": [...]}],
//         "failures": [{"request": "ParameterSet", "hresult": "0x8007001F", "times": -1}],
//         "mutation": {"seed": 7, "percent": 25}     a misbehaving driver (sim/Dsp.h, DspMutation)
//       }
//     }]
//   }
//
// Only "id" and "guid" are required of an endpoint; everything else has the default shown in
// sim/Endpoint.h, sim/EndpointProperties.h and sim/Dsp.h. A profile that does not read is refused whole with a ProfileError naming the
// field, e.g. "endpoints[1].dsp.modules[0].id: not a GUID", and nothing is installed.

#include <windows.h>

#include <mmdeviceapi.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

class Platform;
class RegistryOverride;

// The UTF-8 of a wide text, as profiles and their errors hold names.
std::string Utf8(const std::wstring& text);

class ProfileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class MachineProfile {
public:
    // Throws ProfileError for text that is not a profile of this format.
    explicit MachineProfile(std::string_view json);
    ~MachineProfile();
    MachineProfile(const MachineProfile&) = delete;
    MachineProfile& operator=(const MachineProfile&) = delete;

    // Adds the endpoints, their DSPs, stored values and failures to the platform, and the
    // wrapper values to the registry (which redirects HKEY_LOCAL_MACHINE). Once per profile.
    // Throws ProfileError for what only the platform refuses (a duplicate id, an unknown method).
    void Install(Platform& platform, RegistryOverride& registry);

    // The profile with each endpoint's stored values and each module's parameters and enable
    // state as they are now. Call after Install.
    std::string Save() const;

private:
    struct Machine;
    std::unique_ptr<Machine> machine_;
};

// A profile written from what a program read of a machine (pexctl capture), field by field with
// the writers Save uses, so that it reads back as that machine. Endpoint-level calls go to the
// endpoint added last.
class ProfileWriter {
public:
    struct EndpointFields {
        std::wstring id;
        std::wstring guid;
        std::wstring description, interfaceName;  // left out when empty
        ULONG formFactor = 1;
        EDataFlow flow = eRender;
        DWORD state = DEVICE_STATE_ACTIVE;
        bool isDefault = false;
        std::string store = "readwrite";  // readwrite | readonly | none
    };
    struct ModuleFields {
        GUID id{};
        UINT32 type = 2;
        std::string name, version;
        bool enabled = true;
        bool amd = false;  // a row of the AMD property set: id and parameters only
        std::vector<std::pair<UINT32, std::vector<BYTE>>> parameters;  // by DSP parameter index
    };

    ProfileWriter();
    ~ProfileWriter();
    ProfileWriter(const ProfileWriter&) = delete;
    ProfileWriter& operator=(const ProfileWriter&) = delete;

    void Wrapper(const std::wstring& name, const std::wstring& value);
    void AddEndpoint(const EndpointFields& fields);
    // A stored value; false (nothing written) for a type profiles do not keep.
    bool Value(const PROPERTYKEY& key, const PROPVARIANT& value);
    void Fx(DWORD pid, const std::wstring& classId);
    void Module(const ModuleFields& module);  // to the endpoint's DSP, made on the first one
    // The profile text; it reads back with MachineProfile.
    std::string Text() const;

private:
    struct Document;
    std::unique_ptr<Document> document_;
};

}  // namespace sim
