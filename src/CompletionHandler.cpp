#include <httpclient_core/CompletionHandler.hpp>

namespace foundation::httpclient_core {

CompletionHandler::CompletionHandler() noexcept = default;

CompletionHandler::CompletionHandler(Task task)
{
    if (task.valid()) {
        callable = std::make_unique<Holder<Task>>(std::move(task));
    }
}

CompletionHandler::CompletionHandler(CompletionHandler&&) noexcept = default;
CompletionHandler& CompletionHandler::operator=(CompletionHandler&&) noexcept = default;
CompletionHandler::~CompletionHandler() = default;

CompletionHandler::Callable::~Callable() = default;

void CompletionHandler::operator()(HttpRequest request, HttpResponse response, std::exception_ptr error)
{
    if (!callable) {
        throw std::future_error(std::future_errc::no_state);
    }
    if (ran) {
        throw std::future_error(std::future_errc::promise_already_satisfied);
    }
    ran = true;
    try {
        callable->run(std::move(request), std::move(response), std::move(error));
    } catch (...) {
        // By design nobody hears of it, as if it were kept in a task whose
        // future nobody took (a task keeps its own and never gets here).
    }
}

} // namespace foundation::httpclient_core
