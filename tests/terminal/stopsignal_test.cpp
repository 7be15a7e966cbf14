#include "terminal/stopsignal.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

// Signals are handled for a whole process: each test has one of its own.

TEST(StopSignalDeathTest, NobodyAsksAtFirst) {
    const auto waitInVain = [] {
        kzterminal::CatchStopSignals();
        _exit(kzterminal::StopIsRequested() || kzterminal::WaitForStop(milliseconds(1)));
    };
    EXPECT_EXIT(waitInVain(), testing::ExitedWithCode(0), "");
}

TEST(StopSignalDeathTest, TheFirstOfEachAsksForAStop) {
    const auto stop = [](int signal) {
        kzterminal::CatchStopSignals();
        raise(signal);
        _exit(kzterminal::StopIsRequested() && kzterminal::WaitForStop(hours(1)) ? 0 : 1);
    };
    EXPECT_EXIT(stop(SIGINT), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(stop(SIGTERM), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(stop(SIGHUP), testing::ExitedWithCode(0), "");
}

TEST(StopSignalDeathTest, ATerminalMayHangUpTwice) {
    const auto hangUp = [] {
        kzterminal::CatchStopSignals();
        raise(SIGHUP);
        raise(SIGHUP);
        _exit(kzterminal::StopIsRequested() ? 0 : 1);
    };
    EXPECT_EXIT(hangUp(), testing::ExitedWithCode(0), "");
}

TEST(StopSignalDeathTest, AHangupThatWasIgnoredStaysIgnored) {
    const auto hangUp = [] {
        signal(SIGHUP, SIG_IGN);
        kzterminal::CatchStopSignals();
        raise(SIGHUP);
        _exit(kzterminal::StopIsRequested() ? 1 : 0);
    };
    EXPECT_EXIT(hangUp(), testing::ExitedWithCode(0), "");
}

TEST(StopSignalDeathTest, TheSecondOneEndsTheProcess) {
    const auto stopTwice = [] {
        kzterminal::CatchStopSignals();
        raise(SIGINT);
        raise(SIGINT);
    };
    EXPECT_EXIT(stopTwice(), testing::KilledBySignal(SIGINT), "");
}

TEST(StopSignalDeathTest, WakesEveryThreadThatWaits) {
    const auto stopAll = [] {
        kzterminal::CatchStopSignals();
        std::thread one([] { kzterminal::WaitForStop(); });
        std::thread other([] { kzterminal::WaitForStop(hours(1)); });
        raise(SIGTERM);
        one.join();
        other.join();
        _exit(0);
    };
    EXPECT_EXIT(stopAll(), testing::ExitedWithCode(0), "");
}

TEST(StopSignalDeathTest, AWriteToABrokenPipeFails) {
    const auto writeInVain = [] {
        kzterminal::IgnoreSignalsOfWrites();
        int ends[2] = {};
        if (pipe(ends) != 0 || close(ends[0]) != 0) _exit(1);
        _exit(write(ends[1], "x", 1) < 0 && errno == EPIPE ? 0 : 1);
    };
    EXPECT_EXIT(writeInVain(), testing::ExitedWithCode(0), "");
}

TEST(StopSignalDeathTest, AWriteBeyondTheSizeLimitFails) {
    const auto writeTooMuch = [] {
        kzterminal::IgnoreSignalsOfWrites();
        const rlimit none{0, 0};
        std::FILE* const file = std::tmpfile();
        if (file == nullptr || setrlimit(RLIMIT_FSIZE, &none) != 0) _exit(1);
        _exit(write(fileno(file), "x", 1) < 0 && errno == EFBIG ? 0 : 1);
    };
    EXPECT_EXIT(writeTooMuch(), testing::ExitedWithCode(0), "");
}

}  // namespace
