#include <httpclient_core/TransactionReport.hpp>

#include <gtest/gtest.h>

#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(std::is_copy_constructible_v<TransactionReport> &&
              std::is_nothrow_move_constructible_v<TransactionReport>);

TEST(TransactionReport, ReportsTheRedirectCountAndURLItWasGivenOrNoneByDefault)
{
    EXPECT_EQ(TransactionReport().redirectCount(), 0);
    EXPECT_EQ(TransactionReport().effectiveURL(), URL{});
    const TransactionReport report(3, URL{"https://example.test/final"});
    EXPECT_EQ(report.redirectCount(), 3);
    EXPECT_EQ(report.effectiveURL(), URL{"https://example.test/final"});
}
