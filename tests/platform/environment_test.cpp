#include "ryp/environment.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <functional>
#include <string>
#include <thread>

#include "rw/cstring.h"
#include "support/environment.h"

namespace {

constexpr const char* kVariable = "KZ_ENVIRONMENT_TEST";

class Environment : public testing::Test {
protected:
    static void Put(const char* value) { setenv(kVariable, value, 1); }

    const EnvironmentVariable m_unset{kVariable, nullptr};
    const RyEnvContainerClass m_environment;
    RWCString m_value = "before";
};

TEST_F(Environment, GivesTheValueOfAVariable) {
    Put("some value");
    EXPECT_TRUE(m_environment.RyEGetEnv(kVariable, m_value));
    EXPECT_STREQ(m_value.data(), "some value");
}

TEST_F(Environment, LeavesTheValueAloneWhereTheVariableIsNotSet) {
    EXPECT_FALSE(m_environment.RyEGetEnv(kVariable, m_value));
    EXPECT_STREQ(m_value.data(), "before");
}

TEST_F(Environment, TellsAnEmptyVariableFromNone) {
    Put("");
    EXPECT_TRUE(m_environment.RyEGetEnv(kVariable, m_value));
    EXPECT_TRUE(m_value.isNull());
}

TEST_F(Environment, KeepsEqualSignsAndBlanks) {
    Put(" a=b = c ");
    EXPECT_TRUE(m_environment.RyEGetEnv(kVariable, m_value));
    EXPECT_STREQ(m_value.data(), " a=b = c ");
}

TEST_F(Environment, KeepsLongValuesWhole) {
    const std::string longValue(20000, 'x');
    Put(longValue.c_str());
    EXPECT_TRUE(m_environment.RyEGetEnv(kVariable, m_value));
    EXPECT_EQ(m_value.data(), longValue);
}

TEST_F(Environment, ShowsChangesMadeSinceItWasConstructed) {
    Put("old");
    Put("new");
    EXPECT_TRUE(m_environment.RyEGetEnv(kVariable, m_value));
    EXPECT_STREQ(m_value.data(), "new");
}

TEST_F(Environment, HandsOutACopy) {
    Put("old");
    EXPECT_TRUE(m_environment.RyEGetEnv(kVariable, m_value));
    Put("new");
    EXPECT_STREQ(m_value.data(), "old");
}

TEST_F(Environment, TakesNoPartOfANameForTheName) {
    Put("value");
    const std::string prefix(kVariable, 5);
    EXPECT_FALSE(m_environment.RyEGetEnv(prefix.c_str(), m_value));
}

TEST_F(Environment, IsReadByTwoThreadsAtOnce) {
    Put("shared");
    int matches[2] = {0, 0};
    const auto read = [this](int& count) {
        for (int i = 0; i < 1000; ++i) {
            RWCString value;
            if (m_environment.RyEGetEnv(kVariable, value) && value == "shared") ++count;
        }
    };
    std::thread other(read, std::ref(matches[0]));
    read(matches[1]);
    other.join();
    EXPECT_EQ(matches[0], 1000);
    EXPECT_EQ(matches[1], 1000);
}

}  // namespace
