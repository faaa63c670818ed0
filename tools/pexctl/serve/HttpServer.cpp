// Boost.Beast on one io_context run by the serving thread: connections are
// read and written asynchronously, so a slow or silent client holds nothing
// but its own socket, and each request's and message's handler runs on that
// one thread.
#include "HttpServer.h"

#include <chrono>
#include <optional>
#include <stdexcept>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

namespace pexctl::serve {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;

constexpr std::uint32_t kHeaderLimit = 8 * 1024;
constexpr std::chrono::seconds kRequestTime{10};  // to send one whole request
constexpr std::chrono::seconds kLinger{2};        // to stop sending after an answer that closes
constexpr std::chrono::seconds kSocketIdle{60};   // a WebSocket peer silent this long (pings unanswered) is dropped
constexpr std::size_t kFrameRead = 64 * 1024;     // a message is read in pieces of at most this

}  // namespace

struct HttpServer::State {
    explicit State(HttpHandler& owner) : handler(owner) {}
    asio::io_context io{1};
    tcp::acceptor acceptor{io};
    HttpHandler& handler;
};

namespace {

// An accepted WebSocket: each text message read whole is answered by the
// handler, then the next one read. A message over the limit or a binary one
// is read to its end, dropped and answered with a refusal: the connection
// stays usable.
class Socket : public std::enable_shared_from_this<Socket> {
public:
    Socket(beast::tcp_stream stream, HttpServer::State& state) : ws_(std::move(stream)), state_(state) {}

    void Accept(http::request<http::string_body> request) {
        request_ = std::move(request);
        beast::get_lowest_layer(ws_).expires_never();  // the WebSocket keeps its own time
        websocket::stream_base::timeout timeout = websocket::stream_base::timeout::suggested(beast::role_type::server);
        timeout.idle_timeout = kSocketIdle;
        ws_.set_option(timeout);
        ws_.read_message_max(0);  // the limit is applied here, without closing the connection
        ws_.async_accept(request_, [self = shared_from_this()](beast::error_code ec) {
            if (!ec) self->Read();
        });
    }

private:
    void Read() {
        ws_.async_read_some(buffer_, kFrameRead, [self = shared_from_this()](beast::error_code ec, std::size_t) {
            if (!ec) self->OnRead();  // else closed by the peer, timed out or failed: the stream is done
        });
    }

    void OnRead() {
        oversized_ = oversized_ || message_.size() + buffer_.size() > kBodyLimit;
        if (!oversized_) message_ += beast::buffers_to_string(buffer_.data());
        buffer_.consume(buffer_.size());
        if (!ws_.is_message_done()) return Read();
        HttpHandler& handler = state_.handler;
        try {
            answer_ = !ws_.got_text() ? handler.RefuseMessage(415, "a message must be text (JSON), not binary")
                      : oversized_    ? handler.RefuseMessage(413, "the message is larger than 1 MB")
                                      : handler.Message(message_);
        } catch (const std::exception& e) {
            answer_ = handler.RefuseMessage(500, std::string("the message could not be answered: ") + e.what());
        }
        message_.clear();
        oversized_ = false;
        ws_.text(true);
        ws_.async_write(asio::buffer(answer_), [self = shared_from_this()](beast::error_code ec, std::size_t) {
            if (!ec) self->Read();
        });
    }

    websocket::stream<beast::tcp_stream> ws_;
    HttpServer::State& state_;
    http::request<http::string_body> request_;
    beast::flat_buffer buffer_;
    std::string message_, answer_;
    bool oversized_ = false;
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(tcp::socket socket, HttpServer::State& state, HttpServer& server)
        : stream_(std::move(socket)), state_(state), server_(server) {}

    void Read() {
        parser_.emplace();
        parser_->header_limit(kHeaderLimit);
        parser_->body_limit(kBodyLimit);
        stream_.expires_after(kRequestTime);
        http::async_read_header(stream_, buffer_, *parser_,
                                [self = shared_from_this()](beast::error_code ec, std::size_t) { self->OnHeader(ec); });
    }

private:
    // A client that asks before sending its body (curl does for larger bodies)
    // is told to go on; then the body is read.
    void OnHeader(beast::error_code ec) {
        if (ec) return OnRead(ec);
        if (!beast::iequals(parser_->get()[http::field::expect], "100-continue")) return ReadBody();
        static const http::response<http::empty_body> kContinue{http::status::continue_, 11};
        http::async_write(stream_, kContinue, [self = shared_from_this()](beast::error_code written, std::size_t) {
            if (written) return self->Close();
            self->ReadBody();
        });
    }

    void ReadBody() {
        http::async_read(stream_, buffer_, *parser_,
                         [self = shared_from_this()](beast::error_code ec, std::size_t) { self->OnRead(ec); });
    }

