// Header sets and header-value parsing.
//
// BM_HttpHeaders_ResponseWorkload and BM_HttplibHeaders_ResponseWorkload run
// one workload on HttpHeaders and on cpp-httplib's header map (a std::multimap
// with a case-insensitive comparator): add 20 typical response fields, look up
// 10 of them by names spelt in another letter case (copying the first value,
// as both libraries' getters do), iterate over every field, copy the set.
// The parse benchmarks time HttpHeaders::addHeader, ContentType::parse,
// Accept::parse and Cookie::parse on typical values. Results are checked
// before anything is timed.
#include "BenchSupport.hpp"

#include <httpclient_core/Accept.hpp>
#include <httpclient_core/ContentType.hpp>
#include <httpclient_core/Cookie.hpp>
#include <httpclient_core/HttpHeaders.hpp>

#include <benchmark/benchmark.h>
#include <httplib.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace foundation::httpclient_core;

using Field = std::pair<std::string, std::string>;

const std::vector<Field> responseFields{
    {"Date", "Tue, 14 Nov 2023 08:12:31 GMT"},
    {"Server", "Apache/2.4.57 (Debian)"},
    {"Content-Type", "text/html; charset=utf-8"},
    {"Content-Length", "48213"},
    {"Connection", "keep-alive"},
    {"Cache-Control", "public, max-age=3600"},
    {"Expires", "Tue, 14 Nov 2023 09:12:31 GMT"},
    {"Last-Modified", "Mon, 13 Nov 2023 17:45:02 GMT"},
    {"ETag", "\"5f3a-60a1b2c3d4e5f\""},
    {"Accept-Ranges", "bytes"},
    {"Vary", "Accept-Encoding"},
    {"Content-Encoding", "gzip"},
    {"Strict-Transport-Security", "max-age=31536000; includeSubDomains"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "SAMEORIGIN"},
    {"Set-Cookie", "session=8f14e45fceea167a5a36dedd4bea2543; Path=/; HttpOnly"},
    {"Set-Cookie", "theme=dark; Path=/; Max-Age=31536000"},
    {"Access-Control-Allow-Origin", "*"},
    {"Age", "120"},
    {"Via", "1.1 varnish"},
};

const std::vector<std::string> lookupNames{
    "content-type", "CONTENT-LENGTH", "etag", "cache-control", "set-cookie",
    "DATE",         "server",         "VARY", "last-modified", "x-frame-options",
};

struct WorkloadResult {
    std::vector<std::string> values;
    std::size_t iteratedBytes = 0;
    std::size_t copiedSize = 0;
};

// One run of the workload on HttpHeaders; record, when given, keeps what it saw.
std::size_t ourWorkload(WorkloadResult* record)
{
    HttpHeaders headers;
    for (const auto& [name, value] : responseFields) {
        headers.addHeaderValue(name, value);
    }
    std::size_t seen = 0;
    for (const auto& name : lookupNames) {
        const std::string value = headers.getHeaderValue(name);
        seen += value.size();
        if (record != nullptr) {
            record->values.push_back(value);
        }
    }
    std::size_t iterated = 0;
    for (const auto& [name, value] : headers) {
        iterated += name.size() + value.size();
    }
    const HttpHeaders copy = headers;
    if (record != nullptr) {
        record->iteratedBytes = iterated;
        record->copiedSize = copy.size();
    }
    return seen + iterated + copy.size();
}

// The same workload on httplib::Headers; a lookup takes the front of the equal
// range, as httplib's own get_header_value does.
std::size_t httplibWorkload(WorkloadResult* record)
{
    httplib::Headers headers;
    for (const auto& [name, value] : responseFields) {
        headers.emplace(name, value);
    }
    std::size_t seen = 0;
    for (const auto& name : lookupNames) {
        const auto range = headers.equal_range(name);
        const std::string value = range.first != range.second ? range.first->second : std::string();
        seen += value.size();
        if (record != nullptr) {
            record->values.push_back(value);
        }
    }
    std::size_t iterated = 0;
    for (const auto& [name, value] : headers) {
        iterated += name.size() + value.size();
    }
    const httplib::Headers copy = headers;
    if (record != nullptr) {
        record->iteratedBytes = iterated;
        record->copiedSize = copy.size();
    }
    return seen + iterated + copy.size();
}

