#include "HandlePool.hpp"

#include "Errors.hpp"

#include <new>
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
