// Nginx: Debian's nginx started by a test on 127.0.0.1 and an ephemeral port,
// with a configuration and a document root of its own in a scratch
// directory, serving static files. It closes every connection after one
// reply, so that a relay in front of it sees one reply per connection.
//
//   support::Nginx nginx;
//   nginx.putFile("file", bytes);
//   client.makeRequest(support::get(nginx.url("/file")));
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace support {

class Nginx {
public:
    // Throws std::runtime_error when nginx does not start within 30 seconds.
    Nginx();
    // Stops nginx, waits for it, and removes the scratch directory.
    ~Nginx();
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    int port() const { return listening; }
    // "http://127.0.0.1:<port><path>".
    std::string url(const std::string& path) const;
    // Writes (or replaces) a file under the document root.
    void putFile(const std::string& name, const std::string& bytes) const;

private:
    bool start(int candidate);
    void stop();

    std::filesystem::path directory;
    int listening = 0;
    pid_t process = -1;
};

} // namespace support
