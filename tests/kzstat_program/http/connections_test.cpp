#include "http/connections.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <thread>

namespace kzstatprogram {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

constexpr int kPatienceOfTest = 10000;

/// A connection with both of its ends.
class Pair {
public:
    explicit Pair(Connections& connections) : m_connections(connections) {
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, m_ends.data()));
        handle = connections.Open(m_ends[0]);
    }
    ~Pair() {
        m_connections.Close(handle);
        for (const int end : m_ends) close(end);
    }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    bool IsCut() { return IsCutWithin(0); }
    bool WaitUntilCut() { return IsCutWithin(kPatienceOfTest); }

    Connections::Handle handle;

private:
    bool IsCutWithin(int patience) {
        pollfd end{m_ends[1], POLLIN, 0};
        return poll(&end, 1, patience) == 1;
    }

    Connections& m_connections;
    std::array<int, 2> m_ends{};
};

TEST(Connections, CutsOneWhoseRequestIsLate) {
    Connections connections(4, milliseconds(1));
    Pair late(connections);
    EXPECT_TRUE(late.WaitUntilCut());
}

TEST(Connections, CutsOneThatDoesNotTakeItsAnswerInTime) {
    Connections connections(4, hours(1));
    Pair late(connections);
    connections.StopClock(late.handle);
    connections.StartClock(late.handle, milliseconds(1));
    EXPECT_TRUE(late.WaitUntilCut());
}

TEST(Connections, LeavesOneAloneWhileTheServerIsAtWork) {
    Connections connections(4, milliseconds(200));
    Pair answered(connections);
    connections.StopClock(answered.handle);
    Pair late(connections);
    EXPECT_TRUE(late.WaitUntilCut());
    EXPECT_FALSE(answered.IsCut());
}

TEST(Connections, TellsWhatIsLeftOfTheTime) {
    Connections connections(4, hours(1));
    Pair pair(connections);
    EXPECT_GT(connections.StopClock(pair.handle), milliseconds(0));
    EXPECT_FALSE(pair.IsCut());
}

TEST(Connections, CutsTheLongestWhereNoPlaceIsLeft) {
    Connections connections(2, hours(1));
    Pair first(connections);
    Pair second(connections);
    EXPECT_FALSE(first.IsCut());
    Pair third(connections);
    EXPECT_TRUE(first.IsCut());
    EXPECT_FALSE(second.IsCut());
    EXPECT_FALSE(third.IsCut());
}

TEST(Connections, CutsTheNextOneWhileTheLongestIsNotClosedYet) {
    Connections connections(2, hours(1));
    Pair first(connections);
    Pair second(connections);
    Pair third(connections);
    Pair fourth(connections);
    EXPECT_TRUE(second.IsCut());
    EXPECT_FALSE(third.IsCut());
}

TEST(Connections, CutsNobodyForThoseThatWereCutBefore) {
    Connections connections(2, hours(1));
    Pair cut(connections);
    Pair follower(connections);
    connections.Follow(follower.handle);
    { const Pair second(connections); }
    EXPECT_TRUE(cut.IsCut());
    Pair third(connections);
    EXPECT_FALSE(third.IsCut());
}

TEST(Connections, CutsNobodyAfterOneHasGone) {
    Connections connections(2, hours(1));
    Pair first(connections);
    { const Pair second(connections); }
    Pair third(connections);
    EXPECT_FALSE(first.IsCut());
}

TEST(Connections, CutsNoFollowerForItsLength) {
    Connections connections(2, hours(1));
    Pair follower(connections);
    connections.Follow(follower.handle);
    Pair second(connections);
    Pair third(connections);
    EXPECT_FALSE(follower.IsCut());
    EXPECT_TRUE(second.IsCut());
}

TEST(Connections, AreOpenedAnsweredAndClosedByManyThreads) {
    Connections connections(4, milliseconds(1));
    const auto connectOften = [&] {
        for (int i = 0; i < 200; ++i) {
            const Pair pair(connections);
            connections.StopClock(pair.handle);
            connections.StartClock(pair.handle, hours(1));
        }
    };
    std::array<std::thread, 4> threads;
    for (std::thread& thread : threads) thread = std::thread(connectOften);
    for (std::thread& thread : threads) thread.join();
    Pair last(connections);
    EXPECT_TRUE(last.WaitUntilCut());
}

}  // namespace
}  // namespace kzstatprogram
