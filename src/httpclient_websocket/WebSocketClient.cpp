#include <httpclient_websocket/WebSocketClient.hpp>

#include "CurlConnection.hpp"
#include "Frame.hpp"
#include "FrameDecoder.hpp"
#include "Handshake.hpp"
#include "Utf8Validator.hpp"

#include <httpclient_core/Exceptions.hpp>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace foundation::httpclient_websocket {

namespace {

using httpclient_core::BadWebSocketException;
using httpclient_core::HttpRequestTimeoutException;
using httpclient_core::HttpResponse;
using httpclient_core::HttpResponseCode;
using httpclient_core::NoExistingConnectionException;
using httpclient_core::ReadCalledWhenAlreadyReadingException;
using httpclient_core::WebSocketClientConfiguration;
using Clock = std::chrono::steady_clock;

constexpr std::size_t receiveChunk = 16384;
constexpr std::size_t maxResponseHead = 65536;
// How often a wait looks whether the client is being closed.
constexpr std::chrono::milliseconds stopCheckInterval{50};

template <std::size_t Size>
std::array<std::uint8_t, Size> randomBytes()
{
    thread_local std::random_device source;
    std::array<std::uint8_t, Size> bytes{};
    for (auto& byte : bytes) {
        byte = static_cast<std::uint8_t>(source());
    }
    return bytes;
}

// Section 5.3: every frame from a client is masked with a fresh key.
std::string clientFrame(Opcode opcode, std::string_view payload)
{
    return encodeFrame(opcode, true, payload, randomBytes<4>());
}

int millisecondsUntil(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, stopCheckInterval.count()));
}

// Waits until fd is ready for events, the deadline passes (time-out) or
// stopping() says to give up.
void waitReady(int fd, short events, Clock::time_point deadline, const std::function<bool()>& stopping,
               const std::string& url)
{
    for (;;) {
        if (stopping()) {
            throwConnectionFailed(url, "closed while connecting");
        }
        if (Clock::now() >= deadline) {
            throw HttpRequestTimeoutException();
        }
        pollfd entry{fd, events, 0};
        if (::poll(&entry, 1, millisecondsUntil(deadline)) > 0) {
            return;
        }
    }
}

struct Handshaken {
    std::string head;
    std::string surplus; // frame bytes that came with the head
};

Handshaken exchangeHandshake(CurlConnection& connection, std::string_view request, Clock::time_point deadline,
                             const std::function<bool()>& stopping, const std::string& url)
{
    while (!request.empty()) {
        const auto sent = connection.send(request);
        if (sent.status == CurlConnection::Status::Closed) {
            throwConnectionFailed(url, "closed during the handshake");
        }
        request.remove_prefix(sent.size);
        if (sent.status == CurlConnection::Status::Again) {
            waitReady(connection.socket(), POLLOUT, deadline, stopping, url);
        }
    }
    std::string received;
    std::array<char, 4096> buffer{};
    for (;;) {
        const std::size_t end = received.find("\r\n\r\n");
        if (end != std::string::npos) {
            return {received.substr(0, end + 4), received.substr(end + 4)};
        }
        if (received.size() > maxResponseHead) {
            throwHandshakeFailed(url, "a response head above 65536 bytes");
        }
        const auto got = connection.receive(buffer.data(), buffer.size());
        if (got.status == CurlConnection::Status::Closed) {
            throwConnectionFailed(url, "closed during the handshake");
        }
        received.append(buffer.data(), got.size);
        if (got.status == CurlConnection::Status::Again) {
            waitReady(connection.socket(), POLLIN, deadline, stopping, url);
        }
    }
}

