#include "conditions/failures.h"

#include <gmock/gmock.h>

#include "conditions/madefigures.h"

namespace {

using kzconditions::ShareOfErrors;
using kzconditions::ShareOfFailures;
using kzconditions::WorkThatFailed;
using testing::Eq;
using testing::Optional;

TEST(Failures, BelongToTheWorkOfTheirName) {
    MadeFigures run;
    run.Timer("a", {}).Timer("b.failed", {}).Timer("c.failed.d", {});
    EXPECT_THAT(WorkThatFailed("a.failed", run), Optional(std::string("a")));
    EXPECT_THAT(WorkThatFailed("a.failed.why", run), Optional(std::string("a")));
    EXPECT_THAT(WorkThatFailed("a.failed.failed", run), Optional(std::string("a")));
    EXPECT_THAT(WorkThatFailed("b.failed.why", run), Optional(std::string("b")));
    for (const char* const name : {"", "a", "x.failed", ".failed", "a.failedly", "c.failed", "a."})
        EXPECT_THAT(WorkThatFailed(name, run), Eq(std::nullopt)) << name;
}

TEST(Failures, AreAShareOfAllAttempts) {
    MadeFigures run;
    run.Timer("a", {{"count", 75}})
        .Timer("a.failed", {{"count", 25}})
        .Counter("a.failed.timeout", {{"sum", 10}})
        .Counter("a.abandoned", {{"sum", 1000}});
    EXPECT_THAT(ShareOfFailures("a.failed", run), Optional(25));
    EXPECT_THAT(ShareOfFailures("a.failed.timeout", run), Optional(10));
    EXPECT_THAT(ShareOfFailures("a.failed.closed", run), Optional(0));
    EXPECT_THAT(ShareOfErrors(run), Optional(25));
}

TEST(Failures, AreAllAttemptsIfNoneSucceeded) {
    MadeFigures run;
    run.Timer("a.failed", {{"count", 3}});
    EXPECT_THAT(ShareOfFailures("a.failed", run), Optional(100));
    EXPECT_THAT(ShareOfErrors(run), Optional(100));
}

TEST(Failures, OfAllWorkThatFailedAreTheErrors) {
    MadeFigures run;
    run.Timer("a", {{"count", 90}})
        .Timer("a.failed", {{"count", 10}})
        .Counter("a.failed.failed", {{"sum", 10}})
        .Counter("b", {{"sum", 290}})
        .Counter("b.failed", {{"sum", 10}})
        .Timer("never failed", {{"count", 1000}});
    EXPECT_THAT(ShareOfErrors(run), Optional(5));
}

/// A hundred requests, of which four failed, in twenty transactions.
void MakeRequestsInTransactions(MadeFigures& run, double failedTransactions) {
    run.Timer("request", {{"count", 96}})
        .Timer("request.failed", {{"count", 4}})
        .Transaction("login", {{"count", 10}})
        .Transaction("browse", {{"count", 10 - failedTransactions}})
        .Transaction("browse.failed", {{"count", failedTransactions}});
}

TEST(Failures, OfRequestsAndOfTransactionsAreSharesOfTheirOwn) {
    MadeFigures run;
    MakeRequestsInTransactions(run, 3);
    EXPECT_THAT(ShareOfErrors(run), Optional(15));
    MakeRequestsInTransactions(run, 0);
    EXPECT_THAT(ShareOfErrors(run), Optional(4));
}

TEST(Failures, OfWhatIsRequestAndTransactionAtOnceAreCountedOnce) {
    MadeFigures run;
    run.Timer("request", {{"count", 96}})
        .Timer("request.failed", {{"count", 4}})
        .Transaction("login", {{"count", 50}})
        .Transaction("browse", {{"count", 46}})
        .Transaction("browse.failed", {{"count", 4}});
    EXPECT_THAT(ShareOfErrors(run), Optional(4));
}

TEST(Failures, OfTransactionsAreErrorsThoughRequestsNeverFailed) {
    MadeFigures run;
    run.Timer("request", {{"count", 99}})
        .Transaction("browse", {{"count", 4}})
        .Transaction("browse.failed", {{"count", 1}});
    EXPECT_THAT(ShareOfErrors(run), Optional(20));
}

TEST(Failures, OfTransactionsAloneAreErrors) {
    MadeFigures run;
    run.Transaction("browse", {{"count", 3}}).Transaction("browse.failed", {{"count", 1}});
    EXPECT_THAT(ShareOfErrors(run), Optional(25));
}

TEST(Failures, AreNoneIfWorkTookTimeAndNothingFailed) {
    MadeFigures run;
    EXPECT_THAT(ShareOfErrors(run), Eq(std::nullopt));
    run.Counter("clients", {{"sum", 5}}).Timer("a", {{"count", 0}});
    EXPECT_THAT(ShareOfErrors(run), Eq(std::nullopt));
    run.Timer("a", {{"count", 1}});
    EXPECT_THAT(ShareOfErrors(run), Optional(0));
}

}  // namespace
