#include <httpclient_core/FormUrlEncoded.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <type_traits>

using namespace foundation::httpclient_core;

static_assert(std::is_same_v<decltype(std::declval<const FormUrlEncoded&>().contentLength()), std::size_t>);

namespace {

struct RenderRow {
    NameValueCollection fields;
    std::string body;
};

std::string readAll(std::istream& in)
{
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace

TEST(FormUrlEncoded, RendersEncodedPairsWithPlusForSpaceAndKeepsEqualsSignOfEmptyValues)
{
    const RenderRow rows[] = {
        {{}, ""},
        {{{"name", "John Smith"}, {"city", "a&b=c"}}, "name=John+Smith&city=a%26b%3Dc"},
        {{{"q", "1+1"}, {"flag", ""}}, "q=1%2B1&flag="},
        {{{"my key", "x"}}, "my+key=x"},
        {{{"a", "1"}, {"A", "2"}, {"a", "~-._%"}}, "a=1&A=2&a=~-._%25"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.body);
        const FormUrlEncoded form(row.fields);
        EXPECT_EQ(readAll(*form.stream()), row.body);
        EXPECT_EQ(form.contentLength(), row.body.size());
    }
}

TEST(FormUrlEncoded, GivesAFreshIndependentStreamOnEveryCall)
{
    const FormUrlEncoded form({{"a", "1"}, {"b", "2"}});
    const auto first = form.stream();
    std::string prefix(4, '\0');
    first->read(prefix.data(), 4);
    EXPECT_EQ(prefix, "a=1&");
    const auto second = form.stream();
    EXPECT_EQ(readAll(*second), "a=1&b=2");
    EXPECT_EQ(readAll(*first), "b=2");
    EXPECT_EQ(readAll(*form.stream()), "a=1&b=2");
    EXPECT_EQ(FormUrlEncoded(NameValueCollection()).stream()->peek(), std::char_traits<char>::eof());
}

TEST(FormUrlEncoded, HasTheFormMediaTypeWithoutCharset)
{
    const auto type = FormUrlEncoded({{"a", "1"}}).contentType();
    EXPECT_EQ(type, ContentType("application/x-www-form-urlencoded", {}));
    EXPECT_EQ(type.toString(), "application/x-www-form-urlencoded");
}