// A pipe that wakes the I/O thread out of poll().
class WakePipe {
public:
    WakePipe()
    {
        if (::pipe2(fds.data(), O_NONBLOCK | O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2");
        }
    }
    ~WakePipe()
    {
        ::close(fds[0]);
        ::close(fds[1]);
    }
    WakePipe(const WakePipe&) = delete;
    WakePipe& operator=(const WakePipe&) = delete;

    void signal() const
    {
        const char byte = 0;
        // A full pipe already wakes the reader.
        [[maybe_unused]] const auto written = ::write(fds[1], &byte, 1);
    }
    void drain() const
    {
        std::array<char, 64> sink{};
        while (::read(fds[0], sink.data(), sink.size()) > 0) {
        }
    }
    int readEnd() const { return fds[0]; }

private:
    std::array<int, 2> fds{};
};

ReadResult toReadResult(Incoming&& piece)
{
    return {piece.messageType == Opcode::Text ? MessageType::Text : MessageType::Binary, std::move(piece.data),
            piece.isFinal};
}

void fail(ReadHandler& handler, std::exception_ptr error)
{
    handler(ReadResult{MessageType::Text, {}, false}, std::move(error));
}

} // namespace

class WebSocketClient::Impl {
public:
    explicit Impl(WebSocketClientConfiguration configuration) : configuration(std::move(configuration)) {}

    // 1001 without a reason passes every check of close(); what else could
    // throw (a failing join) should end the program.
    ~Impl() { close(closeCode::goingAway, "", false); } // NOLINT(bugprone-exception-escape)

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void setProxy(std::string proxyUrl)
    {
        const std::lock_guard lock(mutex);
        proxy = std::move(proxyUrl);
    }

    void setProxyCredentials(std::string user, std::string password)
    {
        const std::lock_guard lock(mutex);
        proxyUser = std::move(user);
        proxyPassword = std::move(password);
    }

    HttpResponse connect(const std::string& url)
    {
        const std::lock_guard lifecycle(lifecycleMutex);
        requestClose(closeCode::normal, "", false);
        if (io.joinable()) {
            io.join();
        }
        {
            const std::lock_guard lock(mutex);
            stopping = false;
        }
        auto established = establish(url, [] { return false; });
        const std::lock_guard lock(mutex);
        state = State::Open;
        outgoing.clear();
        io = std::thread(&Impl::run, this, url, std::move(established.session));
        ioThread = io.get_id();
        return std::move(established.response);
    }

    void send(const std::string& payload, MessageType type)
    {
        if (type == MessageType::Text && !isValidUtf8(payload)) {
            throw std::invalid_argument("Text messages must be valid UTF-8");
        }
        auto frame = clientFrame(type == MessageType::Text ? Opcode::Text : Opcode::Binary, payload);
        const std::lock_guard lock(mutex);
        requireOpen();
        outgoing += frame;
        wake.signal();
    }

    void read(ReadHandler handler)
    {
        const std::lock_guard lock(mutex);
        requireOpen();
        if (pendingRead) {
            throw ReadCalledWhenAlreadyReadingException();
        }
        pendingRead = std::move(handler);
        wake.signal();
    }

    // Starts the closing handshake or stops a reconnect, then, unless called
    // from the client's own thread, waits for the thread to end.
    void close(std::uint16_t code, const std::string& reason, bool requireConnection)
    {
        if (!requestClose(code, reason, requireConnection)) {
            const std::lock_guard lifecycle(lifecycleMutex);
            if (io.joinable()) {
                io.join();
            }
        }
    }

    bool isConnected() const
    {
        const std::lock_guard lock(mutex);
        return state == State::Open;
    }

private:
    enum class State { Idle, Open, Closing, Reconnecting };

    struct Session {
        std::unique_ptr<CurlConnection> connection;
        std::string surplus;
    };

    struct Established {
        HttpResponse response;
        Session session;
    };

    // Returns whether the caller runs on the client's own thread.
    bool requestClose(std::uint16_t code, const std::string& reason, bool requireConnection)
    {
        const auto payload = closePayload(code, reason);
        const std::lock_guard lock(mutex);
        if (state == State::Idle && requireConnection) {
            throw NoExistingConnectionException();
        }
        stopping = true;
        if (state == State::Open) {
            state = State::Closing;
            outgoing += clientFrame(Opcode::Close, payload);
            closeDeadline = Clock::now() + std::chrono::milliseconds(configuration.connectTimeout());
        }
        changed.notify_all();
        wake.signal();
        return std::this_thread::get_id() == ioThread;
    }

