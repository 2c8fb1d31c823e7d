// HandlePool: idle easy handles, each keeping its live connections, so that a
// later request to the same server reuses one whatever thread sends it.
//
//   HandlePool pool;
//   {
//       PooledHandle handle(pool);     // an idle handle, or a new one
//       curl_easy_perform(handle.get());
//   }                                  // back in the pool, options forgotten
#pragma once

#include "ConnectionSetup.hpp"

#include <mutex>
#include <vector>

namespace foundation::httpclient_curl::detail {

class HandlePool {
public:
    // Throws HttpRequestFailedException "libcurl could not make a transfer
    // handle" when there is no idle one and libcurl cannot make one.
    EasyHandle take();
    // Forgets every option of the last transfer; the connections stay. A
    // handle the pool has no room for is closed.
    void give(EasyHandle handle) noexcept;

private:
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
