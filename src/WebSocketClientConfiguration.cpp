#include <httpclient_core/WebSocketClientConfiguration.hpp>

#include <cstdint>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace foundation::httpclient_core {

namespace {

constexpr std::chrono::milliseconds firstReconnectBackoff(30);
constexpr std::chrono::milliseconds maxReconnectBackoff(20000);

[[noreturn]] void throwNotSet(const std::string& callback)
{
    throw std::logic_error(callback + " not set.");
}

[[noreturn]] void throwFrameSizeAboveLimit(std::size_t limit)
{
    throw std::invalid_argument("Read frames cannot be configured to be larger than " + std::to_string(limit) +
                                " bytes");
}

template <typename Callback>
Callback setOrThrow(const std::optional<Callback>& callback, const std::string& name)
{
    if (!callback) {
        throwNotSet(name);
    }
    return *callback;
}

std::pair<std::chrono::milliseconds, bool>
defaultNextBackoffAndShouldReconnectFcn(const std::chrono::milliseconds& previous, unsigned long attempt)
{
    if (attempt < 2) {
        return {firstReconnectBackoff, true};
    }
    // By design there is no guard: a doubled value that overflows wraps as a
    // 64-bit two's-complement product would, and a negative result is
    // returned as it is. The doubling is done unsigned so the wrap is defined.
    const auto doubled =
        std::chrono::milliseconds(static_cast<std::int64_t>(static_cast<std::uint64_t>(previous.count()) * 2U));
    return {std::min(doubled, maxReconnectBackoff), true};
}

} // namespace

std::filesystem::path WebSocketClientConfiguration::certificateFile() const
{
    return certificateFile_;
}

void WebSocketClientConfiguration::setCertificateFile(std::filesystem::path certificateFile)
{
    certificateFile_ = std::move(certificateFile);
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withCertificateFile(std::filesystem::path certificateFile)
{
    setCertificateFile(std::move(certificateFile));
    return *this;
}

HttpHeaders WebSocketClientConfiguration::customHandshakeHeaders() const
{
    return customHandshakeHeaders_;
}

void WebSocketClientConfiguration::setCustomHandshakeHeaders(HttpHeaders customHandshakeHeaders)
{
    customHandshakeHeaders_ = std::move(customHandshakeHeaders);
}

WebSocketClientConfiguration&
WebSocketClientConfiguration::withCustomHandshakeHeaders(HttpHeaders customHandshakeHeaders)
{
    setCustomHandshakeHeaders(std::move(customHandshakeHeaders));
    return *this;
}

std::int64_t WebSocketClientConfiguration::connectTimeout() const
{
    return connectTimeout_;
}

void WebSocketClientConfiguration::setConnectTimeout(std::int64_t connectTimeout)
{
    connectTimeout_ = connectTimeout;
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withConnectTimeout(std::int64_t connectTimeout)
{
    setConnectTimeout(connectTimeout);
    return *this;
}

std::optional<std::int64_t> WebSocketClientConfiguration::pingInterval() const
{
    return pingInterval_;
}

void WebSocketClientConfiguration::setPingInterval(std::optional<std::int64_t> pingInterval)
{
    pingInterval_ = pingInterval;
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withPingInterval(std::optional<std::int64_t> pingInterval)
{
    setPingInterval(pingInterval);
    return *this;
}

bool WebSocketClientConfiguration::connectErrorRecoveryEnabled() const
{
    return onRecoverableConnectError_.has_value();
}

WebSocketClientConfiguration::RecoverableConnectErrorCallback
WebSocketClientConfiguration::onRecoverableConnectError() const
{
    return setOrThrow(onRecoverableConnectError_, "OnRecoverableConnectError");
}

void WebSocketClientConfiguration::setConnectErrorRecovery(RecoverableConnectErrorCallback onRecoverableConnectError)
{
    onRecoverableConnectError_ = std::move(onRecoverableConnectError);
}

WebSocketClientConfiguration&
WebSocketClientConfiguration::withConnectErrorRecovery(RecoverableConnectErrorCallback onRecoverableConnectError)
{
    setConnectErrorRecovery(std::move(onRecoverableConnectError));
    return *this;
}

std::set<HttpResponseCode> WebSocketClientConfiguration::recoverableConnectErrorCodes() const
{
    return recoverableConnectErrorCodes_;
}

void WebSocketClientConfiguration::setRecoverableConnectErrorRespCodes(
    std::set<HttpResponseCode> recoverableConnectErrorCodes)
{
    recoverableConnectErrorCodes_ = std::move(recoverableConnectErrorCodes);
}

WebSocketClientConfiguration&
WebSocketClientConfiguration::withRecoverableConnectErrorCodes(std::set<HttpResponseCode> recoverableConnectErrorCodes)
{
    setRecoverableConnectErrorRespCodes(std::move(recoverableConnectErrorCodes));
    return *this;
}

bool WebSocketClientConfiguration::reconnectEnabled() const
{
    return onReconnected_.has_value();
}

WebSocketClientConfiguration::ReconnectedCallback WebSocketClientConfiguration::onReconnected() const
{
    return setOrThrow(onReconnected_, "OnReconnected");
}

void WebSocketClientConfiguration::setReconnectEnabled(ReconnectedCallback onReconnected)
{
    onReconnected_ = std::move(onReconnected);
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withReconnectEnabled(ReconnectedCallback onReconnected)
{
    setReconnectEnabled(std::move(onReconnected));
    return *this;
}

WebSocketClientConfiguration::ReconnectBackoffFunction WebSocketClientConfiguration::reconnectBackoffFcn() const
{
    if (customReconnectBackoffFcn_) {
        return *customReconnectBackoffFcn_;
    }
    return defaultNextBackoffAndShouldReconnectFcn;
}

void WebSocketClientConfiguration::setCustomReconnectBackoffFcn(ReconnectBackoffFunction customReconnectBackoffFcn)
{
    customReconnectBackoffFcn_ = std::move(customReconnectBackoffFcn);
}

WebSocketClientConfiguration&
WebSocketClientConfiguration::withCustomReconnectBackoffFcn(ReconnectBackoffFunction customReconnectBackoffFcn)
{
    setCustomReconnectBackoffFcn(std::move(customReconnectBackoffFcn));
    return *this;
}

bool WebSocketClientConfiguration::hasOnReconnectAborted() const
{
    return onReconnectAborted_.has_value();
}

WebSocketClientConfiguration::ReconnectAbortedCallback WebSocketClientConfiguration::onReconnectAborted() const
{
    return setOrThrow(onReconnectAborted_, "OnReconnectAborted");
}

void WebSocketClientConfiguration::setOnReconnectAborted(ReconnectAbortedCallback onReconnectAborted)
{
    onReconnectAborted_ = std::move(onReconnectAborted);
}

WebSocketClientConfiguration&
WebSocketClientConfiguration::withOnReconnectAborted(ReconnectAbortedCallback onReconnectAborted)
{
    setOnReconnectAborted(std::move(onReconnectAborted));
    return *this;
}

std::size_t WebSocketClientConfiguration::maxReadFrameSize() const
{
    return maxReadFrameSize_;
}

void WebSocketClientConfiguration::setMaxReadFrameSize(std::size_t maxReadFrameSize)
{
    if (maxReadFrameSize > maxReadFrameSizeLimit) {
        throwFrameSizeAboveLimit(maxReadFrameSizeLimit);
    }
    maxReadFrameSize_ = maxReadFrameSize;
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withMaxReadFrameSize(std::size_t maxReadFrameSize)
{
    setMaxReadFrameSize(maxReadFrameSize);
    return *this;
}

} // namespace foundation::httpclient_core
