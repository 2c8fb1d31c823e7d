#include <httpclient_core/ClientConfiguration.hpp>

#include <utility>

namespace foundation::httpclient_core {

ClientConfiguration::ClientConfiguration()
    : retryStrategy_(defaultRetryStrategy(5, 0, std::chrono::seconds(120), defaultIsRetriable()))
{
}

std::filesystem::path ClientConfiguration::certificateFile() const
{
    return certificateFile_;
}

void ClientConfiguration::setCertificateFile(std::filesystem::path certificateFile)
{
    certificateFile_ = std::move(certificateFile);
}

ClientConfiguration& ClientConfiguration::withCertificateFile(std::filesystem::path certificateFile)
{
    setCertificateFile(std::move(certificateFile));
    return *this;
}

bool ClientConfiguration::followRedirects() const
{
    return followRedirects_;
}

void ClientConfiguration::setFollowRedirects(bool followRedirects)
{
    followRedirects_ = followRedirects;
}

ClientConfiguration& ClientConfiguration::withFollowRedirects(bool followRedirects)
{
    setFollowRedirects(followRedirects);
    return *this;
}

long ClientConfiguration::maxRedirects() const
{
    return maxRedirects_;
}

void ClientConfiguration::setMaxRedirects(long maxRedirects)
{
    maxRedirects_ = maxRedirects;
}

ClientConfiguration& ClientConfiguration::withMaxRedirects(long maxRedirects)
{
    setMaxRedirects(maxRedirects);
    return *this;
}

RetryStrategy ClientConfiguration::retryStrategy() const
{
    return retryStrategy_;
}

void ClientConfiguration::setRetryStrategy(RetryStrategy retryStrategy)
{
    retryStrategy_ = std::move(retryStrategy);
}

ClientConfiguration& ClientConfiguration::withRetryStrategy(RetryStrategy retryStrategy)
{
    setRetryStrategy(std::move(retryStrategy));
    return *this;
}

bool ClientConfiguration::resumeOnRetry() const
{
    return resumeOnRetry_;
}

void ClientConfiguration::setResumeOnRetry(bool resumeOnRetry)
{
    resumeOnRetry_ = resumeOnRetry;
}

ClientConfiguration& ClientConfiguration::withResumeOnRetry(bool resumeOnRetry)
{
    setResumeOnRetry(resumeOnRetry);
    return *this;
}

long ClientConfiguration::connectTimeout() const
{
    return connectTimeout_;
}

void ClientConfiguration::setConnectTimeout(long connectTimeout)
{
    connectTimeout_ = connectTimeout;
}

ClientConfiguration& ClientConfiguration::withConnectTimeout(long connectTimeout)
{
    setConnectTimeout(connectTimeout);
    return *this;
}

long ClientConfiguration::idleTimeout() const
{
    return idleTimeout_;
}

void ClientConfiguration::setIdleTimeout(long idleTimeout)
{
    idleTimeout_ = idleTimeout;
}

ClientConfiguration& ClientConfiguration::withIdleTimeout(long idleTimeout)
{
    setIdleTimeout(idleTimeout);
    return *this;
}

long ClientConfiguration::connectionMaxIdle() const
{
    return connectionMaxIdle_;
}

void ClientConfiguration::setConnectionMaxIdle(long connectionMaxIdle)
{
    connectionMaxIdle_ = connectionMaxIdle;
}

ClientConfiguration& ClientConfiguration::withConnectionMaxIdle(long connectionMaxIdle)
{
    setConnectionMaxIdle(connectionMaxIdle);
    return *this;
}

long ClientConfiguration::requestTimeout() const
{
    return requestTimeout_;
}

void ClientConfiguration::setRequestTimeout(long requestTimeout)
{
    requestTimeout_ = requestTimeout;
}

ClientConfiguration& ClientConfiguration::withRequestTimeout(long requestTimeout)
{
    setRequestTimeout(requestTimeout);
    return *this;
}

bool ClientConfiguration::acceptCompressed() const
{
    return acceptCompressed_;
}

void ClientConfiguration::setAcceptCompressed(bool acceptCompressed)
{
    acceptCompressed_ = acceptCompressed;
}

ClientConfiguration& ClientConfiguration::withAcceptCompressed(bool acceptCompressed)
{
    setAcceptCompressed(acceptCompressed);
    return *this;
}

long ClientConfiguration::idleSpeed() const
{
    return idleSpeed_;
}

void ClientConfiguration::setIdleSpeed(long idleSpeed)
{
    idleSpeed_ = idleSpeed;
}

ClientConfiguration& ClientConfiguration::withIdleSpeed(long idleSpeed)
{
    setIdleSpeed(idleSpeed);
    return *this;
}

long ClientConfiguration::maxThreads() const
{
    return maxThreads_;
}

void ClientConfiguration::setMaxThreads(long maxThreads)
{
    maxThreads_ = maxThreads;
}

ClientConfiguration& ClientConfiguration::withMaxThreads(long maxThreads)
{
    setMaxThreads(maxThreads);
    return *this;
}

long ClientConfiguration::maxRequestsPerThread() const
{
    return maxRequestsPerThread_;
}

void ClientConfiguration::setMaxRequestsPerThread(long maxRequestsPerThread)
{
    maxRequestsPerThread_ = maxRequestsPerThread;
}

ClientConfiguration& ClientConfiguration::withMaxRequestsPerThread(long maxRequestsPerThread)
{
    setMaxRequestsPerThread(maxRequestsPerThread);
    return *this;
}

std::string ClientConfiguration::proxy() const
{
    return proxy_;
}

void ClientConfiguration::setProxy(std::string proxy)
{
    proxy_ = std::move(proxy);
}

ClientConfiguration& ClientConfiguration::withProxy(std::string proxy)
{
    setProxy(std::move(proxy));
    return *this;
}

} // namespace foundation::httpclient_core
