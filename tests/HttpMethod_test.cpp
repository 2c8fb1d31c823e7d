#include <httpclient_core/HttpMethod.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

using namespace foundation::httpclient_core;

static_assert(static_cast<int>(HttpMethod::GET) == 0 && static_cast<int>(HttpMethod::POST) == 1 &&
              static_cast<int>(HttpMethod::DELETE) == 2 && static_cast<int>(HttpMethod::PUT) == 3 &&
              static_cast<int>(HttpMethod::HEAD) == 4 && static_cast<int>(HttpMethod::PATCH) == 5 &&
              static_cast<int>(HttpMethod::UNKNOWN) > 5);

TEST(HttpMethod, IsCreatedOnlyFromItsExactTextAndPrintsIt)
{
    for (const char* text : {"GET", "POST", "DELETE", "PUT", "HEAD", "PATCH"}) {
        SCOPED_TRACE(text);
        std::ostringstream out;
        out << createHttpMethod(text);
        EXPECT_EQ(out.str(), text);
        EXPECT_EQ(to_string(createHttpMethod(text)), text);
    }
    EXPECT_EQ(createHttpMethod("DELETE"), HttpMethod::DELETE);
    for (const char* text : {"get", " GET", "GET ", "Put", "UNKNOWN", ""}) {
        SCOPED_TRACE(text);
        EXPECT_THROW_MSG(createHttpMethod(text), std::out_of_range, "map::at:  key not found");
    }
}

TEST(HttpMethod, PrintsUnknownForAnyValueOutsideGetToPatch)
{
    for (const int value : {6, 42, -1}) {
        std::ostringstream out;
        out << HttpMethod::UNKNOWN << ' ' << static_cast<HttpMethod>(value);
        EXPECT_EQ(out.str(), "UNKNOWN UNKNOWN");
        EXPECT_EQ(to_string(static_cast<HttpMethod>(value)), "UNKNOWN");
    }
}