    void OnRead(beast::error_code ec) {
        if (ec && (ec == http::error::end_of_stream || ec == http::error::partial_message ||
                   ec.category() != http::make_error_code(http::error::bad_version).category())) {
            Close();  // the client left, went silent, or the socket failed: nobody to answer
            return;
        }
        HttpResponse response;
        bool keepAlive = false;
        if (ec == http::error::body_limit) {
            response = state_.handler.Refuse(413, "the request body is larger than 1 MB");
        } else if (ec == http::error::header_limit) {
            response = state_.handler.Refuse(431, "the request headers are larger than 8 KB");
        } else if (ec) {
            response = state_.handler.Refuse(400, "the request is not valid HTTP/1.1: " + ec.message());
        } else {
            const http::request<http::string_body>& message = parser_->get();
            HttpRequest request;
            request.method = std::string(message.method_string());
            request.target = std::string(message.target());
            const auto header = [&](http::field field) { return std::string(message[field]); };
            request.host = header(http::field::host);
            request.origin = header(http::field::origin);
            request.hasOrigin = message.find(http::field::origin) != message.end();
            request.cookie = header(http::field::cookie);
            request.contentType = header(http::field::content_type);
            request.body = message.body();
            request.upgrade = websocket::is_upgrade(message);
            keepAlive = message.keep_alive();
            try {
                response = state_.handler.Handle(request);
            } catch (const std::exception& e) {
                response = state_.handler.Refuse(500, std::string("the request could not be answered: ") + e.what());
                keepAlive = false;
            }
            if (response.upgrade && request.upgrade) {
                std::make_shared<Socket>(std::move(stream_), state_)->Accept(parser_->release());
                return;
            }
        }
        Write(std::move(response), keepAlive);
    }

    void Write(HttpResponse response, bool keepAlive) {
        response_.emplace(static_cast<http::status>(response.status), 11);
        for (const auto& [name, value] : response.headers) response_->set(name, value);
        response_->body() = std::move(response.body);
        response_->keep_alive(keepAlive && !response.last);
        response_->prepare_payload();
        const bool last = response.last;
        stream_.expires_after(kRequestTime);
        http::async_write(stream_, *response_, [self = shared_from_this(), last](beast::error_code ec, std::size_t) {
            if (last) self->server_.Stop();
            if (ec || !self->response_->keep_alive()) {
                self->Close();
                return;
            }
            self->Read();
        });
    }

    // A lingering close: nothing more is sent, and what the peer still sends (a
    // refused body) is read and dropped for a while, so that the peer reads the
    // answer instead of a connection reset.
    void Close() {
        beast::error_code ignored;
        stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
        stream_.expires_after(kLinger);
        Drain();
    }

    void Drain() {
        stream_.async_read_some(asio::buffer(discard_), [self = shared_from_this()](beast::error_code ec, std::size_t) {
            if (ec) {
                self->stream_.close();  // the peer closed too, or lingered too long
                return;
            }
            self->Drain();
        });
    }

    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::string_body>> parser_;
    std::optional<http::response<http::string_body>> response_;
    char discard_[16 * 1024];
    HttpServer::State& state_;
    HttpServer& server_;
};

void Accept(HttpServer::State& state, HttpServer& server) {
    state.acceptor.async_accept([&state, &server](beast::error_code ec, tcp::socket socket) {
        if (ec == asio::error::operation_aborted) return;  // the acceptor closed
        if (!ec) {
            // Answers go out whole at once: no waiting for the peer's acknowledgement of a previous piece.
            beast::error_code ignored;
            socket.set_option(tcp::no_delay(true), ignored);
            std::make_shared<Connection>(std::move(socket), state, server)->Read();
        }
        Accept(state, server);  // a failed accept (the peer gone already) ends nothing else
    });
}

void Check(beast::error_code ec, const char* step) {
    if (ec) throw std::runtime_error(std::string(step) + " failed: " + ec.message());
}

}  // namespace

HttpServer::HttpServer(unsigned short port, HttpHandler& handler) : state_(std::make_unique<State>(handler)) {
    const tcp::endpoint endpoint(asio::ip::make_address_v4("127.0.0.1"), port);
    beast::error_code ec;
    state_->acceptor.open(endpoint.protocol(), ec);
    Check(ec, "opening the listening socket");
    state_->acceptor.bind(endpoint, ec);
    Check(ec, ("listening on 127.0.0.1:" + std::to_string(port)).c_str());
    state_->acceptor.listen(asio::socket_base::max_listen_connections, ec);
    Check(ec, "listening");
    Accept(*state_, *this);
}

HttpServer::~HttpServer() = default;

unsigned short HttpServer::Port() const { return state_->acceptor.local_endpoint().port(); }

void HttpServer::Run() { state_->io.run(); }

void HttpServer::Stop() { state_->io.stop(); }

}  // namespace pexctl::serve
