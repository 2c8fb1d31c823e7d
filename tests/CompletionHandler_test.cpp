#include <httpclient_core/CompletionHandler.hpp>

#include "support/Requests.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(!std::is_copy_constructible_v<CompletionHandler>);
static_assert(std::is_nothrow_move_constructible_v<CompletionHandler>);
static_assert(std::is_convertible_v<void (*)(HttpRequest, HttpResponse, std::exception_ptr), CompletionHandler>);

namespace {

void call(CompletionHandler& handler)
{
    handler(support::get(), HttpResponse(), nullptr);
}

std::future_errc errorOf(CompletionHandler& handler)
{
    try {
        call(handler);
    } catch (const std::future_error& error) {
        return static_cast<std::future_errc>(error.code().value());
    }
    return {};
}

} // namespace

TEST(CompletionHandler, RunsOnceAndRefusesAnEmptyOrSecondCall)
{
    CompletionHandler empty;
    EXPECT_EQ(errorOf(empty), std::future_errc::no_state);
    CompletionHandler stateless{CompletionHandler::Task()};
    EXPECT_EQ(errorOf(stateless), std::future_errc::no_state);

    int runs = 0;
    CompletionHandler handler([&runs](HttpRequest, HttpResponse, std::exception_ptr) { ++runs; });
    call(handler);
    EXPECT_EQ(errorOf(handler), std::future_errc::promise_already_satisfied);
    EXPECT_EQ(runs, 1);
}

TEST(CompletionHandler, KeepsTheCallablesExceptionInItsTasksFutureOrDropsIt)
{
    CompletionHandler plain([](HttpRequest, HttpResponse, std::exception_ptr) { throw std::runtime_error("dropped"); });
    EXPECT_NO_THROW(call(plain));

    CompletionHandler::Task task(
        [](HttpRequest, HttpResponse, std::exception_ptr) { throw std::runtime_error("handler failed"); });
    auto future = task.get_future();
    CompletionHandler handler(std::move(task));
    EXPECT_NO_THROW(call(handler));
    EXPECT_THROW(future.get(), std::runtime_error);
}
