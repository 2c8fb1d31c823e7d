#include <httpclient_core/URL.hpp>

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(std::is_aggregate_v<URL> && std::is_copy_constructible_v<URL>);

TEST(URL, ComparesByteForByteAndPrintsExactlyAsStored)
{
    const URL url{"http://Example.test/A?b=%2F"};
    EXPECT_EQ(url.toAsciiString(), "http://Example.test/A?b=%2F");
    EXPECT_TRUE(url == URL{"http://Example.test/A?b=%2F"});
    EXPECT_FALSE(url == URL{"http://example.test/a?b=%2f"});
    EXPECT_TRUE(url != URL{"http://Example.test/A?b=%2F "});

    std::ostringstream out;
    out << url << '|' << std::setw(4) << URL{"ab"};
    EXPECT_EQ(out.str(), "http://Example.test/A?b=%2F|  ab");
}
