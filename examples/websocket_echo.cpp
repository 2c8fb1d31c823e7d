// Connects to a WebSocket echo server, sends one message, reads the answer
// piece by piece and closes: the smallest tour of httpclient_websocket.
//
//   websocket_echo ws://127.0.0.1:8765/echo "hello"
#include <httpclient_core/Exceptions.hpp>
#include <httpclient_websocket/WebSocketClient.hpp>

#include <chrono>
#include <iostream>
#include <string>

using namespace foundation::httpclient_core;
using namespace foundation::httpclient_websocket;

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::cerr << "usage: " << argv[0] << " ws://host:port/path [message]\n";
        return 2;
    }
    const std::string message = argc > 2 ? argv[2] : "hello";
    try {
        WebSocketClient client(WebSocketClientConfiguration().withConnectTimeout(3000));
        const auto handshake = client.connect(URL{argv[1]});
        std::cout << "connected: " << static_cast<int>(handshake.getResponseCode()) << ' '
                  << handshake.getResponseCodeReason() << '\n';

        client.send(message);
        std::string answer;
        for (bool last = false; !last;) {
            auto piece = client.read();
            if (piece.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
                std::cerr << "no answer within 10 s\n";
                return 1;
            }
            const auto result = piece.get();
            answer += result.data;
            last = result.isFinal;
        }
        std::cout << "received: " << answer << '\n';
        client.close(1000, "done");
        std::cout << "closed\n";
    } catch (const std::exception& error) {
        std::cerr << "websocket_echo: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
