// TestCertificates: a certificate authority made afresh with openssl for one
// test run, and a server certificate it signed for 127.0.0.1 and localhost.
//
//   support::TestCertificates certificates(directory.path());
//   client configuration: withCertificateFile(certificates.authority())
//   server: certificates.certificate(), certificates.key()
#pragma once

#include <filesystem>

namespace support {

class TestCertificates {
public:
    // Writes the PEM files into directory; throws std::runtime_error when openssl fails.
    explicit TestCertificates(const std::filesystem::path& directory);

    std::filesystem::path authority() const { return directory / "authority.pem"; }
    std::filesystem::path certificate() const { return directory / "server.pem"; }
    std::filesystem::path key() const { return directory / "server.key"; }

private:
    std::filesystem::path directory;
};

} // namespace support
