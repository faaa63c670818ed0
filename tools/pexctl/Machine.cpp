#include "Machine.h"

#include <windows.h>
#include <objbase.h>

#include <optional>
#include <string>

#include "Files.h"
#include "Platform.h"
#include "SimulatedDevice.h"
#include "sim/MachineProfile.h"

namespace pexctl {
namespace {

// --simulate: the built-in machine or the profile's; an exit code when it cannot be installed.
std::optional<int> InstallSimulation(const GlobalOptions& options, Output& out, SimulatedDevice& simulated) {
    if (options.simulate.empty()) {
        if (options.noSave) return out.Usage("--no-save applies to --simulate=PROFILE.json");
        return std::nullopt;
    }
    std::string profile(DefaultProfile());
    if (options.simulate != kBuiltInMachine) {
        const std::optional<std::string> text = ReadFileText(options.simulate);
        if (!text) return out.Usage("cannot read the machine profile \"" + options.simulate + "\"");
        profile = *text;
    }
    try {
        simulated.Install(profile);
    } catch (const sim::ProfileError& e) {
        return out.Usage("the machine profile \"" + options.simulate + "\" does not read: " + e.what() +
                         " (the format is described in docs/profiles.md)");
    } catch (const std::exception& e) {
        out.Failure("", "", std::nullopt, std::string("installing the simulated machine failed: ") + e.what());
        return out.Finish(Json::object());
    }
    return std::nullopt;
}

}  // namespace

int RunOnMachine(const GlobalOptions& options, Output& out, const std::function<int()>& command) {
    // The library reads its log settings when it first logs, which is after this.
    if (options.trace != 0) SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", std::to_wstring(options.trace).c_str());
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
        out.Failure("", "", std::nullopt, "COM cannot be initialised");
        return out.Finish(Json::object());
    }
    int result = kExitSuccess;
    {
        SimulatedDevice simulated;
        const std::optional<int> failed = InstallSimulation(options, out, simulated);
        const std::string installed = failed || options.simulate.empty() ? "" : simulated.Save();
        result = failed ? *failed : command();
        if (!failed && !options.noSave && !options.simulate.empty() && options.simulate != kBuiltInMachine) {
            // Written only when the machine changed, so a hand-written profile keeps its layout.
            const std::string state = simulated.Save();
            if (state != installed && !WriteFileReplacing(options.simulate, state)) {
                const HRESULT hr = HRESULT_FROM_WIN32(GetLastError());
                out.Failure("", "", hr,
                            "writing the simulated machine back to \"" + options.simulate + "\" failed: " +
                                HResultText(hr));
                result = result == kExitSuccess ? kExitFailed : result;
            }
        }
    }
    CoUninitialize();
    return result;
}

}  // namespace pexctl
