// What `pexctl serve` answers, and to whom. A hostile page in the same
// browser must not reach the endpoint, so every request is checked in this
// order before anything is done:
//   Host   127.0.0.1:PORT or localhost:PORT (a rebound DNS name is refused): else 421
//   Origin when present, this server's own: else 403
//   token  the page is entered at /?token=TOKEN, which sets the HttpOnly,
//          SameSite=Strict cookie and redirects to /; every other request
//          needs the cookie: else 403
//   type   requests with a body (POST, PUT) only as application/json: else 415
// The page's WebSocket, /api/socket, gets the same checks, and its Origin
// must be sent (a browser always sends one): else 403. Each of its messages
// is a write, {"number", "name", "route", "type", "value"}, made as
// PUT /api/param/NAME is and answered with that request's document, its
// status and the client's number.
// Every answer carries a Content-Security-Policy that allows nothing from
// outside the page, and no CORS header. Failures are JSON error objects.
#pragma once

#include <string>

#include "Api.h"
#include "HttpServer.h"

namespace pexctl::serve {

class Site : public HttpHandler {
public:
    Site(std::string token, Api& api) : token_(std::move(token)), api_(api) {}
    // The port the server listens on, once it is known.
    void Listening(unsigned short port);

    HttpResponse Handle(const HttpRequest& request) override;
    HttpResponse Refuse(int status, const std::string& what) override;
    std::string Message(const std::string& text) override;
    std::string RefuseMessage(int status, const std::string& what) override;

private:
    bool HasToken(const HttpRequest& request) const;

    std::string token_;
    Api& api_;
    std::string port_;
    std::string cookie_;  // the cookie's name: one per port
};

}  // namespace pexctl::serve
