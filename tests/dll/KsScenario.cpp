#include "KsScenario.h"

#include <propsys.h>

#include "DllUnderTest.h"
#include "sim/EndpointProperties.h"

namespace kelix::test {
namespace {

LogCapture* capture = nullptr;

class CaptureEnvironment : public testing::Environment {
public:
    void SetUp() override { capture = new LogCapture(5); }
    void TearDown() override { delete capture; }
};
const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new CaptureEnvironment);

}  // namespace

LogCapture& Log() { return *capture; }

sim::Endpoint& AddEndpoint(sim::Platform& platform, const EndpointSetup& setup) {
    sim::Endpoint& endpoint = platform.AddEndpoint({setup.id, setup.flow, setup.state});
    sim::DescribeEndpoint(endpoint, setup.guid, setup.formFactor, setup.name);
    return endpoint;
}

sim::Dsp& AttachDsp(sim::Platform& platform, sim::Endpoint& endpoint, sim::DspConfig config,
                    sim::TopologyConfig topology) {
    sim::Dsp& dsp = platform.AddDsp(std::move(config));
    platform.AttachDsp(endpoint, dsp, std::move(topology));
    return dsp;
}

std::wstring Failure(const std::wstring& message, HRESULT hr) {
    wchar_t code[16];
    _snwprintf(code, 16, L"[0x%.8x]", static_cast<unsigned>(hr));
    return message + code + SystemText(hr);
}

std::vector<std::wstring> Messages(const std::wstring& function) {
    std::vector<std::wstring> messages;
    for (const LogLine& line : Log().Lines()) if (line.function == function) messages.push_back(line.message);
    return messages;
}

testing::AssertionResult Logged(int level, const std::wstring& function, const std::wstring& message) {
    for (const LogLine& line : Log().Lines()) {
        if (line.level == level && line.function == function && line.message == message) {
            return testing::AssertionSuccess();
        }
    }
    std::string text;
    for (const LogLine& line : Log().Lines()) text += "\n  " + std::string(line.raw.begin(), line.raw.end());
    return testing::AssertionFailure() << "no line of level " << level << ": "
                                       << std::string(message.begin(), message.end()) << text;
}

}  // namespace kelix::test
