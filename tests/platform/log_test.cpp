#include "ryp/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "rw/cstring.h"
#include "support/capturing_log.h"
#include "support/decimal_comma_locale.h"
#include "support/environment.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr RyPLogLevel kLevels[] = {RyPLogLevel::Error,       RyPLogLevel::Warning,
                                   RyPLogLevel::Execution,   RyPLogLevel::Incomplete,
                                   RyPLogLevel::Trace,       RyPLogLevel::TraceDebugInfo,
                                   RyPLogLevel::Performance, RyPLogLevel::PerformanceDetail};
constexpr const char* kLevelNames[] = {
    "error", "warning",          "execution",   "incomplete",
    "trace", "trace-debug-info", "performance", "performance-detail"};
constexpr int kLevelCount = 8;

template <class... Arguments>
std::string Concatenated(const Arguments&... arguments) {
    const RWCString text = RyPLogText::Concatenate(arguments...);
    return {text.data(), text.length()};
}

template <class... Arguments>
std::string Formatted(const char* format, const Arguments&... arguments) {
    const RWCString text = RyPLogText::Format(format, arguments...);
    return {text.data(), text.length()};
}

/// The threshold with which a process starts, as the exit status of a fresh one. The death test
/// style makes that run this program anew, so that it reads its environment when it is loaded.
#define EXPECT_START_THRESHOLD(level)                             \
    EXPECT_EXIT(std::exit(static_cast<int>(RyPLog::Threshold())), \
                testing::ExitedWithCode(static_cast<int>(level)), "")

