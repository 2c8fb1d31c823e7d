#include "HandlePool.hpp"

#include "Errors.hpp"

#include <utility>

namespace foundation::httpclient_curl::detail {

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

void HandlePool::give(EasyHandle handle)
{
    curl_easy_reset(handle.get());
    const std::lock_guard<std::mutex> lock(mutex);
    idle.push_back(std::move(handle));
}

PooledHandle::PooledHandle(HandlePool& pool) : pool(pool), handle(pool.take())
{
}

PooledHandle::~PooledHandle()
{
    pool.give(std::move(handle));
}

} // namespace foundation::httpclient_curl::detail
