// serve: the opened endpoint's tuning as a live page on 127.0.0.1, and the
// JSON API it uses. The endpoint is opened once; the server's thread (this
// one, in COM's multithreaded apartment) makes every library call, so the
// page's requests are served one at a time.
#include <windows.h>
#include <bcrypt.h>
#include <shellapi.h>

#include <atomic>
#include <memory>
#include <stdexcept>

#include <fmt/format.h>

#include "Api.h"
#include "Commands.h"
#include "EndpointClient.h"
#include "HttpServer.h"
#include "Site.h"

namespace pexctl {
namespace {

struct ServeOptions {
    int port = 0;
    bool open = false;
};

std::atomic<serve::HttpServer*> running{nullptr};

BOOL WINAPI OnConsoleControl(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT && event != CTRL_CLOSE_EVENT) return FALSE;
    if (serve::HttpServer* server = running.load()) server->Stop();
    return TRUE;
}

// 128 random bits as 32 hexadecimal digits; empty when the system has none to give.
std::string RandomToken(NTSTATUS& status) {
    unsigned char bits[16] = {};
    status = BCryptGenRandom(nullptr, bits, sizeof bits, BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    if (status < 0) return "";
    std::string token;
    for (const unsigned char byte : bits) token += fmt::format("{:02x}", byte);
    return token;
}

int RunServe(const ServeOptions& options, const GlobalOptions& global, Output& out) {
    EndpointClient client(global, out);
    if (const std::optional<int> failed = client.Open()) return *failed;
    NTSTATUS status = 0;
    const std::string token = RandomToken(status);
    if (token.empty()) {
        out.Failure("", "", HRESULT_FROM_NT(status),
                    "drawing the access token from BCryptGenRandom failed: " + HResultText(HRESULT_FROM_NT(status)));
        return out.Finish(Json::object());
    }
    serve::Api api(client, global);
    serve::Site site(token, api);
    std::unique_ptr<serve::HttpServer> server;
    try {
        server = std::make_unique<serve::HttpServer>(static_cast<unsigned short>(options.port), site);
    } catch (const std::exception& e) {
        out.Failure("", "", std::nullopt, std::string("serving failed: ") + e.what());
        return out.Finish(Json::object());
    }
    site.Listening(server->Port());
    const std::string url = fmt::format("http://127.0.0.1:{}/?token={}", server->Port(), token);
    const std::string name = Utf16ToUtf8(client.Opened().name);
    if (global.json) {
        Write(stdout, Json({{"url", url}, {"port", server->Port()}, {"endpoint", name}}).dump() + "\n");
    } else {
        out.Line(fmt::format("serving {} at {}", name, url));
        out.Line("Ctrl+C (or POST /api/shutdown) ends it");
    }
    if (options.open) {
        const std::wstring wide = ToWide(Utf8ToUtf16(url));
        const auto opened = reinterpret_cast<INT_PTR>(ShellExecuteW(nullptr, L"open", wide.c_str(), nullptr, nullptr, SW_SHOWNORMAL));
        if (opened <= 32) {
            Write(stderr, fmt::format("pexctl: the browser could not be started (ShellExecuteW answered {}); open {}\n",
                                      opened, url));
        }
    }
    running = server.get();
    SetConsoleCtrlHandler(OnConsoleControl, TRUE);
    server->Run();
    SetConsoleCtrlHandler(OnConsoleControl, FALSE);
    running = nullptr;
    client.ReportTo(out);
    out.Success();
    const HRESULT hr = client.Close();
    if (FAILED(hr)) out.Failure("", "", hr, "closing the endpoint failed: " + HResultText(hr));
    out.Line("stopped");
    return out.Code();
}

}  // namespace

void AddServeCommand(CLI::App& app, Context& context) {
    const auto options = std::make_shared<ServeOptions>();
    CLI::App* command = AddCommand(app, "serve", "a live tuning page of the endpoint on 127.0.0.1, and its JSON API");
    command->add_option("--port", options->port, "the port to listen on (0, the default: a free one)")
        ->check(CLI::Range(0, 65535));
    command->add_flag("--open", options->open, "open the page in the default browser");
    command->callback([&context, options] {
        context.run = [&context, options](Output& out) { return RunServe(*options, context.options, out); };
    });
}

}  // namespace pexctl
