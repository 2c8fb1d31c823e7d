#include <httpclient_websocket/WebSocketClient.hpp>

#include "ChildProcess.hpp"
#include "support/ExpectThrowMessage.hpp"
#include "support/LoopbackServer.hpp"

#include <httpclient_core/Exceptions.hpp>

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using namespace foundation::httpclient_core;
using namespace foundation::httpclient_websocket;
using namespace std::chrono_literals;

static_assert(!std::is_copy_constructible_v<WebSocketClient> && !std::is_move_constructible_v<WebSocketClient>);

namespace {

constexpr auto bound = 20s;
const std::string noConnection = "No working WebSocket connection. Open was not completed or network error "
                                 "occurred and has not been recovered from.";

// The python3-websockets server of peer.py, started for one test.
class Peer {
public:
    explicit Peer(const std::vector<std::string>& tlsFiles = {}) : process(command(tlsFiles))
    {
        const auto line = process.readLine();
        if (!line || line->rfind("port ", 0) != 0) {
            throw std::runtime_error("peer.py did not start");
        }
        port = line->substr(5);
    }

    URL url(const std::string& path, const std::string& scheme = "ws") const
    {
        return URL{scheme + "://127.0.0.1:" + port + path};
    }

    // The "closed CODE REASON" line the server printed for the next connection that ended.
    std::string closedLine() { return process.readLine().value_or("(nothing)"); }

    void stop() { process.stop(); }

private:
    static std::vector<std::string> command(const std::vector<std::string>& tlsFiles)
    {
        std::vector<std::string> argv{"/usr/bin/python3", PEER_SCRIPT};
        if (!tlsFiles.empty()) {
            argv.insert(argv.end(), {"--cert", tlsFiles[0], "--key", tlsFiles[1]});
        }
        return argv;
    }

    ChildProcess process;
    std::string port;
};

// A scratch directory, removed with everything in it.
class ScratchDirectory {
public:
    explicit ScratchDirectory(const std::string& name)
        : path(std::filesystem::temp_directory_path() / (name + "-" + std::to_string(::getpid())))
    {
        std::filesystem::create_directories(path);
        // squid, started as root, works as its own user.
        std::filesystem::permissions(path, std::filesystem::perms::all);
    }
    ~ScratchDirectory() { std::filesystem::remove_all(path); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path path;
};

int freePort()
{
    const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(probe, reinterpret_cast<sockaddr*>(&address), length);
    ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(probe);
    return ntohs(address.sin_port);
}

bool accepts(int port)
{
    const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const bool connected = ::connect(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return connected;
}

// Debian's squid with Basic authentication (user "alice", password "secret")
// on 127.0.0.1, answering 407 to every request without those credentials.
class Squid {
public:
    Squid() : directory("websocket-squid"), port(freePort())
    {
        const auto dir = directory.path.string();
        if (std::system(("htpasswd -bc '" + dir + "/passwd' alice secret 2>/dev/null").c_str()) != 0) {
            throw std::runtime_error("htpasswd failed");
        }
        std::filesystem::permissions(directory.path / "passwd", std::filesystem::perms::all);
        std::ofstream(directory.path / "squid.conf")
            << "http_port 127.0.0.1:" << port << "\npid_filename " << dir << "/squid.pid\ncache_log " << dir
            << "/cache.log\naccess_log none\ncache deny all\ncoredump_dir " << dir
            << "\nshutdown_lifetime 0 seconds\nauth_param basic program /usr/lib/squid/basic_ncsa_auth " << dir
            << "/passwd\nauth_param basic realm websocket-test\nacl authenticated proxy_auth REQUIRED\n"
               "http_access allow authenticated\nhttp_access deny all\n";
        process.emplace(std::vector<std::string>{"/usr/sbin/squid", "-N", "-f", dir + "/squid.conf"});
        const auto deadline = std::chrono::steady_clock::now() + bound;
        while (!accepts(port)) {
            if (std::chrono::steady_clock::now() > deadline) {
                throw std::runtime_error("squid did not start");
            }
            std::this_thread::sleep_for(50ms);
        }
    }

    std::string url() const { return "http://127.0.0.1:" + std::to_string(port); }

private:
    ScratchDirectory directory;
    int port;
    std::optional<ChildProcess> process;
};

template <typename T>
T get(std::future<T>& future)
{
    if (future.wait_for(bound) != std::future_status::ready) {
        throw std::runtime_error("no result within the bound");
    }
    return future.get();
}

// Reads pieces up to the final one; checks the piece sizes on the way.
std::string readMessage(WebSocketClient& client, MessageType expectedType, std::size_t limit)
{
    std::string message;
    for (;;) {
        auto future = client.read();
        const auto piece = get(future);
        EXPECT_EQ(piece.type, expectedType);
        EXPECT_LE(piece.data.size(), limit);
        if (!piece.isFinal) {
            EXPECT_EQ(piece.data.size(), limit) << "only the last piece may be short";
        }
        message += piece.data;
        if (piece.isFinal) {
            return message;
        }
    }
}

// Reads, then sends the message on which the server misbehaves.
template <typename Exception>
void expectReadFails(WebSocketClient& client, const std::string& message)
{
    auto future = client.read();
    client.send("go");
    ASSERT_EQ(future.wait_for(bound), std::future_status::ready);
    EXPECT_THROW_MSG(future.get(), Exception, message);
}

} // namespace

TEST(WebSocketClient, EchoesTextAndBinaryMessagesFromEmptyToOneMebibyte)
{
    Peer peer;
    WebSocketClient client(WebSocketClientConfiguration{});
    const auto response = client.connect(peer.url("/echo"));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::SwitchingProtocols);
    EXPECT_EQ(response.getHeaderValue("Upgrade"), "websocket");
    EXPECT_TRUE(client.isConnected());

