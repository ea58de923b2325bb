#pragma once

#include <exception>
#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

/// Expect that the statement throws exactly this type (no derived one) with exactly this text.
#define VEXA_EXPECT_THROWS(statement, exception_type, text)                                                  \
    do {                                                                                                     \
        bool vexa_thrown_ = false;                                                                           \
        try {                                                                                                \
            (void)(statement);                                                                               \
        } catch (std::exception const& vexa_caught_) {                                                       \
            vexa_thrown_ = true;                                                                             \
            EXPECT_EQ(std::string(typeid(vexa_caught_).name()), typeid(exception_type).name());              \
            EXPECT_EQ(std::string(vexa_caught_.what()), std::string(text));                                  \
        }                                                                                                    \
        EXPECT_TRUE(vexa_thrown_) << #statement " throws nothing, expected " #exception_type;                \
    } while (false)
