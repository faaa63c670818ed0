#include "sim/SimulatedMachine.h"

#include <windows.h>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "sim/MachineProfile.h"
#include "sim/Platform.h"
#include "sim/RegistryOverride.h"

namespace sim {

// Destroyed in reverse: the class objects are revoked and HKEY_LOCAL_MACHINE restored before
// the platform goes.
struct SimulatedMachine::Parts {
    Platform platform;
    RegistryOverride registry;
    std::unique_ptr<MachineProfile> profile;
    std::unique_ptr<Installation> installation;
};

SimulatedMachine::SimulatedMachine() : parts_(std::make_unique<Parts>()) {}

SimulatedMachine::~SimulatedMachine() = default;

std::unique_ptr<SimulatedMachine> SimulatedMachine::FromProfile(std::string_view json) {
    std::unique_ptr<SimulatedMachine> machine(new SimulatedMachine);
    Parts& parts = *machine->parts_;
    parts.profile = std::make_unique<MachineProfile>(json);
    if (parts.registry.Result() != ERROR_SUCCESS) {
        throw std::runtime_error("HKEY_LOCAL_MACHINE could not be redirected: error " +
                                 std::to_string(parts.registry.Result()));
    }
    parts.profile->Install(parts.platform, parts.registry);
    parts.installation = std::make_unique<Installation>(parts.platform);
    if (const HRESULT hr = parts.installation->Result(); FAILED(hr)) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08lX", static_cast<unsigned long>(hr));
        throw std::runtime_error(std::string("the simulated platform could not be registered with COM: ") + code);
    }
    return machine;
}

std::unique_ptr<SimulatedMachine> SimulatedMachine::FromFile(const std::wstring& path) {
    std::ifstream in(path.c_str(), std::ios::binary);
    if (!in) throw std::runtime_error(Utf8(path) + ": cannot be read");
    std::stringstream text;
    text << in.rdbuf();
    try {
        return FromProfile(text.str());
    } catch (const ProfileError& error) {
        throw ProfileError(Utf8(path) + ": " + error.what());
    }
}

std::string SimulatedMachine::Save() const { return parts_->profile->Save(); }

std::string SimulatedMachine::StoredValue(const std::wstring& endpointId, const std::string& key) const {
    const auto upper = [](std::string text) {
        for (char& c : text) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
        return text;
    };
    const nlohmann::ordered_json machine = nlohmann::ordered_json::parse(Save());
    const std::string id = Utf8(endpointId);
    for (const auto& endpoint : machine["endpoints"]) {
        if (endpoint["id"] != id) continue;
        for (const auto& value : endpoint["values"]) {
            if (upper(value["key"].get<std::string>()) == upper(key)) return value.dump();
        }
    }
    return {};
}

int SimulatedMachine::Calls(const std::string& method) const { return parts_->platform.Calls(method); }

long SimulatedMachine::References() const { return parts_->platform.TotalReferences(); }

}  // namespace sim