    void requireOpen() const
    {
        if (state != State::Open) {
            throw NoExistingConnectionException();
        }
    }

    // Opens a connection and performs the handshake, offering recoverable
    // refusals to the configuration's callback.
    Established establish(const std::string& urlText, const std::function<bool()>& stopRequested)
    {
        const auto url = parseWebSocketUrl(urlText);
        const auto customHeaders = configuration.customHandshakeHeaders();
        const auto key = handshakeKey(randomBytes<16>());
        const auto request = handshakeRequest(url, key, customHeaders);
        const auto recoverable = configuration.recoverableConnectErrorCodes();
        for (unsigned long refusals = 1;; ++refusals) {
            ConnectionSettings settings;
            settings.certificateFile = configuration.certificateFile().string();
            settings.connectTimeoutMs = static_cast<long>(configuration.connectTimeout());
            {
                const std::lock_guard lock(mutex);
                settings.proxy = proxy;
                settings.proxyUser = proxyUser;
                settings.proxyPassword = proxyPassword;
            }
            const auto deadline = Clock::now() + std::chrono::milliseconds(settings.connectTimeoutMs);
            auto opened = CurlConnection::open(url, urlText, settings, stopRequested);
            std::string surplus;
            ResponseHead head;
            if (opened.connection) {
                auto handshaken = exchangeHandshake(*opened.connection, request, deadline, stopRequested, urlText);
                head = parseResponseHead(handshaken.head, urlText);
                surplus = std::move(handshaken.surplus);
            } else {
                head = parseResponseHead(opened.proxyResponse, urlText);
            }
            const auto code = head.response.getResponseCode();
            if (opened.connection && code == HttpResponseCode::SwitchingProtocols) {
                checkHandshakeResponse(head, urlText, key, customHeaders);
                return {std::move(head.response), {std::move(opened.connection), std::move(surplus)}};
            }
            const auto recover = configuration.connectErrorRecoveryEnabled()
                                     ? configuration.onRecoverableConnectError()
                                     : WebSocketClientConfiguration::RecoverableConnectErrorCallback();
            if (recoverable.count(code) == 0 || !recover || !recover(std::move(head.response), refusals)) {
                throwHandshakeFailed(urlText, head.statusLine);
            }
        }
    }

    // The I/O thread: serves connections until close() or the reconnect
    // policy ends it.
    void run(const std::string& url, Session session)
    {
        for (;;) {
            const auto error = serve(session);
            session.connection.reset();
            std::optional<ReadHandler> handler;
            bool reconnect = false;
            {
                const std::lock_guard lock(mutex);
                handler = std::exchange(pendingRead, std::nullopt);
                reconnect = state == State::Open && !stopping && configuration.reconnectEnabled();
                state = reconnect ? State::Reconnecting : State::Idle;
            }
            if (handler) {
                fail(*handler, error ? error : std::make_exception_ptr(NoExistingConnectionException()));
            }
            if (!reconnect) {
                return;
            }
            auto next = reconnectTo(url);
            if (!next) {
                return;
            }
            session = std::move(*next);
        }
    }

    bool stopRequested() const
    {
        const std::lock_guard lock(mutex);
        return stopping;
    }

    std::optional<Session> reconnectTo(const std::string& url)
    {
        const auto backoff = configuration.reconnectBackoffFcn();
        std::chrono::milliseconds delay{0};
        for (unsigned long attempt = 1;; ++attempt) {
            if (stopRequested()) {
                return settle(State::Idle);
            }
            const auto [next, goOn] = backoff(delay, attempt);
            if (!goOn) {
                settle(State::Idle);
                if (configuration.hasOnReconnectAborted()) {
                    if (const auto aborted = configuration.onReconnectAborted()) {
                        aborted();
                    }
                }
                return std::nullopt;
            }
            delay = next;
            {
                std::unique_lock lock(mutex);
                if (changed.wait_for(lock, delay, [this] { return stopping; })) {
                    state = State::Idle;
                    return std::nullopt;
                }
            }
            std::optional<Established> established;
            try {
                established = establish(url, [this] { return stopRequested(); });
            } catch (const BadWebSocketException&) {
                continue;
            } catch (const HttpRequestTimeoutException&) {
                continue;
            }
            {
                const std::lock_guard lock(mutex);
                if (stopping) {
                    state = State::Idle;
                    return std::nullopt;
                }
                state = State::Open;
                outgoing.clear();
            }
            if (const auto reconnected = configuration.onReconnected()) {
                reconnected(std::move(established->response));
            }
            return std::move(established->session);
        }
    }

