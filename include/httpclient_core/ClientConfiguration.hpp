// ClientConfiguration: the settings that govern how a client sends requests.
//
//   ClientConfiguration config;
//   config.withMaxRedirects(3).withResumeOnRetry(true)
//         .withRetryStrategy(defaultRetryStrategy(4, 250, std::chrono::seconds(10), defaultIsRetriable()));
//   client.setClientConfiguration(config);
//
// A plain value: every request copies it at its start. Each setting has a
// getter, a setter and a with... form that sets it and returns the same
// record, so that calls chain. Values are stored as given, never checked.
#pragma once

#include <httpclient_core/DefaultRetry.hpp>
#include <httpclient_core/Export.hpp>

#include <filesystem>
#include <string>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT ClientConfiguration {
public:
    // Follows up to 5 redirects, retries with defaultRetryStrategy(5, 0, 120 s,
    // defaultIsRetriable()), does not resume, and carries the transport
    // defaults documented on each setting.
    ClientConfiguration();

    // The CA bundle the transport trusts; empty means the system's.
    std::filesystem::path certificateFile() const;
    void setCertificateFile(std::filesystem::path certificateFile);
    ClientConfiguration& withCertificateFile(std::filesystem::path certificateFile);

    // Whether redirections are followed (default true).
    bool followRedirects() const;
    void setFollowRedirects(bool followRedirects);
    ClientConfiguration& withFollowRedirects(bool followRedirects);

    // The most redirections one request follows (default 5).
    long maxRedirects() const;
    void setMaxRedirects(long maxRedirects);
    ClientConfiguration& withMaxRedirects(long maxRedirects);

    // Decides after each attempt whether to try again. An empty strategy is
    // kept as it is; the request frame then throws std::bad_function_call
    // after the first attempt.
    RetryStrategy retryStrategy() const;
    void setRetryStrategy(RetryStrategy retryStrategy);
    ClientConfiguration& withRetryStrategy(RetryStrategy retryStrategy);

    // Whether a retry continues a partly received body with a "Range" request
    // when the server announced "Accept-Ranges: bytes" (default false).
    bool resumeOnRetry() const;
    void setResumeOnRetry(bool resumeOnRetry);
    ClientConfiguration& withResumeOnRetry(bool resumeOnRetry);

    // Milliseconds the transport may take to connect (default 5000).
    long connectTimeout() const;
    void setConnectTimeout(long connectTimeout);
    ClientConfiguration& withConnectTimeout(long connectTimeout);

    // Milliseconds a transfer may stay slower than idleSpeed bytes per second
    // before the transport aborts it as timed out (default 30000).
    long idleTimeout() const;
    void setIdleTimeout(long idleTimeout);
    ClientConfiguration& withIdleTimeout(long idleTimeout);

    // Milliseconds an idle pooled connection may wait to be reused before the
    // transport closes it (default 30000).
    long connectionMaxIdle() const;
    void setConnectionMaxIdle(long connectionMaxIdle);
    ClientConfiguration& withConnectionMaxIdle(long connectionMaxIdle);

    // Milliseconds one whole attempt may take, from connecting to the last
    // body byte, before the transport aborts it with
    // HttpRequestTimeoutException; 0 means no limit (default 0).
    long requestTimeout() const;
    void setRequestTimeout(long requestTimeout);
    ClientConfiguration& withRequestTimeout(long requestTimeout);

    // Whether the transport asks for a compressed response (gzip, deflate,
    // br, zstd, as far as it supports them) and hands the body over decoded
    // (default false). A ranged attempt, and every attempt of a request that
    // resumes on retry, asks for the identity encoding instead, so that a
    // resumed body never mixes encoded and decoded bytes.
    bool acceptCompressed() const;
    void setAcceptCompressed(bool acceptCompressed);
    ClientConfiguration& withAcceptCompressed(bool acceptCompressed);

    // Bytes per second below which a transfer counts as idle (default 1).
    long idleSpeed() const;
    void setIdleSpeed(long idleSpeed);
    ClientConfiguration& withIdleSpeed(long idleSpeed);

    // Threads the transport runs asynchronous transfers on (default 4).
    long maxThreads() const;
    void setMaxThreads(long maxThreads);
    ClientConfiguration& withMaxThreads(long maxThreads);

    // Transfers one transport thread runs at once (default 2).
    long maxRequestsPerThread() const;
    void setMaxRequestsPerThread(long maxRequestsPerThread);
    ClientConfiguration& withMaxRequestsPerThread(long maxRequestsPerThread);

    // The proxy URL the transport connects through; empty means none (default).
    std::string proxy() const;
    void setProxy(std::string proxy);
    ClientConfiguration& withProxy(std::string proxy);

private:
    std::filesystem::path certificateFile_;
    bool followRedirects_ = true;
    long maxRedirects_ = 5;
    RetryStrategy retryStrategy_;
    bool resumeOnRetry_ = false;
    long connectTimeout_ = 5000;
    long idleTimeout_ = 30000;
    long connectionMaxIdle_ = 30000;
    long requestTimeout_ = 0;
    bool acceptCompressed_ = false;
    long idleSpeed_ = 1;
    long maxThreads_ = 4;
    long maxRequestsPerThread_ = 2;
    std::string proxy_;
};

} // namespace foundation::httpclient_core
