#include <httpclient_core/CompletionHandler.hpp>

namespace foundation::httpclient_core {

CompletionHandler::CompletionHandler() noexcept = default;

CompletionHandler::CompletionHandler(Task task) noexcept : task(std::move(task))
{
}

CompletionHandler::CompletionHandler(CompletionHandler&&) noexcept = default;
CompletionHandler& CompletionHandler::operator=(CompletionHandler&&) noexcept = default;
CompletionHandler::~CompletionHandler() = default;

void CompletionHandler::operator()(HttpRequest request, HttpResponse response, std::exception_ptr error)
{
    task(std::move(request), std::move(response), std::move(error));
}

} // namespace foundation::httpclient_core
