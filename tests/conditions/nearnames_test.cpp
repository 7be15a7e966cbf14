#include "conditions/nearnames.h"

#include <gmock/gmock.h>

namespace {

using kzconditions::NamesNear;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(NamesNear, AreThoseWithTheFewestMistakes) {
    EXPECT_THAT(NamesNear("request.tme", {"request.bytes", "request.time", "login"}),
                ElementsAre("request.time"));
    EXPECT_THAT(NamesNear("request.tmes", {"request.tile", "request.bytes", "request.time"}),
                ElementsAre("request.time", "request.bytes", "request.tile"));
    EXPECT_THAT(NamesNear("Login", {"login", "logout", "x"}), ElementsAre("login"));
}

TEST(NamesNear, MayHaveMoreInThem) {
    EXPECT_THAT(NamesNear("time", {"request.time.failed", "request.time", "clients.active"}),
                ElementsAre("request.time", "request.time.failed"));
}

TEST(NamesNear, BeginWithThatTextFirst) {
    EXPECT_THAT(
        NamesNear("request.time", {"request.bytes", "requests.rate", "request.time.failed"}),
        ElementsAre("request.time.failed", "request.bytes", "requests.rate"));
}

TEST(NamesNear, AreThreeAtMost) {
    EXPECT_THAT(NamesNear("a1", {"a5", "a4", "a3", "a2"}), ElementsAre("a2", "a3", "a4"));
}

TEST(NamesNear, AreNoneIfAllDiffer) {
    EXPECT_THAT(NamesNear("login", {"bytes.rate", "x", ""}), IsEmpty());
    EXPECT_THAT(NamesNear("", {"bytes.rate"}), IsEmpty());
    EXPECT_THAT(NamesNear("login", {}), IsEmpty());
}

}  // namespace