    std::nullopt_t settle(State next)
    {
        const std::lock_guard lock(mutex);
        state = next;
        return std::nullopt;
    }

    // Moves frames both ways until the connection ends; returns the error
    // for a pending read when the server broke the protocol.
    std::exception_ptr serve(Session& session)
    {
        CurlConnection& connection = *session.connection;
        FrameDecoder decoder(configuration.maxReadFrameSize());
        decoder.feed(session.surplus);
        std::optional<Incoming> piece;
        std::string writing;
        std::exception_ptr error;
        std::optional<Clock::time_point> endAfterWriting; // set once this side has decided to end
        const auto pingInterval = configuration.pingInterval();
        const bool pinging = pingInterval && *pingInterval > 0;
        auto nextPing = Clock::now() + std::chrono::milliseconds(pinging ? *pingInterval : 0);
        bool awaitingPong = false;
        std::array<char, receiveChunk> buffer{};

        for (;;) {
            std::optional<ReadHandler> handler;
            bool closing = false;
            {
                const std::lock_guard lock(mutex);
                closing = state == State::Closing;
                if (closing) {
                    piece.reset();
                    if (Clock::now() >= closeDeadline) {
                        return nullptr;
                    }
                } else if (piece && pendingRead) {
                    handler = std::exchange(pendingRead, std::nullopt);
                }
            }
            if (handler) {
                auto result = toReadResult(std::move(*piece));
                piece.reset();
                (*handler)(std::move(result), nullptr);
                continue;
            }

            bool needBytes = false;
            const bool held = piece.has_value();
            try {
                while (!piece && !endAfterWriting) {
                    auto incoming = decoder.next();
                    if (!incoming) {
                        needBytes = true;
                        break;
                    }
                    switch (incoming->kind) {
                    case Incoming::Kind::Piece:
                        if (!closing) {
                            piece = std::move(incoming);
                        }
                        break;
                    case Incoming::Kind::Ping:
                        queue(clientFrame(Opcode::Pong, incoming->data));
                        break;
                    case Incoming::Kind::Pong:
                        awaitingPong = false;
                        break;
                    case Incoming::Kind::Close:
                        if (closing) {
                            return nullptr; // the answer to our close
                        }
                        // Section 5.5.1: answer with the code received.
                        queue(clientFrame(Opcode::Close, incoming->closeCode ? closePayload(*incoming->closeCode, "")
                                                                             : std::string()));
                        endAfterWriting = Clock::now() + std::chrono::milliseconds(configuration.connectTimeout());
                        break;
                    }
                }
            } catch (const ProtocolError& violation) {
                queue(clientFrame(Opcode::Close, closePayload(violation.closeCode(), "")));
                error = std::make_exception_ptr(BadWebSocketException(violation.what()));
                endAfterWriting = Clock::now() + std::chrono::milliseconds(configuration.connectTimeout());
            }
            if (piece && !held) {
                continue; // to its reader first
            }

            if (pinging && piece) {
                // Nothing is read while a piece waits for its reader, so no
                // pong could arrive: the keep-alive rests.
                nextPing = Clock::now() + std::chrono::milliseconds(*pingInterval);
                awaitingPong = false;
            } else if (pinging && !closing && !endAfterWriting && Clock::now() >= nextPing) {
                if (awaitingPong) {
                    return nullptr;
                }
                queue(clientFrame(Opcode::Ping, ""));
                awaitingPong = true;
                nextPing += std::chrono::milliseconds(*pingInterval);
            }

            if (writing.empty()) {
                const std::lock_guard lock(mutex);
                writing.swap(outgoing);
            }
            while (!writing.empty()) {
                const auto sent = connection.send(writing);
                if (sent.status == CurlConnection::Status::Closed) {
                    return error;
                }
                writing.erase(0, sent.size);
                if (sent.status == CurlConnection::Status::Again) {
                    break;
                }
            }
            if (endAfterWriting && (writing.empty() || Clock::now() >= *endAfterWriting)) {
                return error;
            }

            if (needBytes) {
                const auto got = connection.receive(buffer.data(), buffer.size());
                if (got.status == CurlConnection::Status::Closed) {
                    return error;
                }
                if (got.status == CurlConnection::Status::Done) {
                    decoder.feed(std::string_view(buffer.data(), got.size));
                    continue;
                }
            }

            std::array<pollfd, 2> entries{};
            entries[0].events = static_cast<short>((needBytes ? POLLIN : 0) | (writing.empty() ? 0 : POLLOUT));
            entries[0].fd = entries[0].events != 0 ? connection.socket() : -1;
            entries[1].fd = wake.readEnd();
            entries[1].events = POLLIN;
            auto wakeAt = closing ? closeDeadline : Clock::time_point::max();
            if (endAfterWriting) {
                wakeAt = std::min(wakeAt, *endAfterWriting);
            }
            if (pinging) {
                wakeAt = std::min(wakeAt, nextPing);
            }
            int timeout = -1;
            if (wakeAt != Clock::time_point::max()) {
                const auto left = std::chrono::ceil<std::chrono::milliseconds>(wakeAt - Clock::now()).count();
                timeout = static_cast<int>(std::clamp<std::int64_t>(left, 0, 60000));
            }
            ::poll(entries.data(), entries.size(), timeout);
            if ((entries[1].revents & POLLIN) != 0) {
                wake.drain();
            }
        }
    }