class LogDeathTest : public testing::Test {
protected:
    LogDeathTest() { testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

TEST_F(LogDeathTest, StartsAtErrorWithoutALevelInTheEnvironment) {
    const EnvironmentVariable level("RYP_LOG_LEVEL", nullptr);
    EXPECT_START_THRESHOLD(RyPLogLevel::Error);
}

TEST_F(LogDeathTest, StartsAtTheLevelThatTheEnvironmentNames) {
    for (int i = 0; i < kLevelCount; ++i) {
        const EnvironmentVariable level("RYP_LOG_LEVEL", kLevelNames[i]);
        EXPECT_START_THRESHOLD(kLevels[i]) << kLevelNames[i];
    }
}

TEST_F(LogDeathTest, StartsAtErrorWhenTheEnvironmentNamesNoLevel) {
    for (const char* const name : {"", "Trace", "trace ", "4", "verbose"}) {
        const EnvironmentVariable level("RYP_LOG_LEVEL", name);
        EXPECT_START_THRESHOLD(RyPLogLevel::Error) << name;
    }
}

TEST(Log, NamesItsLevels) {
    for (int i = 0; i < kLevelCount; ++i)
        EXPECT_STREQ(RyPLog::LevelName(kLevels[i]), kLevelNames[i]);
}

TEST(Log, NamesALevelOutsideTheScaleUnknown) {
    for (const int level : {-1, kLevelCount})
        EXPECT_STREQ(RyPLog::LevelName(static_cast<RyPLogLevel>(level)), "unknown") << level;
}

TEST(Log, KeepsTheThresholdThatWasSet) {
    const CapturingLog log(RyPLogLevel::Error);
    for (const RyPLogLevel level : kLevels) {
        RyPLog::SetThreshold(level);
        EXPECT_EQ(RyPLog::Threshold(), level);
    }
}

TEST(Log, EnablesTheLevelsUpToTheThreshold) {
    const CapturingLog log(RyPLogLevel::Error);
    for (int threshold = 0; threshold < kLevelCount; ++threshold) {
        RyPLog::SetThreshold(kLevels[threshold]);
        for (int level = 0; level < kLevelCount; ++level)
            EXPECT_EQ(RyPLog::IsEnabled(kLevels[level]), level <= threshold)
                << kLevelNames[level] << " at " << kLevelNames[threshold];
    }
}

TEST(Log, WritesTheRecordsUpToTheThreshold) {
    for (int threshold = 0; threshold < kLevelCount; ++threshold) {
        const CapturingLog log(kLevels[threshold]);
        for (int level = 0; level < kLevelCount; ++level) RYP_LOG(kLevels[level], "Scope", level);
        const std::vector<CapturingLog::Record> records = log.Records();
        ASSERT_EQ(records.size(), static_cast<std::size_t>(threshold) + 1);
        for (const CapturingLog::Record& record : records)
            EXPECT_EQ(record.text, std::to_string(static_cast<int>(record.level)));
    }
}

TEST(Log, EvaluatesNoArgumentOfADisabledRecord) {
    const CapturingLog log(RyPLogLevel::Incomplete);
    int evaluations = 0;
    const auto argument = [&evaluations] { return ++evaluations; };
    RYP_LOG(RyPLogLevel::Trace, "Scope", argument());
    RYP_TRACE("Scope", "format", argument());
    EXPECT_EQ(evaluations, 0);
    RYP_LOG(RyPLogLevel::Incomplete, "Scope", argument());
    EXPECT_EQ(evaluations, 1);
}

TEST(Log, TellsWhereARecordComesFrom) {
    const CapturingLog log(RyPLogLevel::Error);
    const int line = __LINE__ + 1;
    RYP_LOG(RyPLogLevel::Error, "Class::method", "text");
    const std::vector<CapturingLog::Record> records = log.Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, RyPLogLevel::Error);
    EXPECT_EQ(records[0].scope, "Class::method");
    EXPECT_THAT(records[0].file, EndsWith("log_test.cpp"));
    EXPECT_THAT(records[0].file, Not(testing::StartsWith("/")));
    EXPECT_EQ(records[0].line, line);
    EXPECT_EQ(records[0].text, "text");
}

TEST(Log, WritesARecordWithoutText) {
    const CapturingLog log(RyPLogLevel::Error);
    RYP_LOG(RyPLogLevel::Error, "Scope");
    EXPECT_THAT(log.Texts(), ElementsAre(""));
}

TEST(Log, TracesAtTraceLevel) {
    const CapturingLog log(RyPLogLevel::Trace);
    RYP_TRACE("Scope", "value %d", 5);
    ASSERT_THAT(log.Texts(), ElementsAre("value %d\t5\t"));
    EXPECT_EQ(log.Records()[0].level, RyPLogLevel::Trace);
}

TEST(Log, IsASingleStatement) {
    const CapturingLog log(RyPLogLevel::Trace);
    for (const bool taken : {true, false})
        if (taken)
            RYP_LOG(RyPLogLevel::Error, "Scope", "taken");
        else
            RYP_TRACE("Scope", "not taken");
    EXPECT_THAT(log.Texts(), ElementsAre("taken", "not taken\t"));
}

TEST(Log, WritesOnTheThreadThatLogs) {
    class ThreadSink : public RyPLogSink {
    public:
        void Write(const RyPLogRecord&) override { thread = std::this_thread::get_id(); }
        std::thread::id thread;
    };
    ThreadSink sink;
    RyPLogSink* const former = RyPLog::SetSink(&sink);
    std::thread::id logging;
    std::thread other([&logging] {
        logging = std::this_thread::get_id();
        RYP_LOG(RyPLogLevel::Error, "Scope", "text");
    });
    other.join();
    RyPLog::SetSink(former);
    EXPECT_EQ(sink.thread, logging);
}

TEST(Log, ReturnsTheFormerSink) {
    const CapturingLog first(RyPLogLevel::Error);
    CapturingLog* const second = new CapturingLog(RyPLogLevel::Error);
    EXPECT_EQ(RyPLog::SetSink(nullptr), second);
    EXPECT_EQ(RyPLog::SetSink(second), nullptr);
    delete second;
    EXPECT_EQ(RyPLog::SetSink(nullptr), &first);
}

TEST(Log, WritesToTheSinkThatIsSet) {
    const CapturingLog outer(RyPLogLevel::Error);
    {
        const CapturingLog inner(RyPLogLevel::Error);
        RYP_LOG(RyPLogLevel::Error, "Scope", "to the inner");
        EXPECT_THAT(inner.Texts(), ElementsAre("to the inner"));
    }
    RYP_LOG(RyPLogLevel::Error, "Scope", "to the outer");
    EXPECT_THAT(outer.Texts(), ElementsAre("to the outer"));
}

TEST(Log, WritesToStandardErrorWithoutASink) {
    CapturingLog log(RyPLogLevel::Error);
    RyPLog::SetSink(nullptr);
    testing::internal::CaptureStderr();
    RYP_LOG(RyPLogLevel::Error, "Class::method", "the text");
    const std::string written = testing::internal::GetCapturedStderr();
    RyPLog::SetSink(&log);
    EXPECT_THAT(written, HasSubstr("error"));
    EXPECT_THAT(written, HasSubstr("Class::method"));
    EXPECT_THAT(written, HasSubstr("log_test.cpp"));
    EXPECT_THAT(written, HasSubstr("the text"));
    EXPECT_TRUE(log.Texts().empty());
}

TEST(LogText, JoinsItsArguments) {
    EXPECT_EQ(Concatenated(), "");
    EXPECT_EQ(Concatenated("one"), "one");
    EXPECT_EQ(Concatenated("one ", 2, " three ", RWCString("four")), "one 2 three four");
}

TEST(LogText, FormatsATextWithoutArgumentsWithItsTab) {
    EXPECT_EQ(Formatted("text"), "text\t");
    EXPECT_EQ(Formatted(""), "\t");
}

TEST(LogText, FormatsArgumentsBehindTabs) {
    EXPECT_EQ(Formatted("text", 1), "text\t1\t");
    EXPECT_EQ(Formatted("text", 1, "two", 3.5), "text\t1\ttwo\t3.5\t");
    EXPECT_EQ(Formatted("", ""), "\t\t");
}

TEST(LogText, ExpandsNothingInAFormat) {
    EXPECT_EQ(Formatted("%s took %5.2f\\n%%\n", "a", 1), "%s took %5.2f\\n%%\n\ta\t1\t");
    EXPECT_EQ(Formatted("{} %n"), "{} %n\t");
}

TEST(LogText, WritesDoublesInTheShortestForm) {
    EXPECT_EQ(Concatenated(0.1), "0.1");
    EXPECT_EQ(Concatenated(1e300), "1e+300");
    EXPECT_EQ(Concatenated(-2.5), "-2.5");
    EXPECT_EQ(Concatenated(3.0), "3");
    EXPECT_EQ(Concatenated(0.5F), "0.5");
    EXPECT_EQ(Concatenated(0.1 + 0.2), "0.30000000000000004");
    EXPECT_EQ(Concatenated(-1.7976931348623157e308), "-1.7976931348623157e+308");
    EXPECT_EQ(Concatenated(-2.2250738585072014e-308), "-2.2250738585072014e-308");
}

TEST(LogText, WritesDoublesThatReadBackToTheSameValue) {
    for (const double value : {1.0 / 3, 2.0 / 3e-7, 1718000000.123456, 4.9e-324})
        EXPECT_EQ(std::strtod(Concatenated(value).c_str(), nullptr), value);
}

TEST(LogText, WritesAPointUnderADecimalCommaLocale) {
    const DecimalCommaLocale locale;
    ASSERT_TRUE(locale.IsInForce()) << locale.Problem();
    EXPECT_EQ(Concatenated(1234.5, " ", 1234567), "1234.5 1234567");
}

TEST(LogText, NamesANullText) {
    const char* const nothing = nullptr;
    EXPECT_EQ(Concatenated("<", nothing, ">"), "<(null)>");
    EXPECT_EQ(Formatted("text", nothing), "text\t(null)\t");
}

TEST(LogText, KeepsZeroBytesOfAString) {
    EXPECT_EQ(Concatenated("<", RWCString("a\0b", 3), ">"), std::string("<a\0b>", 5));
}

TEST(LogText, WritesIntegersOfEveryWidthInDecimal) {
    EXPECT_EQ(Concatenated(-1), "-1");
    EXPECT_EQ(Concatenated(short{-3}), "-3");
    EXPECT_EQ(Concatenated(4294967295U), "4294967295");
    EXPECT_EQ(Concatenated(-9223372036854775807LL - 1), "-9223372036854775808");
    EXPECT_EQ(Concatenated(18446744073709551615ULL), "18446744073709551615");
    EXPECT_EQ(Concatenated(std::size_t{7}, -8L), "7-8");
}

TEST(LogText, WritesTruthAsANumber) {
    EXPECT_EQ(Concatenated(true, false), "10");
}

TEST(LogText, WritesEnumsAsNumbers) {
    enum Plain { kMinusTwo = -2 };
    enum class Scoped : unsigned char { kHigh = 200 };
    EXPECT_EQ(Concatenated(kMinusTwo), "-2");
    EXPECT_EQ(Concatenated(Scoped::kHigh), "200");
    EXPECT_EQ(Concatenated(RyPLogLevel::Trace), "4");
}

constexpr int kThreads = 3;
constexpr int kRecordsPerThread = 500;

/// Logs from several threads, and does `meanwhile` until they are through.
template <class Function>
void LogFromManyThreads(const Function& meanwhile) {
    std::atomic<int> running = kThreads;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&running] {
            for (int i = 0; i < kRecordsPerThread; ++i)
                RYP_LOG(RyPLogLevel::Warning, "Scope", "record ", i);
            --running;
        });
    while (running > 0) meanwhile();
    for (std::thread& thread : threads) thread.join();
}

