// kxfatal_test_util.h - the death-test helpers of every test of the library's fatal faults.
//
// exitfn's console fallback prints on standard output; a death test matches standard error, so
// the statement runs with standard output redirected there.
//   EXPECT_KX_FATAL(statement, message): exit code 1 and the message as the whole output (a
//     trailing newline added by exitfn is allowed), matched literally.
//   EXPECT_KX_EXIT(statement, code, regex): exit code `code` and output matching the GoogleTest
//     regular expression `regex` (for hooks that end the process their own way, or a message
//     that is only partly fixed).
#ifndef KX_TESTS_KXFATAL_TEST_UTIL_H
#define KX_TESTS_KXFATAL_TEST_UTIL_H

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>

inline std::string KxExactOutput(const std::string &message)
{
    std::string re = "^";
    for (char c : message) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos)
            re += '\\';
        re += c;
    }
    return re + "\n?$";
}

#define EXPECT_KX_FATAL(statement, message)                                                        \
    EXPECT_EXIT(                                                                                   \
        {                                                                                          \
            dup2(2, 1);                                                                            \
            statement;                                                                             \
        },                                                                                         \
        ::testing::ExitedWithCode(1), KxExactOutput(message))

#define EXPECT_KX_EXIT(statement, code, regex)                                                     \
    EXPECT_EXIT(                                                                                   \
        {                                                                                          \
            dup2(2, 1);                                                                            \
            statement;                                                                             \
        },                                                                                         \
        ::testing::ExitedWithCode(code), regex)

#endif
