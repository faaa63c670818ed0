// The JSON API under /api/ on the opened endpoint, in the value model and
// error objects of `pexctl --json` (docs/serve.md):
//   GET  endpoint                    the summary: name, id, form factor, versions, modules, read-only store
//   GET  parameters                  the catalogue, band arrays marked
//   GET  values?route=both           every readable value of the route(s)
//   GET  param/NAME?route=           one parameter by name or id
//   PUT  param/NAME?route=&type=     {"value": V}: written, then read back
//   GET  snapshot?route=             the current values in the `pexctl save` format
//   POST apply?dryRun=true           a snapshot, checked whole, then its differing values written
//   POST shutdown                    ends the server
#pragma once

#include <map>
#include <string>

#include "EndpointClient.h"

namespace pexctl::serve {

using Query = std::map<std::string, std::string>;

struct ApiAnswer {
    int status = 200;
    Json document;
    bool last = false;  // the server ends after this answer
};

class Api {
public:
    // `client` is open; every call on it comes from the thread that calls Handle.
    Api(EndpointClient& client, GlobalOptions options);

    // `path` after "/api/"; `body` already checked to be JSON by type.
    ApiAnswer Handle(const std::string& method, const std::string& path, const Query& query, const std::string& body);

private:
    ApiAnswer Summary(Output& out);
    ApiAnswer Parameter(const std::string& method, const std::string& name, const std::string& body, Output& out);
    ApiAnswer Apply(const Query& query, const std::string& body, Output& out);

    GlobalOptions options_;  // the request's --route and --type go here for the client
    EndpointClient& client_;
};

}  // namespace pexctl::serve