void checkWorkloads()
{
    WorkloadResult ours;
    WorkloadResult theirs;
    ourWorkload(&ours);
    httplibWorkload(&theirs);
    const std::string what = "HttpHeaders vs httplib::Headers workload";
    bench::require(ours.values.size() == theirs.values.size(), what, "different lookup counts");
    for (std::size_t i = 0; i < ours.values.size(); ++i) {
        bench::requireEqual(what + " lookup of " + lookupNames[i], theirs.values[i], ours.values[i]);
    }
    bench::require(ours.iteratedBytes == theirs.iteratedBytes, what, "iteration saw different bytes");
    bench::require(ours.copiedSize == responseFields.size() && theirs.copiedSize == responseFields.size(), what,
                   "a copy lost fields");
    HttpHeaders headers;
    for (const auto& [name, value] : responseFields) {
        headers.addHeaderValue(name, value);
    }
    std::size_t position = 0;
    for (const auto& field : headers) {
        bench::require(field == responseFields[position++], what, "HttpHeaders iteration is not in insertion order");
    }
}

void BM_HttpHeaders_ResponseWorkload(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(ourWorkload(nullptr));
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_HttplibHeaders_ResponseWorkload(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(httplibWorkload(nullptr));
    }
    state.SetItemsProcessed(state.iterations());
}

// The raw header block of a response, one line per field with its CRLF.
std::vector<std::string> headerLines()
{
    std::vector<std::string> lines;
    lines.reserve(responseFields.size());
    for (const auto& [name, value] : responseFields) {
        std::string line = name;
        line.append(": ").append(value).append("\r\n");
        lines.push_back(std::move(line));
    }
    return lines;
}

std::size_t totalSize(const std::vector<std::string>& lines)
{
    std::size_t size = 0;
    for (const auto& line : lines) {
        size += line.size();
    }
    return size;
}

const std::string contentTypeText = "text/html; charset=utf-8";
const std::string acceptText = "text/html,application/xhtml+xml,application/xml;q=0.9,image/avif,image/webp,*/*;q=0.8";
const std::string cookieText = "session_id=8f14e45fceea167a5a36dedd4bea2543; theme=dark; lang=en-US; "
                               "_ga=GA1.2.1234567890.1700000000; consent=yes";

void checkParsers()
{
    HttpHeaders headers;
    for (const auto& line : headerLines()) {
        headers.addHeader(line);
    }
    bench::require(headers.size() == responseFields.size(), "HttpHeaders::addHeader", "wrong field count");
    bench::requireEqual("HttpHeaders::addHeader", "text/html; charset=utf-8", headers.getHeaderValue("content-type"));

    const auto type = ContentType::parse(contentTypeText);
    bench::requireEqual("ContentType::parse type", "text/html", type.getType());
    bench::requireEqual("ContentType::parse charset", "utf-8", type.getParameters().get("charset"));

    const auto accept = Accept::parse(acceptText);
    bench::require(accept.size() == 6, "Accept::parse", "expected 6 media types");
    bench::requireEqual("Accept::parse q", "0.8", accept[5].getParameters().get("q"));

    const auto cookies = Cookie::parse(cookieText);
    bench::require(cookies.size() == 5, "Cookie::parse", "expected 5 cookies");
    bench::requireEqual("Cookie::parse lang", "en-US", cookies.get("lang"));
}

void BM_HttpHeaders_AddHeader(benchmark::State& state)
{
    const auto lines = headerLines();
    for (auto _ : state) {
        HttpHeaders headers;
        for (const auto& line : lines) {
            headers.addHeader(line);
        }
        benchmark::DoNotOptimize(headers.size());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(totalSize(lines)));
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(lines.size()));
}

template <typename Parse>
void timeParse(benchmark::State& state, const std::string& text, Parse parse)
{
    for (auto _ : state) {
        auto parsed = parse(text);
        benchmark::DoNotOptimize(&parsed);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(text.size()));
    state.SetItemsProcessed(state.iterations());
}

void BM_ContentType_Parse(benchmark::State& state)
{
    timeParse(state, contentTypeText, [](const std::string& text) { return ContentType::parse(text); });
}

void BM_Accept_Parse(benchmark::State& state)
{
    timeParse(state, acceptText, [](const std::string& text) { return Accept::parse(text); });
}

void BM_Cookie_Parse(benchmark::State& state)
{
    timeParse(state, cookieText, [](const std::string& text) { return Cookie::parse(text); });
}

} // namespace

BENCHMARK(BM_HttpHeaders_ResponseWorkload);
BENCHMARK(BM_HttplibHeaders_ResponseWorkload);
BENCHMARK(BM_HttpHeaders_AddHeader);
BENCHMARK(BM_ContentType_Parse);
BENCHMARK(BM_Accept_Parse);
BENCHMARK(BM_Cookie_Parse);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    checkWorkloads();
    checkParsers();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
