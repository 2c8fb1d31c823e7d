// Peak resident set of a large download streamed to a file: CurlHttpClient
// fetches one resource with a response stream factory that opens an
// std::fstream on a file, and the process then reads its own high-water mark
// (VmHWM in /proc/self/status). It runs as a process of its own so that
// nothing else inflates that mark.
//
//   stream_rss_bench http://127.0.0.1:40123/1g.bin /tmp/work/download.bin 1073741824
//
// Prints one JSON object in Google Benchmark's layout, named
// BM_CurlHttpClient_StreamToFile1GiB, with peak_rss_bytes and the
// throughput; aborts unless the status is 200 and the file has the expected size.
#include "BenchSupport.hpp"

#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_curl/CurlHttpClient.hpp>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

using namespace foundation::httpclient_core;
using foundation::httpclient_curl::CurlHttpClient;

// VmHWM of this process in bytes.
std::uint64_t peakResidentBytes()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0) {
            return std::stoull(line.substr(6)) * 1024;
        }
    }
    bench::fail("/proc/self/status", "no VmHWM line");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s URL FILE EXPECTED_SIZE\n", argv[0]);
        return 2;
    }
    const std::string url = argv[1];
    const std::filesystem::path file = argv[2];
    const std::uintmax_t expected = std::stoull(argv[3]);

    const CurlHttpClient client;
    HttpRequest request(HttpMethod::GET, URL{url}, {});
    request.setResponseStreamFactory([file](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<std::fstream>(file, std::ios::in | std::ios::out | std::ios::binary | std::ios::trunc);
    });

    const auto start = std::chrono::steady_clock::now();
    auto response = client.makeRequest(std::move(request));
    response.getResponseBody().flush();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    bench::require(response.getResponseCode() == HttpResponseCode::OK, "download of " + url, "status is not 200");
    const auto size = std::filesystem::file_size(file);
    bench::require(size == expected, "download of " + url,
                   "file holds " + std::to_string(size) + " bytes, expected " + std::to_string(expected));
    const auto peak = peakResidentBytes();
    std::filesystem::remove(file);

    std::printf("{\"benchmarks\": [{\"name\": \"BM_CurlHttpClient_StreamToFile1GiB\", \"run_type\": \"iteration\", "
                "\"peak_rss_bytes\": %llu, \"real_time\": %.6f, \"time_unit\": \"s\", \"bytes_per_second\": %.1f}]}\n",
                static_cast<unsigned long long>(peak), elapsed.count(), static_cast<double>(size) / elapsed.count());
    return 0;
}