TEST(LogThreads, LoseNoRecord) {
    const CapturingLog log(RyPLogLevel::Warning);
    LogFromManyThreads([] { std::this_thread::yield(); });
    std::vector<int> times(kRecordsPerThread, 0);
    for (const std::string& text : log.Texts()) {
        ASSERT_EQ(text.substr(0, 7), "record ");
        ++times[std::stoul(text.substr(7))];
    }
    EXPECT_EQ(times, std::vector<int>(kRecordsPerThread, kThreads));
}

TEST(LogThreads, EnterTheSinkOneAtATime) {
    class CountingSink : public RyPLogSink {
    public:
        void Write(const RyPLogRecord&) override { ++unguarded; }
        int unguarded = 0;
    };
    const CapturingLog log(RyPLogLevel::Warning);
    CountingSink sink;
    RyPLogSink* const former = RyPLog::SetSink(&sink);
    LogFromManyThreads([] { std::this_thread::yield(); });
    RyPLog::SetSink(former);
    EXPECT_EQ(sink.unguarded, kThreads * kRecordsPerThread);
}

/// Hands its count over when it goes.
class PassingSink final : public RyPLogSink {
public:
    explicit PassingSink(int& total) : m_total(total), m_former(RyPLog::SetSink(this)) {}
    ~PassingSink() override {
        RyPLog::SetSink(m_former);
        // Whoever were still inside would be caught here by the sanitizers, or by the total.
        m_total += m_count;
        m_count = 0;
    }
    PassingSink(const PassingSink&) = delete;
    PassingSink& operator=(const PassingSink&) = delete;

