#include <httpclient_core/FormUrlEncoded.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(std::is_same_v<decltype(std::declval<const FormUrlEncoded&>().contentLength()), std::size_t>);

namespace {

std::string readAll(std::istream& in)
{
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace

// The encoding, the length and the media type are checked against a strict
// decoder by fuzz_form_url_encoded, whose corpus runs with the tests.
TEST(FormUrlEncoded, GivesAFreshIndependentStreamOnEveryCall)
{
    const FormUrlEncoded form({{"name", "John Smith"}, {"city", "a&b=c"}});
    const auto first = form.stream();
    std::string prefix(5, '\0');
    first->read(prefix.data(), 5);
    EXPECT_EQ(prefix, "name=");
    EXPECT_EQ(readAll(*form.stream()), "name=John+Smith&city=a%26b%3Dc");
    EXPECT_EQ(readAll(*first), "John+Smith&city=a%26b%3Dc");
}
