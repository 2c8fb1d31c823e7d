#include "HandlePool.hpp"

#include "Errors.hpp"

#include <new>
#include <utility>

namespace foundation::httpclient_curl::detail {

HandlePool::HandlePool(TraceCallback trace) : share(curl_share_init()), traceCallback(std::move(trace))
{
    if (!share) {
        throwOutOfHandles();
    }
    curl_share_setopt(share.get(), CURLSHOPT_LOCKFUNC, &HandlePool::lock);
    curl_share_setopt(share.get(), CURLSHOPT_UNLOCKFUNC, &HandlePool::unlock);
    curl_share_setopt(share.get(), CURLSHOPT_USERDATA, this);
    for (const curl_lock_data data : {CURL_LOCK_DATA_CONNECT, CURL_LOCK_DATA_DNS, CURL_LOCK_DATA_SSL_SESSION}) {
        curl_share_setopt(share.get(), CURLSHOPT_SHARE, data);
    }
}

void HandlePool::lock(CURL*, curl_lock_data data, curl_lock_access, void* self)
{
    static_cast<HandlePool*>(self)->locks[data].lock();
}

void HandlePool::unlock(CURL*, curl_lock_data data, void* self)
{
    static_cast<HandlePool*>(self)->locks[data].unlock();
}

EasyHandle HandlePool::take()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (!idle.empty()) {
            EasyHandle handle = std::move(idle.back());
            idle.pop_back();
            return handle;
        }
    }
    EasyHandle handle(curl_easy_init());
    if (!handle) {
        throwOutOfHandles();
    }
    return handle;
}

void HandlePool::give(EasyHandle handle) noexcept
{
    curl_easy_reset(handle.get());
    const std::lock_guard<std::mutex> lock(mutex);
    try {
        idle.push_back(std::move(handle));
    } catch (const std::bad_alloc&) {
        return;
    }
}

PooledHandle::PooledHandle(HandlePool& pool) : pool(pool), handle(pool.take())
{
}

PooledHandle::~PooledHandle() noexcept
{
    pool.give(std::move(handle));
}

} // namespace foundation::httpclient_curl::detail