    for (const std::size_t size : {0U, 1U, 125U, 126U, 1532U, 1533U, 65536U, 1U << 20U}) {
        SCOPED_TRACE(size);
        std::string text; // whole characters, some cut by piece ends
        while (text.size() < size) {
            text += text.size() % 7 == 0 ? "\xE2\x82\xAC" : "a";
        }
        std::string binary(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            binary[i] = static_cast<char>(i * 31);
        }
        client.send(text);
        EXPECT_EQ(readMessage(client, MessageType::Text, 1532), text);
        client.send(binary, MessageType::Binary);
        EXPECT_EQ(readMessage(client, MessageType::Binary, 1532), binary);
    }
    client.close(1000, "done");
    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(peer.closedLine(), "closed 1000 done");
}

TEST(WebSocketClient, ReadLoopInHandlersAndCloseFromAHandler)
{
    Peer peer;
    WebSocketClient client(WebSocketClientConfiguration().withMaxReadFrameSize(4));
    client.connect(peer.url("/fragmented"));
    std::vector<std::string> pieces;
    std::promise<void> done;
    std::function<void(ReadResult, std::exception_ptr)> loop = [&](ReadResult result, std::exception_ptr error) {
        if (error) {
            done.set_exception(error);
            return;
        }
        pieces.push_back(result.data + (result.isFinal ? "|" : ""));
        if (result.isFinal) {
            client.close(4000, "from a handler"); // returns at once; the client's thread finishes it
            done.set_value();
        } else {
            client.read(loop); // the read is no longer pending once its handler runs
        }
    };
    client.read(loop);
    auto finished = done.get_future();
    get(finished);
    EXPECT_EQ(pieces, (std::vector<std::string>{"abcd", "ef|"}));
    EXPECT_EQ(peer.closedLine(), "closed 4000 from a handler");
}

TEST(WebSocketClient, AnswersPingsAndSendsTheCustomHandshakeHeaders)
{
    Peer peer;
    WebSocketClient client(WebSocketClientConfiguration().withCustomHandshakeHeaders({{"X-Test", "custom value"}}));
    client.connect(peer.url("/ping"));
    EXPECT_EQ(readMessage(client, MessageType::Text, 1532), "pong received");
    client.connect(peer.url("/headers")); // replaces the first connection, closing it with 1000
    EXPECT_EQ(peer.closedLine(), "closed 1000 ");
    EXPECT_EQ(readMessage(client, MessageType::Text, 1532), "custom value");
}

TEST(WebSocketClient, RefusesMisuseWithTheDocumentedExceptions)
{
    Peer peer;
    WebSocketClient client(WebSocketClientConfiguration{});
    EXPECT_THROW_MSG(client.send("x"), NoExistingConnectionException, noConnection);
    EXPECT_THROW(client.read(), NoExistingConnectionException);
    EXPECT_THROW(client.close(), NoExistingConnectionException);
    EXPECT_THROW_MSG(client.connect(URL{"http://127.0.0.1/"}), BadWebSocketException,
                     "Not a WebSocket URL: http://127.0.0.1/");
    const auto forbidden = peer.url("/forbidden");
    EXPECT_THROW_MSG(client.connect(forbidden), BadWebSocketException,
                     "WebSocket handshake with " + forbidden.url + " failed: HTTP/1.1 403 Forbidden");
    const auto closed = "ws://127.0.0.1:" + std::to_string(support::closedPort()) + "/";
    try {
        client.connect(URL{closed});
        ADD_FAILURE() << "connected to a closed port";
    } catch (const BadWebSocketException& error) {
        EXPECT_EQ(
            std::string(error.what()).rfind("WebSocket connection to " + closed + " failed: Failed to connect", 0), 0U)
            << error.what();
    }

    client.connect(peer.url("/echo"));
    auto first = client.read();
    EXPECT_THROW(client.read(), ReadCalledWhenAlreadyReadingException);
    EXPECT_THROW_MSG(client.send("\xC3"), std::invalid_argument, "Text messages must be valid UTF-8");
    EXPECT_THROW_MSG(client.close(1005), std::invalid_argument, "Close code 1005 cannot be sent");
    EXPECT_TRUE(client.isConnected()) << "refused calls change nothing";
    client.send("still here");
    EXPECT_EQ(get(first).data, "still here");
}

TEST(WebSocketClient, TimesOutWhenTheServerNeverAnswers)
{
    // The kernel completes the TCP handshake into the backlog; nobody ever answers the upgrade.
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(::listen(listener, 4), 0);
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    WebSocketClient client(WebSocketClientConfiguration().withConnectTimeout(200));
    EXPECT_THROW_MSG(client.connect(URL{"ws://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/"}),
                     HttpRequestTimeoutException, "Request timed out.");
    ::close(listener);

    support::UnansweredListener unanswered;
    EXPECT_THROW(client.connect(URL{"ws://127.0.0.1:" + std::to_string(unanswered.port) + "/"}),
                 HttpRequestTimeoutException);
}

TEST(WebSocketClient, AnswersTheServersCloseAndFailsThePendingRead)
{
    Peer peer;
    WebSocketClient client(WebSocketClientConfiguration{});
    for (const int code : {1000, 1001, 1003, 1011, 3000, 4999}) {
        SCOPED_TRACE(code);
        client.connect(peer.url("/close/" + std::to_string(code)));
        expectReadFails<NoExistingConnectionException>(client, noConnection);
        EXPECT_EQ(peer.closedLine(), "closed " + std::to_string(code) + " ") << "the client answers with the code";
        EXPECT_FALSE(client.isConnected());
    }
}

TEST(WebSocketClient, ClosesWithTheRightCodeWhenTheServerBreaksTheProtocol)
{
    const struct {
        const char* path;
        const char* code;
        const char* error;
    } rows[] = {
        {"/raw/masked", "1002", "Masked frame from the server"},
        {"/raw/reserved-bit", "1002", "Reserved bits set without an extension"},
        {"/raw/unknown-opcode", "1002", "Unknown opcode 3"},
        {"/raw/long-ping", "1002", "Control frame longer than 125 bytes"},
        {"/raw/bad-utf8", "1007", "Invalid UTF-8 in a text message"},
    };
    Peer peer;
    WebSocketClient client(WebSocketClientConfiguration{});
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        client.connect(peer.url(row.path));
        expectReadFails<BadWebSocketException>(client, row.error);
        EXPECT_EQ(peer.closedLine(), std::string("closed ") + row.code + " ");
    }
}

