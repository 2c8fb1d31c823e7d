// HandlePool: idle easy handles, and the caches that every transfer of one
// client shares, whatever thread or event loop runs it: connections, DNS
// answers and TLS sessions. A later request to the same server reuses an idle
// connection, however handles come and go.
//
//   HandlePool pool;
//   {
//       PooledHandle handle(pool);     // an idle handle, or a new one
//       curl_easy_setopt(handle.get(), CURLOPT_SHARE, pool.caches());
//       curl_easy_perform(handle.get());
//   }                                  // back in the pool, options forgotten
#pragma once

#include "ConnectionSetup.hpp"

#include <httpclient_curl/CurlHttpClient.hpp>

#include <mutex>
#include <utility>
#include <vector>

namespace foundation::httpclient_curl::detail {

class HandlePool {
public:
    // trace is what every transfer on this pool's handles reports to. Throws
    // HttpRequestFailedException "libcurl could not make a transfer handle"
    // when libcurl cannot make the share handle.
    explicit HandlePool(TraceCallback trace = {});
    HandlePool(const HandlePool&) = delete;
    HandlePool& operator=(const HandlePool&) = delete;

    // For CURLOPT_SHARE; outlives every handle of the pool.
    CURLSH* caches() const { return share.get(); }

    const TraceCallback& trace() const { return traceCallback; }

    // Throws HttpRequestFailedException "libcurl could not make a transfer
    // handle" when there is no idle one and libcurl cannot make one.
    EasyHandle take();
    // Forgets every option of the last transfer; the connections stay. A
    // handle the pool has no room for is closed.
    void give(EasyHandle handle) noexcept;

private:
    static void lock(CURL* handle, curl_lock_data data, curl_lock_access access, void* self);
    static void unlock(CURL* handle, curl_lock_data data, void* self);

    // One lock for each kind of shared data, as libcurl asks for them.
    std::mutex locks[CURL_LOCK_DATA_LAST];
    ShareHandle share;
    const TraceCallback traceCallback;
    std::mutex mutex;
    std::vector<EasyHandle> idle;
};

// An easy handle borrowed from the pool for one attempt and given back after it.
class PooledHandle {
public:
    explicit PooledHandle(HandlePool& pool);
    ~PooledHandle() noexcept;
    PooledHandle(const PooledHandle&) = delete;
    PooledHandle& operator=(const PooledHandle&) = delete;

    CURL* get() const { return handle.get(); }

private:
    HandlePool& pool;
    EasyHandle handle;
};

} // namespace foundation::httpclient_curl::detail
