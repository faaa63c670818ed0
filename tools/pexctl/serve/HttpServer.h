// A small HTTP/1.1 server on 127.0.0.1 for `pexctl serve`: every request is
// read whole (headers up to 8 KB, a body up to 1 MB, each connection given
// 10 s to send a request) and handed to one handler on the thread that runs
// the server, one at a time. What cannot be read as a request is refused
// through the handler too, and the connection closed. A WebSocket upgrade the
// handler accepts turns the connection into one that carries text messages,
// each answered by the handler on the same thread, one at a time.
// Boost.Beast lives in HttpServer.cpp alone.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace pexctl::serve {

struct HttpRequest {
    std::string method;  // "GET", "POST", ...
    std::string target;  // path and query as sent: "/api/param/pex_postgain?route=dsp"
    // Headers the site checks; a missing one is empty (`origin` also flagged).
    std::string host, origin, cookie, contentType;
    bool hasOrigin = false;
    bool upgrade = false;  // a WebSocket upgrade is asked
    std::string body;
};

struct HttpResponse {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;  // Content-Type and the rest
    std::string body;
    bool last = false;     // the server stops once this response is sent
    bool upgrade = false;  // the WebSocket upgrade asked is accepted; the rest is ignored
};

class HttpHandler {
public:
    virtual ~HttpHandler() = default;
    virtual HttpResponse Handle(const HttpRequest& request) = 0;
    // A request that could not be read: 400 malformed, 413 body too large,
    // 431 headers too large; `what` says so in words.
    virtual HttpResponse Refuse(int status, const std::string& what) = 0;
    // The answer to one text message of an accepted WebSocket.
    virtual std::string Message(const std::string& text) = 0;
    // A message that could not be taken: 413 over 1 MB, 415 binary; `what` says so.
    virtual std::string RefuseMessage(int status, const std::string& what) = 0;
};

inline constexpr std::size_t kBodyLimit = 1024 * 1024;  // of a request body and of a message

class HttpServer {
public:
    // Listens on 127.0.0.1:port (0: a free port the system picks). Throws
    // std::runtime_error naming the step that failed.
    HttpServer(unsigned short port, HttpHandler& handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    unsigned short Port() const;
    // Serves on the calling thread until Stop() or a response marked last.
    void Run();
    // Ends Run() soon; safe from any thread (a console control handler too).
    void Stop();

    struct State;  // the io_context, the acceptor and the handler (HttpServer.cpp)

private:
    std::unique_ptr<State> state_;
};

}  // namespace pexctl::serve
