#include "http/hostname.h"

#include <gtest/gtest.h>

namespace kzstatprogram {
namespace {

TEST(HostIn, LeavesOutPortBracketsCaseAndLastDot) {
    EXPECT_EQ("localhost", HostIn("localhost"));
    EXPECT_EQ("localhost", HostIn("LocalHost.:8090"));
    EXPECT_EQ("127.0.0.1", HostIn("127.0.0.1:"));
    EXPECT_EQ("::1", HostIn("[::1]"));
    EXPECT_EQ("fe80::a", HostIn("[FE80::A]:65535"));
}

TEST(HostIn, RefusesWhatIsNoHost) {
    for (const char* field :
         {"", ":80", "a b", "a:b", "a:80:80", "a:123456", "::1", "[::1", "[::1]x", "[::1].evil.com",
          "[localhost]", "[127.0.0.1]", "user@localhost", "localhost/", "localhost,localhost"})
        EXPECT_FALSE(HostIn(field)) << field;
}

TEST(IsLoopback, ComparesAddressesAsAddresses) {
    for (const char* host : {"localhost", "127.0.0.1", "127.0.0.2", "127.255.255.255", "::1",
                             "0:0:0:0:0:0:0:1", "::ffff:127.0.0.1"})
        EXPECT_TRUE(IsLoopback(host)) << host;
    for (const char* host :
         {"126.255.255.255", "128.0.0.0", "127.1", "127.0.0.1.evil.com", "127.attacker.example",
          "localhost.evil.com", "0.0.0.0", "::", "::2", "::127.0.0.1", "::ffff:128.0.0.1", ""})
        EXPECT_FALSE(IsLoopback(std::string(host))) << host;
}

TEST(IsSameHost, KnowsEverySpelling) {
    EXPECT_TRUE(IsSameHost("loadbox.", "LoadBox"));
    EXPECT_TRUE(IsSameHost("fe80::1", "FE80:0::1"));
    EXPECT_TRUE(IsSameHost("::ffff:10.0.0.1", "10.0.0.1"));
    EXPECT_FALSE(IsSameHost("loadbox", "loadbox.example"));
    EXPECT_FALSE(IsSameHost("10.0.0.1", "10.0.0.2"));
    EXPECT_FALSE(IsSameHost("10.0.0.1", "10.0.0.1.example"));
}

}  // namespace
}  // namespace kzstatprogram
