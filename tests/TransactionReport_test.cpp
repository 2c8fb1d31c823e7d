#include <httpclient_core/TransactionReport.hpp>

#include <gtest/gtest.h>

#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(std::is_copy_constructible_v<TransactionReport> &&
              std::is_nothrow_move_constructible_v<TransactionReport>);

TEST(TransactionReport, DefaultsToNoRedirectAndAnEmptyURL)
{
    const TransactionReport report;
    EXPECT_EQ(report.redirectCount(), 0);
    EXPECT_EQ(report.effectiveURL(), URL{});
}

TEST(TransactionReport, ReportsTheRedirectCountAndURLItWasGiven)
{
    const TransactionReport report(3, URL{"https://example.test/final"});
    const TransactionReport copy = report;
    EXPECT_EQ(copy.redirectCount(), 3);
    EXPECT_EQ(copy.effectiveURL(), URL{"https://example.test/final"});
}
