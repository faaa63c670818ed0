#include "Site.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "PageFiles.h"

namespace pexctl::serve {
namespace {

constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

// The fields of a message on the page's WebSocket.
constexpr std::string_view kMessageFields[] = {"number", "name", "route", "type", "value"};

HttpResponse Respond(int status, std::string type, std::string body) {
    HttpResponse response;
    response.status = status;
    response.headers = {{"Content-Type", std::move(type)},
                        {"Content-Security-Policy", kPolicy},
                        {"X-Content-Type-Options", "nosniff"},
                        {"Referrer-Policy", "no-referrer"},
                        {"Cache-Control", "no-store"}};
    response.body = std::move(body);
    return response;
}

Json ErrorDocument(const std::string& what) {
    Output out(true, true);
    out.Failure("", "", std::nullopt, what);
    return out.Document(Json::object());
}

// A message's answer: the document, the status the write had as a request and the client's number
// (null when the message could not be read that far).
std::string MessageAnswer(int status, Json document, const Json& number) {
    document["status"] = status;
    document["number"] = number;
    return document.dump();
}

HttpResponse JsonResponse(int status, const Json& document) {
    return Respond(status, "application/json; charset=utf-8", document.dump() + "\n");
}

int Hex(char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// %XX and + decoded; a broken escape is kept as it is.
std::string Decode(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && Hex(text[i + 1]) >= 0 && Hex(text[i + 2]) >= 0) {
            decoded += static_cast<char>(Hex(text[i + 1]) * 16 + Hex(text[i + 2]));
            i += 2;
        } else {
            decoded += text[i] == '+' ? ' ' : text[i];
        }
    }
    return decoded;
}

Query ParseQuery(std::string_view text) {
    Query query;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('&'), text.size());
        const std::string_view pair = text.substr(0, end);
        const std::size_t equals = std::min(pair.find('='), pair.size());
        query[Decode(pair.substr(0, equals))] = Decode(pair.substr(std::min(equals + 1, pair.size())));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return query;
}

// Compares in time independent of where the texts differ.
bool SameSecret(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned char difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

}  // namespace

void Site::Listening(unsigned short port) {
    port_ = std::to_string(port);
    cookie_ = "pexctl-" + port_;
}

HttpResponse Site::Refuse(int status, const std::string& what) { return JsonResponse(status, ErrorDocument(what)); }

std::string Site::RefuseMessage(int status, const std::string& what) {
    return MessageAnswer(status, ErrorDocument(what), nullptr);
}

std::string Site::Message(const std::string& text) {
    const Json message = Json::parse(text, nullptr, false);
    const bool object = message.is_object();
    const Json number = object && message.contains("number") ? message["number"] : Json();
    const auto answer = [&](int status, Json document) { return MessageAnswer(status, std::move(document), number); };
    if (!object) return answer(400, ErrorDocument("a message must be a JSON object {\"number\", \"name\", \"value\"}"));
    for (const auto& [key, _] : message.items()) {
        if (std::ranges::find(kMessageFields, key) == std::end(kMessageFields)) {
            return answer(400, ErrorDocument(fmt::format("a message has no field \"{}\": only {}", key,
                                                         fmt::join(kMessageFields, ", "))));
        }
    }
    if (!number.is_number_integer()) return answer(400, ErrorDocument("\"number\" must be a whole number"));
    if (!message.contains("name") || !message["name"].is_string()) {
        return answer(400, ErrorDocument("\"name\" must be a parameter's name or id as text"));
    }
    Query query;
    for (const char* key : {"route", "type"}) {
        if (!message.contains(key)) continue;
        if (!message[key].is_string()) return answer(400, ErrorDocument("\"" + std::string(key) + "\" must be text"));
        query[key] = message[key].get<std::string>();
    }
    if (!message.contains("value")) return answer(400, ErrorDocument("a message must carry the \"value\" to write"));
    const std::string body = Json({{"value", message["value"]}}).dump();
    // A write that throws is answered with its number too: the page waits for that answer before
    // it sends the parameter's next value.
    try {
        ApiAnswer done = api_.Handle("PUT", "param/" + message["name"].get<std::string>(), query, body);
        return answer(done.status, std::move(done.document));
    } catch (const std::exception& e) {
        return answer(500, ErrorDocument(std::string("the write could not be answered: ") + e.what()));
    }
}

bool Site::HasToken(const HttpRequest& request) const {
    std::string_view cookies = request.cookie;
    while (!cookies.empty()) {
        const std::size_t end = std::min(cookies.find(';'), cookies.size());
        std::string_view cookie = cookies.substr(0, end);
        while (cookie.starts_with(' ')) cookie.remove_prefix(1);
        if (cookie.starts_with(cookie_ + "=") && SameSecret(cookie.substr(cookie_.size() + 1), token_)) return true;
        cookies.remove_prefix(std::min(end + 1, cookies.size()));
    }
    return false;
}

HttpResponse Site::Handle(const HttpRequest& request) {
    if (request.host != "127.0.0.1:" + port_ && request.host != "localhost:" + port_) {
        return Refuse(421, "the Host header must be 127.0.0.1:" + port_ + " or localhost:" + port_);
    }
    if (request.hasOrigin && request.origin != "http://127.0.0.1:" + port_ && request.origin != "http://localhost:" + port_) {
        return Refuse(403, "requests from another origin are refused");
    }
    const std::size_t mark = std::min(request.target.find('?'), request.target.size());
    const std::string path = request.target.substr(0, mark);
    const Query query = ParseQuery(std::string_view(request.target).substr(std::min(mark + 1, request.target.size())));

    if (path == "/" && query.contains("token")) {
        if (!SameSecret(query.at("token"), token_)) return Refuse(403, "the token is not this server's");
        HttpResponse response = Respond(303, "text/plain; charset=utf-8", "");
        response.headers.emplace_back("Location", "/");
        response.headers.emplace_back("Set-Cookie", cookie_ + "=" + token_ + "; HttpOnly; SameSite=Strict; Path=/");
        return response;
    }
    if (!HasToken(request)) {
        return Refuse(403, "open the page at the address pexctl serve printed, with its token");
    }
    if (path == "/api/socket") {
        if (!request.upgrade) return Refuse(426, "/api/socket takes a WebSocket upgrade");
        if (!request.hasOrigin) return Refuse(403, "a WebSocket must come from the page: it sent no Origin");
        HttpResponse accepted;
        accepted.upgrade = true;
        return accepted;
    }
    if (path.starts_with("/api/")) {
        const bool withBody = request.method == "POST" || request.method == "PUT";
        const std::string type = Lower(request.contentType.substr(0, request.contentType.find(';')));
        if (withBody && type != "application/json") {
            return Refuse(415, "a " + request.method + " request must be sent as application/json");
        }
        const ApiAnswer answer = api_.Handle(request.method, path.substr(5), query, request.body);
        HttpResponse response = JsonResponse(answer.status, answer.document);
        response.last = answer.last;
        return response;
    }
    const PageFile* file = FindPageFile(path == "/" ? "/index.html" : path);
    if (file == nullptr) return Refuse(404, "there is no " + path);
    if (request.method != "GET") return Refuse(405, path + " takes GET, not " + request.method);
    return Respond(200, std::string(file->type), std::string(file->content));
}

}  // namespace pexctl::serve