TEST(WebSocketClient, ReconnectsAfterADropAskingTheBackoffBeforeEachAttempt)
{
    Peer peer;
    std::mutex mutex;
    std::vector<std::pair<long, unsigned long>> asked;
    std::promise<HttpResponseCode> reconnected;
    WebSocketClient client(
        WebSocketClientConfiguration()
            .withReconnectEnabled([&](HttpResponse&& response) { reconnected.set_value(response.getResponseCode()); })
            .withCustomReconnectBackoffFcn([&](const std::chrono::milliseconds& previous, unsigned long attempt) {
                const std::lock_guard lock(mutex);
                asked.emplace_back(static_cast<long>(previous.count()), attempt);
                return std::pair{std::chrono::milliseconds(5), true};
            }));
    client.connect(peer.url("/drop"));
    EXPECT_EQ(readMessage(client, MessageType::Text, 1532), "hello 1");
    auto pending = client.read();
    client.send("drop"); // the server drops the TCP connection without a close frame
    EXPECT_THROW_MSG(get(pending), NoExistingConnectionException, noConnection);
    auto reconnectedCode = reconnected.get_future();
    EXPECT_EQ(get(reconnectedCode), HttpResponseCode::SwitchingProtocols);
    EXPECT_EQ(readMessage(client, MessageType::Text, 1532), "hello 2");
    const std::lock_guard lock(mutex);
    EXPECT_EQ(asked, (std::vector<std::pair<long, unsigned long>>{{0, 1}}));
}

