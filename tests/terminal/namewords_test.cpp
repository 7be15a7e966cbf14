#include "terminal/namewords.h"

#include <gtest/gtest.h>

namespace {

using kzterminal::NamesBytes;
using kzterminal::NamesErrors;

TEST(NameWords, TellBytes) {
    for (const char* const name : {"bytes", "request.bytes", "Bytes_in", "a/bytes/b"})
        EXPECT_TRUE(NamesBytes(name)) << name;
    for (const char* const name : {"", "kilobytes", "bytes2", "byte"})
        EXPECT_FALSE(NamesBytes(name)) << name;
}

TEST(NameWords, TellErrors) {
    for (const char* const name : {"errors.other", "login.failed", "Login Failed", "responses.5xx",
                                   "reasons.login.http-404", "login.failed.timeout"})
        EXPECT_TRUE(NamesErrors(name)) << name;
    for (const char* const name :
         {"", "errorless", "responses.2xx", "reasons.login.http-302", "room-404", "http-404.pages"})
        EXPECT_FALSE(NamesErrors(name)) << name;
}

}  // namespace
