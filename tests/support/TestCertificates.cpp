#include "support/TestCertificates.hpp"

#include "support/ServerProcess.hpp"

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace support {

namespace {

void run(const std::string& command)
{
    if (std::system((command + " 2>/dev/null").c_str()) != 0) {
        throw std::runtime_error("failed: " + command);
    }
}

std::string quoted(const std::filesystem::path& path)
{
    return "'" + path.string() + "'";
}

} // namespace

TestCertificates::TestCertificates(const std::filesystem::path& directory) : directory(directory)
{
    const auto authorityKey = directory / "authority.key";
    const auto request = directory / "server.csr";
    const auto extensions = directory / "server.ext";
    run("openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=httpclient-test-authority -keyout " +
        quoted(authorityKey) + " -out " + quoted(authority()));
    run("openssl req -newkey rsa:2048 -nodes -subj /CN=localhost -keyout " + quoted(key()) + " -out " +
        quoted(request));
    writeFile(extensions, "subjectAltName=IP:127.0.0.1,DNS:localhost\n");
    run("openssl x509 -req -days 2 -set_serial 1 -in " + quoted(request) + " -CA " + quoted(authority()) + " -CAkey " +
        quoted(authorityKey) + " -extfile " + quoted(extensions) + " -out " + quoted(certificate()));
}

} // namespace support
