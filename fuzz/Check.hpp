// Failing a fuzz target loudly when a property does not hold, and accepting
// exactly the exception types the library documents.
//
// A violated property aborts, so libFuzzer records the input as a crash and
// the replay runner stops on it. An exception that is not caught on purpose
// escapes LLVMFuzzerTestOneInput and ends the process the same way.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <typeinfo>

namespace fuzz {

[[noreturn]] inline void fail(const char* property)
{
    std::fprintf(stderr, "property violated: %s\n", property);
    std::abort();
}

inline void require(bool holds, const char* property)
{
    if (!holds) {
        fail(property);
    }
}

// An error must be of its documented class itself, never of a class derived
// from it (std::range_error, std::system_error, ...), which the catch clause
// naming the documented class would let through unnoticed.
template <typename Documented>
void requireExactly(const Documented& error)
{
    require(typeid(error) == typeid(Documented), "the error is exactly of its documented class");
}

// Whether error carries the expected message. what() is a C string, so a
// message whose quoted text holds a NUL byte reads only up to that byte.
inline bool hasMessage(const std::exception& error, const std::string& expected)
{
    return error.what() == expected.substr(0, expected.find('\0'));
}

} // namespace fuzz
