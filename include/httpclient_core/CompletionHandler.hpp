// CompletionHandler: what an asynchronous request calls once when it is done,
// with the request as last sent, the final response and the last attempt's
// exception (null when the attempt returned normally).
//
//   client.makeAsyncRequest(std::move(request),
//       [](HttpRequest, HttpResponse response, std::exception_ptr error) {
//           if (!error) { std::cout << response.getResponseCode(); }
//       });
//
// It holds a packaged task, so whoever made it from one can watch its future
// to learn when the callable ran and what it threw. Movable, not copyable.
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <exception>
#include <future>
#include <type_traits>
#include <utility>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT CompletionHandler {
public:
    using Task = std::packaged_task<void(HttpRequest, HttpResponse, std::exception_ptr)>;

    // A handler without a task: calling it throws std::future_error (no state).
    CompletionHandler() noexcept;
    CompletionHandler(Task task) noexcept;
    // Wraps any callable of the signature void(HttpRequest, HttpResponse, std::exception_ptr).
    template <typename Callable,
              typename = std::enable_if_t<
                  !std::is_same_v<std::decay_t<Callable>, CompletionHandler> &&
                  !std::is_same_v<std::decay_t<Callable>, Task> &&
                  std::is_invocable_v<std::decay_t<Callable>&, HttpRequest, HttpResponse, std::exception_ptr>>>
    CompletionHandler(Callable&& callable) : task(std::forward<Callable>(callable))
    {
    }
    CompletionHandler(CompletionHandler&&) noexcept;
    CompletionHandler& operator=(CompletionHandler&&) noexcept;
    CompletionHandler(const CompletionHandler&) = delete;
    CompletionHandler& operator=(const CompletionHandler&) = delete;
    ~CompletionHandler();

    // Runs the task. An exception of the callable does not leave this call: it
    // is stored in the task's future. Throws std::future_error when the
    // handler has no task, or when it has already run.
    void operator()(HttpRequest request, HttpResponse response, std::exception_ptr error);

private:
    Task task;
};

} // namespace foundation::httpclient_core