    void Write(const RyPLogRecord&) override { ++m_count; }

private:
    int m_count = 0;
    int& m_total;
    RyPLogSink* const m_former;
};

TEST(LogThreads, AreOutOfAFormerSinkOnceAnotherIsSet) {
    const CapturingLog log(RyPLogLevel::Warning);
    int passed = 0;
    LogFromManyThreads([&passed] {
        const PassingSink sink(passed);
        std::this_thread::yield();
    });
    EXPECT_EQ(static_cast<int>(log.Texts().size()) + passed, kThreads * kRecordsPerThread);
}

TEST(LogThreads, SeeAThresholdThatIsMovedMeanwhile) {
    const CapturingLog log(RyPLogLevel::Error);
    LogFromManyThreads([] {
        RyPLog::SetThreshold(RyPLogLevel::Warning);
        RyPLog::SetThreshold(RyPLogLevel::Error);
    });
    RyPLog::SetThreshold(RyPLogLevel::Error);
    EXPECT_LE(log.Texts().size(), static_cast<std::size_t>(kThreads * kRecordsPerThread));
    for (const CapturingLog::Record& record : log.Records()) {
        EXPECT_EQ(record.level, RyPLogLevel::Warning);
        EXPECT_EQ(record.text.substr(0, 7), "record ");
    }
}

}  // namespace
