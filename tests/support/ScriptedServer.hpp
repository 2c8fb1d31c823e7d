// ScriptedServer: a bare TCP server on 127.0.0.1 and an ephemeral port that
// answers the n-th request it receives with the n-th scripted reply, byte for
// byte, so a test can send what no well-behaved server would: a header block
// cut after the status line, a malformed Content-Length, a 206 cut midway.
//
//   support::ScriptedServer server({{"HTTP/1.1 200 OK\r\n", true}, {ok, false}});
//   client.makeRequest(support::get(server.url("/file")));
//   server.received()[1].connection;   // 1: the cut connection was not reused
//
// A request is its header block; a body is not read. Requests beyond the
// script get their connection closed.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

struct ScriptedReply {
    std::string bytes;
    // Close the connection after the bytes; else keep it open for another request.
    bool close = true;
};

struct ReceivedRequest {
    // The request's header block, request line first.
    std::string head;
    // Which accepted connection it came on, counting from 0.
    std::size_t connection;

    // The value of the first header of that name (case-sensitive), "" when absent.
    std::string header(const std::string& name) const;
};

class ScriptedServer {
public:
    explicit ScriptedServer(std::vector<ScriptedReply> replies);
    // Stops and joins the server's thread, closing every connection.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    // "http://127.0.0.1:<port><path>".
    std::string url(const std::string& path) const;
    std::vector<ReceivedRequest> received() const;

private:
    void serve();

    const std::vector<ScriptedReply> replies;
    int listener = -1;
    int wakeup[2] = {-1, -1};
    int port = 0;
    mutable std::mutex mutex;
    std::vector<ReceivedRequest> requests;
    std::thread thread;
};

} // namespace support
