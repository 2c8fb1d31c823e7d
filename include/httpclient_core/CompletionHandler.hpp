// CompletionHandler: what an asynchronous request calls once when it is done,
// with the request as last sent, the final response and the last attempt's
// exception (null when the attempt returned normally).
//
//   client.makeAsyncRequest(std::move(request),
//       [](HttpRequest, HttpResponse response, std::exception_ptr error) {
//           if (!error) { std::cout << response.getResponseCode(); }
//       });
//
// It holds any move-only callable of that signature. Made from a packaged
// task, it runs the task, so whoever made the task can watch its future to
// learn when the callable ran and what it threw. Movable, not copyable.
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/HttpRequest.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <exception>
#include <future>
#include <memory>
#include <type_traits>
#include <utility>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT CompletionHandler {
public:
    using Task = std::packaged_task<void(HttpRequest, HttpResponse, std::exception_ptr)>;

    // A handler without a task: calling it throws std::future_error (no state).
    CompletionHandler() noexcept;
    // Runs the task; a task without a state makes a handler without a task.
    CompletionHandler(Task task);
    // Wraps any callable of the signature void(HttpRequest, HttpResponse, std::exception_ptr).
    template <typename Callable,
              typename = std::enable_if_t<
                  !std::is_same_v<std::decay_t<Callable>, CompletionHandler> &&
                  !std::is_same_v<std::decay_t<Callable>, Task> &&
                  std::is_invocable_v<std::decay_t<Callable>&, HttpRequest, HttpResponse, std::exception_ptr>>>
    CompletionHandler(Callable&& callable)
        : callable(std::make_unique<Holder<std::decay_t<Callable>>>(std::forward<Callable>(callable)))
    {
    }
    CompletionHandler(CompletionHandler&&) noexcept;
    CompletionHandler& operator=(CompletionHandler&&) noexcept;
    CompletionHandler(const CompletionHandler&) = delete;
    CompletionHandler& operator=(const CompletionHandler&) = delete;
    ~CompletionHandler();

    // Runs the callable. An exception of the callable does not leave this
    // call: a task keeps it in its future, any other callable drops it.
    // Throws std::future_error (no state) when the handler has no callable,
    // and (promise already satisfied) when it has already run.
    void operator()(HttpRequest request, HttpResponse response, std::exception_ptr error);

private:
    class HTTPCLIENT_CORE_EXPORT Callable {
    public:
        Callable() = default;
        Callable(const Callable&) = delete;
        Callable& operator=(const Callable&) = delete;
        virtual ~Callable();
        virtual void run(HttpRequest request, HttpResponse response, std::exception_ptr error) = 0;
    };

    template <typename Function>
    class Holder final : public Callable {
    public:
        explicit Holder(Function function) : function(std::move(function)) {}
        void run(HttpRequest request, HttpResponse response, std::exception_ptr error) override
        {
            function(std::move(request), std::move(response), std::move(error));
        }

    private:
        Function function;
    };

    std::unique_ptr<Callable> callable;
    bool ran = false;
};

} // namespace foundation::httpclient_core
