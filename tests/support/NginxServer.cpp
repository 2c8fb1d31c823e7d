#include "support/NginxServer.hpp"

#include <sstream>

namespace support {

namespace {

std::string configuration(const std::filesystem::path& directory, const TestCertificates& certificates, int port,
                          int tlsPort)
{
    const std::string base = directory.string();
    return "daemon off;\n"
           "master_process off;\n"
           "error_log " +
           base +
           "/error.log info;\n"
           "pid " +
           base +
           "/nginx.pid;\n"
           "events { worker_connections 512; }\n"
           "http {\n"
           "  log_format probe '$connection\\t$server_protocol\\t$request_method\\t$request_uri\\t$status\\t"
           "$http_user_agent\\t$http_accept_encoding\\t$http_range';\n"
           "  access_log " +
           base +
           "/access.log probe;\n"
           "  client_body_temp_path " +
           base +
           "/temp/body;\n"
           "  proxy_temp_path " +
           base +
           "/temp/proxy;\n"
           "  fastcgi_temp_path " +
           base +
           "/temp/fastcgi;\n"
           "  uwsgi_temp_path " +
           base +
           "/temp/uwsgi;\n"
           "  scgi_temp_path " +
           base +
           "/temp/scgi;\n"
           "  default_type application/octet-stream;\n"
           "  sendfile on;\n"
           "  keepalive_timeout 300s;\n"
           "  keepalive_requests 100000;\n"
           "  gzip on;\n"
           "  gzip_types *;\n"
           "  gzip_min_length 0;\n"
           "  server {\n"
           "    listen 127.0.0.1:" +
           std::to_string(port) +
           ";\n"
           "    listen 127.0.0.1:" +
           std::to_string(tlsPort) +
           " ssl http2;\n"
           "    ssl_certificate " +
           certificates.certificate().string() +
           ";\n"
           "    ssl_certificate_key " +
           certificates.key().string() +
           ";\n"
           "    root " +
           base +
           "/www;\n"
           "  }\n"
           "}\n";
}

std::vector<std::string> fields(const std::string& line)
{
    std::vector<std::string> result;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, '\t');) {
        result.push_back(field);
    }
    return result;
}

} // namespace

NginxServer::NginxServer() : certificates(directory.path())
{
    std::filesystem::create_directories(directory.path() / "www");
    std::filesystem::create_directories(directory.path() / "temp");
    const auto file = directory.path() / "nginx.conf";
    onFreePorts(2, [&](const std::vector<int>& ports) {
        port = ports[0];
        tlsPort = ports[1];
        writeFile(file, configuration(directory.path(), certificates, port, tlsPort));
        process = std::make_unique<ServerProcess>(
            std::vector<std::string>{"/usr/sbin/nginx", "-e", (directory.path() / "error.log").string(), "-p",
                                     directory.path().string(), "-c", file.string()},
            ports, directory.path() / "nginx.out");
    });
}

std::string NginxServer::url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(port) + path;
}

std::string NginxServer::tlsUrl(const std::string& path) const
{
    return "https://127.0.0.1:" + std::to_string(tlsPort) + path;
}

void NginxServer::putFile(const std::string& name, const std::string& contents) const
{
    writeFile(root() / name, contents);
}

std::filesystem::path NginxServer::root() const
{
    return directory.path() / "www";
}

std::vector<NginxLogEntry> NginxServer::log(std::size_t count) const
{
    std::vector<NginxLogEntry> entries;
    eventually([&] {
        entries.clear();
        std::istringstream lines(readFile(directory.path() / "access.log"));
        for (std::string line; std::getline(lines, line);) {
            const auto field = fields(line);
            if (field.size() == 8) {
                entries.push_back(
                    {field[0], field[1], field[2], field[3], std::stoi(field[4]), field[5], field[6], field[7]});
            }
        }
        return entries.size() >= count;
    });
    return entries;
}

} // namespace support
