#include <httpclient_core/Cookie.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace foundation::httpclient_core;

// Parsing and rendering are checked against a model of the grammar by
// fuzz_cookie, whose corpus runs with the tests.
TEST(Cookie, RejectsAnElementWithoutEqualsSignNamingItTrimmed)
{
    EXPECT_THROW_MSG(Cookie::parse("a=1; flag"), std::runtime_error, "Missing delimiter <=> when parsing : <flag>");
    EXPECT_THROW_MSG(Cookie::parse(" x y ;a=1"), std::runtime_error, "Missing delimiter <=> when parsing : <x y>");
}
