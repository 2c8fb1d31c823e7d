// WebSocketClientConfiguration: the settings a WebSocket client reads: TLS
// certificate, handshake headers and timing, connect-error recovery, the
// reconnect policy and the largest frame it reads.
//
//   WebSocketClientConfiguration config;
//   config.withMaxReadFrameSize(1024).withReconnectEnabled([](HttpResponse&&) {});
//   config.reconnectEnabled();                                         // true
//   config.reconnectBackoffFcn()(std::chrono::milliseconds(30), 2);    // {60 ms, true}
//   config.setMaxReadFrameSize(2048);              // throws, the size stays 1024
//
// A plain value. Each setting has a getter, a setter and a with... form that
// does what the setter does, its check included, and returns this same record.
// A callback counts as set once its setter was called, by design even with an
// empty function; nothing unsets it again.
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_core/HttpResponseCode.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <utility>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT WebSocketClientConfiguration {
public:
    // Called with a handshake response whose code is a recoverable connect
    // error and a count; true asks the client to try connecting again.
    using RecoverableConnectErrorCallback = std::function<bool(HttpResponse&&, unsigned long)>;
    // Called with the handshake response of a new connection after a reconnect.
    using ReconnectedCallback = std::function<void(HttpResponse&&)>;
    // Called with the previous delay and a count; returns the next delay and
    // whether to reconnect at all.
    using ReconnectBackoffFunction =
        std::function<std::pair<std::chrono::milliseconds, bool>(const std::chrono::milliseconds&, unsigned long)>;
    // Called when reconnecting is given up.
    using ReconnectAbortedCallback = std::function<void()>;

    // No certificate, no handshake headers, a 5000 ms connect time-out, no
    // pings, no callbacks, the recoverable codes {407} and frames of at most
    // 1532 bytes.
    WebSocketClientConfiguration() = default;

    // The CA bundle the client trusts; empty means the system's.
    std::filesystem::path certificateFile() const;
    void setCertificateFile(std::filesystem::path certificateFile);
    WebSocketClientConfiguration& withCertificateFile(std::filesystem::path certificateFile);

    // Extra header fields sent with the opening handshake.
    HttpHeaders customHandshakeHeaders() const;
    void setCustomHandshakeHeaders(HttpHeaders customHandshakeHeaders);
    WebSocketClientConfiguration& withCustomHandshakeHeaders(HttpHeaders customHandshakeHeaders);

    // Milliseconds the opening handshake may take (default 5000). Not checked.
    std::int64_t connectTimeout() const;
    void setConnectTimeout(std::int64_t connectTimeout);
    WebSocketClientConfiguration& withConnectTimeout(std::int64_t connectTimeout);

    // Milliseconds between keep-alive pings; empty (the default) sends none.
    std::optional<std::int64_t> pingInterval() const;
    void setPingInterval(std::optional<std::int64_t> pingInterval);
    WebSocketClientConfiguration& withPingInterval(std::optional<std::int64_t> pingInterval);

    // Whether setConnectErrorRecovery was called, whatever the function.
    bool connectErrorRecoveryEnabled() const;
    // Throws std::logic_error "OnRecoverableConnectError not set." unless
    // setConnectErrorRecovery was called; may return an empty function.
    RecoverableConnectErrorCallback onRecoverableConnectError() const;
    void setConnectErrorRecovery(RecoverableConnectErrorCallback onRecoverableConnectError);
    WebSocketClientConfiguration& withConnectErrorRecovery(RecoverableConnectErrorCallback onRecoverableConnectError);

    // The handshake response codes that count as recoverable connect errors
    // (default {407}). By design the setter alone says "RespCodes"; the setter
    // replaces the whole set.
    std::set<HttpResponseCode> recoverableConnectErrorCodes() const;
    void setRecoverableConnectErrorRespCodes(std::set<HttpResponseCode> recoverableConnectErrorCodes);
    WebSocketClientConfiguration&
    withRecoverableConnectErrorCodes(std::set<HttpResponseCode> recoverableConnectErrorCodes);

    // Whether setReconnectEnabled was called, whatever the function.
    bool reconnectEnabled() const;
    // Throws std::logic_error "OnReconnected not set." unless
    // setReconnectEnabled was called; may return an empty function.
    ReconnectedCallback onReconnected() const;
    void setReconnectEnabled(ReconnectedCallback onReconnected);
    WebSocketClientConfiguration& withReconnectEnabled(ReconnectedCallback onReconnected);

    // The custom function once one was set, even an empty one; otherwise the
    // default, which never gives up: 30 ms for counts 0 and 1, then twice the
    // previous delay capped at 20000 ms (30, 30, 60, 120, ... 15360, 20000 when
    // fed its own results). By design the doubling is unguarded and a negative
    // delay comes back doubled. Never throws for "not set".
    ReconnectBackoffFunction reconnectBackoffFcn() const;
    void setCustomReconnectBackoffFcn(ReconnectBackoffFunction customReconnectBackoffFcn);
    WebSocketClientConfiguration& withCustomReconnectBackoffFcn(ReconnectBackoffFunction customReconnectBackoffFcn);

    // Whether setOnReconnectAborted was called, whatever the function.
    bool hasOnReconnectAborted() const;
    // Throws std::logic_error "OnReconnectAborted not set." unless
    // setOnReconnectAborted was called; may return an empty function.
    ReconnectAbortedCallback onReconnectAborted() const;
    void setOnReconnectAborted(ReconnectAbortedCallback onReconnectAborted);
    WebSocketClientConfiguration& withOnReconnectAborted(ReconnectAbortedCallback onReconnectAborted);

    // The largest frame the client reads, in bytes (default 1532). The default
    // is also the limit, so the size can only be lowered, down to 0. A larger
    // value throws std::invalid_argument "Read frames cannot be configured to be
    // larger than 1532 bytes" and leaves the size unchanged.
    std::size_t maxReadFrameSize() const;
    void setMaxReadFrameSize(std::size_t maxReadFrameSize);
    WebSocketClientConfiguration& withMaxReadFrameSize(std::size_t maxReadFrameSize);

private:
    static constexpr std::size_t maxReadFrameSizeLimit = 1532;

    std::filesystem::path certificateFile_;
    HttpHeaders customHandshakeHeaders_;
    std::int64_t connectTimeout_ = 5000;
    std::optional<std::int64_t> pingInterval_;
    std::optional<RecoverableConnectErrorCallback> onRecoverableConnectError_;
    std::set<HttpResponseCode> recoverableConnectErrorCodes_{HttpResponseCode::ProxyAuthenticationRequired};
    std::optional<ReconnectedCallback> onReconnected_;
    std::optional<ReconnectBackoffFunction> customReconnectBackoffFcn_;
    std::optional<ReconnectAbortedCallback> onReconnectAborted_;
    std::size_t maxReadFrameSize_ = maxReadFrameSizeLimit;
};

} // namespace foundation::httpclient_core