    void queue(const std::string& frame)
    {
        const std::lock_guard lock(mutex);
        outgoing += frame;
    }

    const WebSocketClientConfiguration configuration;
    std::mutex lifecycleMutex; // serialises connect() with the joins of close()
    mutable std::mutex mutex;  // guards everything below
    std::condition_variable changed;
    std::string proxy;
    std::string proxyUser;
    std::string proxyPassword;
    State state = State::Idle;
    bool stopping = false;
    std::string outgoing; // frames for the I/O thread to send
    std::optional<ReadHandler> pendingRead;
    Clock::time_point closeDeadline;
    std::thread io;
    std::thread::id ioThread;
    WakePipe wake;
};

WebSocketClient::WebSocketClient(WebSocketClientConfiguration configuration)
    : impl(std::make_unique<Impl>(std::move(configuration)))
{
}

WebSocketClient::~WebSocketClient() = default;

void WebSocketClient::setProxy(std::string proxyUrl)
{
    impl->setProxy(std::move(proxyUrl));
}

void WebSocketClient::setProxyCredentials(std::string user, std::string password)
{
    impl->setProxyCredentials(std::move(user), std::move(password));
}

HttpResponse WebSocketClient::connect(const httpclient_core::URL& url)
{
    return impl->connect(url.url);
}

void WebSocketClient::send(std::string payload, MessageType type) // NOLINT(performance-unnecessary-value-param)
{
    impl->send(payload, type);
}

void WebSocketClient::read(ReadHandler handler)
{
    impl->read(std::move(handler));
}

std::future<ReadResult> WebSocketClient::read()
{
    auto promise = std::make_shared<std::promise<ReadResult>>();
    auto future = promise->get_future();
    impl->read([promise](ReadResult result, std::exception_ptr error) {
        if (error) {
            promise->set_exception(std::move(error));
        } else {
            promise->set_value(std::move(result));
        }
    });
    return future;
}

void WebSocketClient::close(std::uint16_t code, const std::string& reason)
{
    impl->close(code, reason, true);
}

bool WebSocketClient::isConnected() const
{
    return impl->isConnected();
}

} // namespace foundation::httpclient_websocket
