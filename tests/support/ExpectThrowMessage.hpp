// EXPECT_THROW_MSG(statement, Type, message): the statement throws an
// exception whose dynamic type is exactly Type and whose what() is message.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

#define EXPECT_THROW_MSG(statement, ExceptionType, message)                                                            \
    do {                                                                                                               \
        try {                                                                                                          \
            statement;                                                                                                 \
            ADD_FAILURE() << "expected " #ExceptionType " from " #statement ", nothing was thrown";                    \
        } catch (const ExceptionType& caught) {                                                                        \
            EXPECT_EQ(std::string(typeid(caught).name()), std::string(typeid(ExceptionType).name()))                   \
                << "wrong exception type from " #statement;                                                            \
            EXPECT_EQ(std::string(caught.what()), std::string(message));                                               \
        } catch (...) {                                                                                                \
            ADD_FAILURE() << "expected " #ExceptionType " from " #statement ", another exception was thrown";          \
        }                                                                                                              \
    } while (false)