TEST(WebSocketClient, GivesUpWhenTheBackoffSaysSoAndCloseStopsAWaitingReconnect)
{
    std::mutex mutex;
    std::vector<unsigned long> attempts;
    std::promise<void> aborted;
    std::promise<void> secondAttempt;
    auto config = WebSocketClientConfiguration().withReconnectEnabled([](HttpResponse&&) {});
    WebSocketClient givingUp(
        WebSocketClientConfiguration(config)
            .withCustomReconnectBackoffFcn([&](const std::chrono::milliseconds&, unsigned long attempt) {
                const std::lock_guard lock(mutex);
                attempts.push_back(attempt);
                return std::pair{std::chrono::milliseconds(1), attempt < 2};
            })
            .withOnReconnectAborted([&] { aborted.set_value(); }));
    WebSocketClient waiting(WebSocketClientConfiguration(config).withCustomReconnectBackoffFcn(
        [&](const std::chrono::milliseconds&, unsigned long attempt) {
            if (attempt == 1) {
                secondAttempt.set_value();
            }
            return std::pair{std::chrono::milliseconds(std::chrono::hours(1)), true};
        }));
    {
        Peer peer;
        givingUp.connect(peer.url("/echo"));
        waiting.connect(peer.url("/echo"));
    } // the server is gone: every reconnect is refused

    auto abortedFuture = aborted.get_future();
    get(abortedFuture);
    EXPECT_FALSE(givingUp.isConnected());
    EXPECT_THROW(givingUp.read(), NoExistingConnectionException);
    {
        const std::lock_guard lock(mutex);
        EXPECT_EQ(attempts, (std::vector<unsigned long>{1, 2}));
    }

    auto waitingFuture = secondAttempt.get_future();
    get(waitingFuture);
    auto closed = std::async(std::launch::async, [&] { waiting.close(); });
    EXPECT_EQ(closed.wait_for(bound), std::future_status::ready) << "close() stops the hour-long wait";
    EXPECT_THROW(waiting.close(), NoExistingConnectionException);
}

TEST(WebSocketClient, SpeaksTlsTrustingTheConfiguredCertificate)
{
    ScratchDirectory directory("websocket-tls");
    const auto key = (directory.path / "key.pem").string();
    const auto certificate = (directory.path / "certificate.pem").string();
    ASSERT_EQ(std::system(("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=localhost -addext "
                           "subjectAltName=IP:127.0.0.1,DNS:localhost -keyout '" +
                           key + "' -out '" + certificate + "' 2>/dev/null")
                              .c_str()),
              0);
    Peer peer({certificate, key});
    const auto url = peer.url("/echo", "wss");

    WebSocketClient untrusting(WebSocketClientConfiguration{});
    try {
        untrusting.connect(url);
        ADD_FAILURE() << "connected without trusting the certificate";
    } catch (const BadWebSocketException& error) {
        EXPECT_EQ(std::string(error.what()).rfind("WebSocket connection to " + url.url + " failed: SSL", 0), 0U)
            << error.what();
    }

    WebSocketClient client(WebSocketClientConfiguration().withCertificateFile(certificate));
    client.connect(url);
    client.send(std::string(100000, 's'));
    EXPECT_EQ(readMessage(client, MessageType::Text, 1532), std::string(100000, 's'));
    client.close(3001);
    EXPECT_EQ(peer.closedLine(), "closed 3001 ");
}

TEST(WebSocketClient, RecoversFromTheProxysAuthenticationRequest)
{
    Squid squid;
    Peer peer;
    const auto url = peer.url("/echo");

    WebSocketClient refused(WebSocketClientConfiguration{});
    refused.setProxy(squid.url());
    EXPECT_THROW_MSG(refused.connect(url), BadWebSocketException,
                     "WebSocket handshake with " + url.url + " failed: HTTP/1.1 407 Proxy Authentication Required");

    std::vector<std::string> offered;
    WebSocketClient* self = nullptr;
    WebSocketClient client(WebSocketClientConfiguration().withConnectErrorRecovery([&](HttpResponse&& response,
                                                                                       unsigned long count) {
        offered.push_back(std::to_string(count) + " " + std::to_string(static_cast<int>(response.getResponseCode())) +
                          " " + response.getHeaderValue("Proxy-Authenticate"));
        self->setProxyCredentials("alice", count == 1 ? "wrong" : "secret");
        return true;
    }));
    self = &client;
    client.setProxy(squid.url());
    EXPECT_EQ(client.connect(url).getResponseCode(), HttpResponseCode::SwitchingProtocols);
    EXPECT_EQ(offered, (std::vector<std::string>{"1 407 Basic realm=\"websocket-test\"",
                                                 "2 407 Basic realm=\"websocket-test\""}));
    client.send("through the tunnel");
    EXPECT_EQ(readMessage(client, MessageType::Text, 1532), "through the tunnel");
}
