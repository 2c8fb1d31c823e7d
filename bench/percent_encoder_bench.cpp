// Percent encoding with "%20" for a space: PercentEncoder against libcurl's
// curl_easy_escape and Boost.URL's encode over the unreserved set, on 1 MiB of
// random bytes, 1 MiB of text with 10 % reserved characters and a 40-byte
// query value. A memcpy of the input is the floor. Every output is compared
// byte for byte with both peers before anything is timed.
#include "BenchSupport.hpp"

#include <httpclient_core/PercentEncoder.hpp>

#include <benchmark/benchmark.h>
#include <boost/url/encode.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>
#include <curl/curl.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using foundation::httpclient_core::PercentEncoder;

struct CurlHandleDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using CurlHandle = std::unique_ptr<CURL, CurlHandleDeleter>;

struct Input {
    std::string name;
    std::string bytes;
};

std::string curlEscape(CURL* handle, const std::string& input)
{
    char* escaped = curl_easy_escape(handle, input.data(), static_cast<int>(input.size()));
    bench::require(escaped != nullptr, "curl_easy_escape", "returned null");
    std::string text(escaped);
    curl_free(escaped);
    return text;
}

std::string boostEncode(const std::string& input)
{
    return boost::urls::encode(boost::urls::string_view(input.data(), input.size()), boost::urls::unreserved_chars);
}

void setBytes(benchmark::State& state, const Input& input)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(input.bytes.size()));
}

void registerFor(const Input& input, CURL* curl)
{
    benchmark::RegisterBenchmark(("BM_PercentEncoder_" + input.name).c_str(), [&input](benchmark::State& state) {
        const PercentEncoder encode("%20");
        for (auto _ : state) {
            auto text = encode(input.bytes);
            benchmark::DoNotOptimize(text.data());
        }
        setBytes(state, input);
    });
    benchmark::RegisterBenchmark(("BM_CurlEscape_" + input.name).c_str(), [&input, curl](benchmark::State& state) {
        for (auto _ : state) {
            char* escaped = curl_easy_escape(curl, input.bytes.data(), static_cast<int>(input.bytes.size()));
            benchmark::DoNotOptimize(escaped);
            curl_free(escaped);
        }
        setBytes(state, input);
    });
    benchmark::RegisterBenchmark(("BM_BoostUrlEncode_" + input.name).c_str(), [&input](benchmark::State& state) {
        for (auto _ : state) {
            auto text = boostEncode(input.bytes);
            benchmark::DoNotOptimize(text.data());
        }
        setBytes(state, input);
    });
    benchmark::RegisterBenchmark(("BM_Memcpy_" + input.name).c_str(), [&input](benchmark::State& state) {
        std::string copy(input.bytes.size(), '\0');
        for (auto _ : state) {
            std::memcpy(copy.data(), input.bytes.data(), input.bytes.size());
            benchmark::DoNotOptimize(copy.data());
            benchmark::ClobberMemory();
        }
        setBytes(state, input);
    });
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    curl_global_init(CURL_GLOBAL_DEFAULT);
    CurlHandle curl(curl_easy_init());
    bench::require(curl != nullptr, "curl_easy_init", "returned null");

    const std::vector<Input> inputs{
        {"Random1MiB", bench::randomBytes(std::size_t{1} << 20, 1)},
        {"Text1MiB", bench::textWithReserved(std::size_t{1} << 20, 0.10, 2)},
        {"Query40B", "cr\xC3\xA8me br\xC3\xBBl\xC3\xA9"
                     "e & caf\xC3\xA9 au lait = 4.50/2"},
    };
    bench::require(inputs[2].bytes.size() == 40, "Query40B", "the query value must be 40 bytes");

    const PercentEncoder encode("%20");
    for (const auto& input : inputs) {
        const auto ours = encode(input.bytes);
        bench::requireEqual("PercentEncoder vs curl_easy_escape on " + input.name, curlEscape(curl.get(), input.bytes),
                            ours);
        bench::requireEqual("PercentEncoder vs boost::urls::encode on " + input.name, boostEncode(input.bytes), ours);
        registerFor(input, curl.get());
    }

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    curl.reset();
    curl_global_cleanup();
    return 0;
}
