#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <deque>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "faults/failingnew.h"
#include "kzstatdistribution.h"
#include "kzstatisticsgenerator.h"
#include "kzstatmerge.h"
#include "kzstatrun.h"
#include "kzstatstopwatch.h"
#include "rw/collint.h"
#include "ryp/log.h"
#include "ryp/testclock.h"
#include "support/message.h"
#include "support/testpeer.h"

// A run in which the nth allocation fails, for every n until a run has fewer allocations than
// that: the exception reaches the caller, no lock stays taken, and what was accepted is counted
// once.

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;

/// Keeps the texts, with memory of its own.
class KeepingGenerator : public CKZStatGenMain {
public:
    KeepingGenerator() : CKZStatGenMain("a generator whose name does not fit a small string") {}
    void SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double) override {}
    void SendClientDictionary(CKZStatGenMeasurementDictionary*, int, double) override {}
    void SendSliceValues(const CKZStatSliceValues& slice) override {
        slice.FindRecord("b");
        CKZStatMerge merge;
        merge.Add(slice);
        valuesOfSlice = merge.GetRecords().size();
        const PlentyOfMemory plenty;
        distributions.clear();
        for (const CKZStatSliceValues::Record& record : slice.GetRecords()) {
            if (record.totalsDistribution == nullptr) continue;
            EXPECT_EQ(record.totalsDistribution->GetCount(), record.totals.count) << record.name;
            EXPECT_EQ(record.lastsDistribution->GetCount(), record.lasts.count) << record.name;
            distributions[std::string(record.name)] = *record.totalsDistribution;
        }
    }
    int SendDictionaryString(RWCString& text, double, const char*) override {
        const PlentyOfMemory plenty;
        texts.push_back(text);
        EXPECT_EQ(valuesOfSlice, Message(text).records.size());
        return 1;
    }
    std::vector<RWCString> texts;
    std::size_t valuesOfSlice = 0;
    std::map<std::string, CKZStatDistribution> distributions;  // of the run, as shown last
};

class DiscardingSink : public RyPLogSink {
public:
    void Write(const RyPLogRecord&) override {}
};

/// One run by hand on one thread: clients that come, report, flush, share an id and go, over a few
/// slices, with a silence in the middle. Whatever fails is tried again, as a host would.
class Run {
public:
    explicit Run(long failingAllocation) : m_failing(failingAllocation) {
        Try([&] { m_generator = std::make_unique<KeepingGenerator>(); });
        Try([&] {
            m_generator->CollectDistributions(CKZStatDistributionChoice::OfKinds({Types::Counter}));
        });
        Try([&] { m_generator->Start(100.0, 10.0); });
        for (int slice = 0; slice < 3; ++slice) ReportOneSlice(slice);
        EndSlices();
    }

    bool HasFailed() const { return m_failing.HasFailed(); }

    void ExpectBalancedBooks() const {
        const PlentyOfMemory plenty;
        std::map<std::string, double> sent;
        for (const RWCString& text : m_generator->texts) {
            const Message message(text);
            for (const Record& record : message.records) sent[record.name] += record.lastsSum;
        }
        EXPECT_EQ(sent, m_accepted);
        const Message last(m_generator->texts.back());
        for (const auto& [name, sum] : m_accepted) EXPECT_EQ(last.Find(name)->sum, sum) << name;
        for (std::size_t i = 0; i < m_generator->texts.size(); ++i)
            EXPECT_EQ(Message(m_generator->texts[i]).sliceId, static_cast<int>(i) + 1);
        EXPECT_EQ(m_generator->distributions, m_distributions);
    }

private:
    template <class Step>
    void Try(Step step) {
        for (;;) {
            try {
                step();
                return;
            } catch (const std::bad_alloc&) {
            }
        }
    }

    std::unique_ptr<CKZStatGenClient> MakeClient(int id) {
        std::unique_ptr<CKZStatGenClient> client;
        Try([&] { client = std::make_unique<CKZStatGenClient>(m_generator.get(), id); });
        return client;
    }

    /// Reports one value once. An exception means that it was not accepted.
    void Report(CKZStatGenClient& client, const char* name, double value) {
        try {
            client.AddLast(name, value, Types::Counter);
        } catch (const std::bad_alloc&) {
            return;
        }
        const PlentyOfMemory plenty;
        m_accepted[name] += value;
        m_distributions[name].Add(value);
    }

    void ReportOneSlice(int slice) {
        const auto first = MakeClient(1);
        const auto twin = MakeClient(1);
        const auto idle = MakeClient(2);
        Report(*idle, "seen once", 1);
        for (int i = 0; i < 25; ++i) {
            Report(*first, kNames[i % 4], i);
            if (i % 10 == 0) Report(*twin, kNames[(i + slice) % 4], 1000);
        }
        Try([&] { first->FlushStatsCache(); });
        Try([&] { first->ResetTimer("a timer whose name does not fit a small string"); });
        m_clock.Advance(slice == 1 ? 35.0 : 10.5);
        Report(*first, "after the end", 1);
        PackAndFree();
    }

    void EndSlices() {
        m_clock.Advance(20.0);
        const auto last = MakeClient(3);
        Try([&] { last->GetNewDictionary(); });
        PackAndFree();
    }

    /// What the loops do. A slice that an exception interrupted is sent again.
    void PackAndFree() {
        while (!Peer::PackQueue(*m_generator).isEmpty()) {
            CKZStatGenSlice* const slice = m_generator->WaitForSlice();
            Try([&] { m_generator->SendSlice(slice); });
        }
        int status = RyPEventQueue::ItemArrived;
        while (!Peer::GarbageQueue(*m_generator).isEmpty()) {
            auto* const slice = static_cast<CKZStatGenSlice*>(
                Peer::GarbageQueue(*m_generator).waitEvent(0, status));
            Try([&] { slice->ReleaseDicts(); });
            Try([&] { m_generator->RemoveSlice(slice); });
        }
    }

    static constexpr const char* kNames[] = {"a name that does not fit a small string", "b", "c",
                                             "another name that does not fit a small string"};

    RyPTestClock m_clock{100.0};
    std::map<std::string, double> m_accepted;
    std::map<std::string, CKZStatDistribution> m_distributions;
    std::unique_ptr<KeepingGenerator> m_generator;
    FailingNew m_failing;
};

/// Returns the number of runs in which an allocation failed.
long FailEveryAllocationInTurn() {
    for (long nth = 1;; ++nth) {
        const Run run(nth);
        run.ExpectBalancedBooks();
        if (testing::Test::HasFailure()) {
            ADD_FAILURE() << "allocation " << nth;
            return nth;
        }
        if (!run.HasFailed()) return nth - 1;
    }
}

TEST(LackOfMemory, LosesAndDoublesNothingWhicheverAllocationFails) {
    EXPECT_GT(FailEveryAllocationInTurn(), 300);
}

TEST(LackOfMemory, LosesAndDoublesNothingWhileEverythingIsTraced) {
    DiscardingSink sink;
    RyPLog::SetSink(&sink);
    RyPLog::SetThreshold(RyPLogLevel::Trace);
    EXPECT_GT(FailEveryAllocationInTurn(), 1000);
    RyPLog::SetThreshold(RyPLogLevel::Error);
    RyPLog::SetSink(nullptr);
}

/// Whether a value of the name was accepted.
bool Accepts(CKZStatGenClient& client, const char* name) {
    try {
        client.AddLast(name, 1, Types::Counter);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

/// A client of a generator that collects, whose next value fills its cache.
struct AlmostFullCache {
    AlmostFullCache() {
        generator.CollectDistributions(CKZStatDistributionChoice::OfKinds({Types::Counter}));
        generator.Start(100.0, 10.0);
        for (int i = 0; i < 19; ++i) client.AddLast("known", 1, Types::Counter);
    }
    void SendSlice() {
        clock.Advance(10.5);
        client.GetNewDictionary();
        generator.SendSlice(generator.WaitForSlice());
    }

    RyPTestClock clock{100.0};
    KeepingGenerator generator;
    CKZStatGenClient client{&generator, 1};
};

/// The value that fills the cache is the first one of its name. Returns whether the allocation
/// failed.
bool ReportANewNameAtTheFlush(long failingAllocation) {
    AlmostFullCache cache;
    const FailingNew failing(failingAllocation);
    const bool isAccepted = Accepts(cache.client, "new");
    const PlentyOfMemory plenty;
    cache.SendSlice();
    const Message message(cache.generator.texts.at(0));
    EXPECT_EQ(message.Find("new") != nullptr, isAccepted) << failingAllocation;
    EXPECT_EQ(message.Find("known")->sum, 19) << failingAllocation;
    return failing.HasFailed();
}

/// The first value of a name is refused and the next one stays cached until the slice is packed.
/// Returns whether the allocation failed.
bool ReportANewNameAgain(long failingAllocation) {
    AlmostFullCache cache;
    bool hasFailed = false;
    {
        const FailingNew failing(failingAllocation);
        Accepts(cache.client, "new");
        hasFailed = failing.HasFailed();
    }
    cache.client.AddLast("new", 2, Types::Counter);
    cache.SendSlice();
    EXPECT_EQ(cache.generator.distributions.size(), 2U) << failingAllocation;
    EXPECT_EQ(cache.generator.distributions["new"].GetMaximum(), 2) << failingAllocation;
    return hasFailed;
}

TEST(LackOfMemory, LeavesTheDistributionOfANameWholeWhoseFirstValueItRefused) {
    long nth = 1;
    while (ReportANewNameAgain(nth) && !HasFailure()) ++nth;
    EXPECT_GT(nth, 5);
}

TEST(LackOfMemory, TellsNoNameOfWhichNoValueWasAccepted) {
    long nth = 1;
    while (ReportANewNameAtTheFlush(nth) && !HasFailure()) ++nth;
    EXPECT_GT(nth, 5);
}

TEST(CollectedDistributions, AllocateNothingForNamesOfTheSliceBefore) {
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.CollectDistributions(CKZStatDistributionChoice::OfKinds({Types::Counter}));
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 1);
    client.GetNewDictionary();
    bool hasAllocated = true;
    for (int slice = 0; slice < 6; ++slice) {
        const bool isLast = slice == 5;
        const FailingNew failing(isLast ? 1 : 0);
        for (int i = 0; i < (isLast ? 2000 : 70); ++i)
            client.AddLast(i % 2 == 0 ? "one" : "another", i % 10, Types::Counter);
        client.FlushStatsCache();
        hasAllocated = failing.HasFailed();
        const PlentyOfMemory plenty;
        clock.Advance(10.5);
        client.GetNewDictionary();
        CKZStatGenSlice* const sent = generator.WaitForSlice();
        generator.SendSlice(sent);
        generator.RemoveSlice(sent);
    }
    EXPECT_FALSE(hasAllocated);
}

/// Begins the 70 slices of a long silence, more than the pack queue has room for at first. Returns
/// whether the allocation failed.
bool BeginSlicesOfALongSilence(long failingAllocation) {
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 1);
    clock.Advance(700.0);
    const FailingNew failing(failingAllocation);
    CKZStatGenMeasurementDictionary* dictionary = nullptr;
    while (dictionary == nullptr) {
        try {
            dictionary = client.GetNewDictionary();
        } catch (const std::bad_alloc&) {
        }
    }
    const PlentyOfMemory plenty;
    EXPECT_EQ(IdOf(*Peer::SliceOf(*dictionary)), 71);
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 71U);
    for (int id = 1; id <= 70; ++id) EXPECT_EQ(IdOf(*generator.WaitForSlice()), id);
    return failing.HasFailed();
}

TEST(LackOfMemory, ConvertsPointTypesWithoutAllocating) {
    testing::internal::CaptureStderr();
    for (const char* const text : {"TransactionReasonCounter", "AccumulatorPerSec", "Stat",
                                   "a form that does not fit a small string", ""}) {
        const RWCString form(text);
        Types::PointType type = Types::NotSet;
        const FailingNew failing(1);
        static_assert(noexcept(Types::GetEnumTypeFromString(form, type)));
        Types::GetEnumTypeFromString(form, type);
        EXPECT_FALSE(failing.HasFailed()) << text;
    }
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 2) << errors;
}

TEST(LackOfMemory, LeavesAMergeThatASecondAttemptCompletes) {
    std::vector<CKZStatMessageRecord> records;
    for (int i = 0; i < 40; ++i)
        records.push_back({("a name that does not fit a small string " + std::to_string(i)).c_str(),
                           i % 2 == 0 ? Types::Timer : Types::Counter,
                           {1, 1, 1, 1, 1},
                           {1, 1, 1, 1, 1}});
    const RWCString message;
    CKZStatDistribution one;
    one.Add(1);
    const std::vector<const CKZStatDistribution*> distributions(records.size(), &one);
    bool hasFailed = true;
    for (long n = 1; hasFailed; ++n) {
        const CKZStatSliceValues slice({"gen", 1, 1, 1, 1}, message, records, distributions);
        CKZStatMerge merge;
        merge.Add("a name that does not fit a small string 1", Types::Timer, {}, {});
        {
            const FailingNew failing(n);
            try {
                merge.Add(slice);
            } catch (const std::bad_alloc&) {
            }
            hasFailed = failing.HasFailed();
        }
        if (hasFailed) merge.Add(slice);
        for (const CKZStatMessageRecord& record : merge.GetRecords())
            ASSERT_LE(record.totals.count, 1) << n;
        ASSERT_EQ(merge.GetRecords().size(), 40U);
        ASSERT_EQ(merge.GetConflicts().size(), 1U) << n;
        for (const CKZStatDistribution* const merged : merge.GetLastsDistributions())
            ASSERT_TRUE(merged == nullptr || *merged == one) << n;
    }
}

/// Values that need blocks of their own, and counts of all widths.
CKZStatDistribution ManyKindsOfValues() {
    CKZStatDistribution many;
    for (const double value : {1.0, 1e-300, -5.0, 1e300, 0.0, std::nan("")}) many.Add(value);
    for (int i = 0; i < 34; ++i) {
        many.Add(many);
        many.Add(1000 + i);
        many.Add(std::ldexp(-1, i));
    }
    return many;
}

/// Calls `change` with a distribution of `values` while the nth allocation fails, for every n: it
/// changes all or nothing. Returns the number of allocations that failed.
template <class Change>
long ChangeWithFailingAllocations(const CKZStatDistribution& values,
                                  const CKZStatDistribution& changed, const Change& change) {
    for (long nth = 1;; ++nth) {
        CKZStatDistribution distribution = values;
        bool hasThrown = false;
        const FailingNew failing(nth);
        try {
            change(distribution);
        } catch (const std::bad_alloc&) {
            hasThrown = true;
        }
        const PlentyOfMemory plenty;
        EXPECT_EQ(hasThrown, failing.HasFailed());
        EXPECT_TRUE(distribution == (hasThrown ? values : changed)) << nth;
        if (!failing.HasFailed()) return nth - 1;
    }
}

TEST(LackOfMemory, AddsAValueToADistributionOrChangesNothing) {
    CKZStatDistribution values;
    for (const double value : {1.0, 1e300, -5.0, 0.0, std::nan(""), 1.5e-300}) {
        CKZStatDistribution changed = values;
        changed.Add(value);
        const long failed = ChangeWithFailingAllocations(
            values, changed, [&](CKZStatDistribution& distribution) { distribution.Add(value); });
        EXPECT_GT(failed, std::isnan(value) ? -1 : 0) << value;
        values = changed;
    }
    // Counts that become wider.
    CKZStatDistribution full;
    for (int i = 0; i < 65535; ++i) full.Add(1);
    CKZStatDistribution wider = full;
    wider.Add(1);
    EXPECT_LT(0, ChangeWithFailingAllocations(
                     full, wider, [](CKZStatDistribution& distribution) { distribution.Add(1); }));
}

TEST(LackOfMemory, AddsADistributionOrChangesNothing) {
    const CKZStatDistribution many = ManyKindsOfValues();
    CKZStatDistribution few;
    for (const double value : {1.0, 1001.0, 1e-100}) few.Add(value);
    for (const CKZStatDistribution& values : {CKZStatDistribution(), few}) {
        CKZStatDistribution changed = values;
        changed.Add(many);
        const auto addMany = [&](CKZStatDistribution& distribution) { distribution.Add(many); };
        EXPECT_GT(ChangeWithFailingAllocations(values, changed, addMany), 30);
    }
}

TEST(LackOfMemory, DecodesADistributionOrChangesNothing) {
    const CKZStatDistribution many = ManyKindsOfValues();
    std::string form;
    many.Encode(form);
    CKZStatDistribution few;
    few.Add(1);
    const auto decode = [&](CKZStatDistribution& distribution) { distribution.Decode(form); };
    EXPECT_GT(ChangeWithFailingAllocations(few, many, decode), 30);
}

TEST(LackOfMemory, EncodesADistributionOrAppendsNothing) {
    const CKZStatDistribution many = ManyKindsOfValues();
    std::string form = "before";
    many.Encode(form);
    bool hasFailed = true;
    for (long nth = 1; hasFailed; ++nth) {
        std::string bytes = "before";
        const FailingNew failing(nth);
        try {
            many.Encode(bytes);
        } catch (const std::bad_alloc&) {
        }
        const PlentyOfMemory plenty;
        hasFailed = failing.HasFailed();
        EXPECT_EQ(bytes, hasFailed ? "before" : form);
    }
}

TEST(Distribution, AllocatesNothingForValuesItHadBeforeItWasCleared) {
    const CKZStatDistribution many = ManyKindsOfValues();
    std::string form;
    many.Encode(form);
    std::string bytes;
    bytes.reserve(form.size());
    CKZStatDistribution distribution = many;
    for (int i = 0; i < 300; ++i) distribution.Add(100);

    const FailingNew failing(1);
    distribution.Clear();
    for (int i = 0; i < 300; ++i) distribution.Add(100);
    for (const double value : {1.0, 1e-300, -5.0, 1e300, 0.0, std::nan(""), 1000.0})
        distribution.Add(value);
    distribution.Clear();
    distribution.Add(many);
    EXPECT_TRUE(distribution == many);
    EXPECT_TRUE(distribution.Decode(form));
    distribution.Encode(bytes);
    EXPECT_FALSE(failing.HasFailed());
    EXPECT_EQ(bytes, form);
}

TEST(LackOfMemory, LeavesNoGapInTheTimeline) {
    long nth = 1;
    while (BeginSlicesOfALongSilence(nth) && !HasFailure()) ++nth;
    EXPECT_GT(nth, 70 * 3);
}

TEST(LackOfMemory, LeavesTheLoopsToTheHostWhichRunsThemAgain) {
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.Start(100.0, 10.0);
    {
        CKZStatGenClient client(&generator, 1);
        client.AddLast("n", 7, Types::Counter);
        clock.Set(111.0);
        client.GetNewDictionary();
        for (long nth = 1; generator.texts.empty(); ++nth) {
            const FailingNew failing(nth);
            try {
                generator.SendSlice(generator.WaitForSlice());
            } catch (const std::bad_alloc&) {
            }
        }
        EXPECT_TRUE(Peer::PackQueue(generator).isEmpty());
        EXPECT_EQ(Message(generator.texts.at(0)).Find("n")->sum, 7);
    }
    generator.Terminate();
}

/// A thread that read its clock before takes a dictionary in the slice at which a failed allocation
/// ended the catching up. Returns whether it failed.
bool FileWhereTheCatchingUpEnded(long failingAllocation) {
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 1);
    clock.Advance(50.0);
    bool hasFailed = false;
    try {
        const FailingNew failing(failingAllocation);
        client.GetNewDictionary();
    } catch (const std::bad_alloc&) {
        hasFailed = true;
    }
    clock.Set(client.GetCurrentEndTime() - 5.0);
    const CKZStatGenMeasurementDictionary* const dictionary = client.GetNewDictionary();
    EXPECT_EQ(Peer::SliceOf(*dictionary), Peer::CurrentSlice(generator)) << failingAllocation;
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 1) << failingAllocation;
    return hasFailed;
}

TEST(LackOfMemory, LeavesACurrentSliceThatClientsFileIn) {
    long nth = 1;
    while (FileWhereTheCatchingUpEnded(nth) && !HasFailure()) ++nth;
    EXPECT_GT(nth, 10);
}

/// A slice in which clients 1 and 2 have one value each.
void MakeFilled(std::optional<CKZStatGenSlice>& slice, CKZStatGenMain& main, double value) {
    slice.emplace(1, 110.0, &main, true);
    for (const int id : {1, 2}) {
        auto* const dictionary = new CKZStatGenMeasurementDictionary(&*slice);
        slice->AddDictionary(dictionary, id);
        dictionary->AddLast("n", value, Types::Counter);
    }
}

/// Returns whether the allocation failed.
bool FoldTwoSlicesThatStandInTheSamePlace(long failingAllocation) {
    KeepingGenerator generator;
    CKZStatGenSlice total(0, 0.0, &generator, true);
    std::optional<CKZStatGenSlice> slice;
    MakeFilled(slice, generator, 1);
    bool hasFailed = false;
    try {
        const FailingNew failing(failingAllocation);
        total.AddDictionarysSlice(&*slice);
    } catch (const std::bad_alloc&) {
        hasFailed = true;
    }
    MakeFilled(slice, generator, 10);
    total.AddDictionarysSlice(&*slice);
    for (const int id : {1, 2}) {
        const RWCollectableInt key(id);
        const auto* const dictionary =
            static_cast<CKZStatGenMeasurementDictionary*>(total.findValue(&key));
        EXPECT_EQ(dictionary->GetLastsMaximum("n"), 10) << failingAllocation;
    }
    return hasFailed;
}

TEST(LackOfMemory, TakesNoNewSliceForTheOneWhoseFoldItInterrupted) {
    long nth = 1;
    while (FoldTwoSlicesThatStandInTheSamePlace(nth) && !HasFailure()) ++nth;
    EXPECT_GT(nth, 10);
}

/// Sends the 100 slices of a long silence and frees none, so that the queue of slices to free grows
/// beyond the room it has at first. Returns whether the allocation failed.
bool SendSlicesOfALongSilence(long failingAllocation) {
    constexpr int kSlices = 100;
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 1);
    clock.Advance(kSlices * 10.0);
    client.GetNewDictionary();
    const FailingNew failing(failingAllocation);
    for (int sent = 0; sent < kSlices;) {
        try {
            generator.SendSlice(generator.WaitForSlice());
            ++sent;
        } catch (const std::bad_alloc&) {
        }
    }
    const PlentyOfMemory plenty;
    EXPECT_EQ(generator.texts.size(), static_cast<std::size_t>(kSlices));
    int id = 0;
    for (const auto& text : generator.texts) EXPECT_EQ(Message(text).sliceId, ++id);
    return failing.HasFailed();
}

TEST(LackOfMemory, SendsEverySliceOnceThoughItCannotBeQueuedForFreeing) {
    long nth = 1;
    while (SendSlicesOfALongSilence(nth) && !HasFailure()) ++nth;
    EXPECT_GT(nth, 100);
}

/// Runs the garbage loop, again after an exception, while a client holds a dictionary of the slice
/// that is to be freed. Returns whether the allocation failed.
bool FreeASliceThatAClientHolds(long failingAllocation) {
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient holder(&generator, 1);
    CKZStatGenClient other(&generator, 2);
    holder.AddLast("n", 7, Types::Counter);
    clock.Set(111.0);
    other.GetNewDictionary();
    generator.SendSlice(generator.WaitForSlice());
    generator.Terminate();
    const FailingNew failing(failingAllocation);
    for (bool done = false; !done;) {
        try {
            generator.doGarbageWork();
            done = true;
        } catch (const std::bad_alloc&) {
        }
    }
    const PlentyOfMemory plenty;
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
    holder.AddLast("n", 1, Types::Counter);
    EXPECT_EQ(holder.GetCurrentEndTime(), 120.0);
    return failing.HasFailed();
}

TEST(LackOfMemory, LeavesNoSliceUnfreedByAGarbageLoopThatIsRunAgain) {
    long nth = 1;
    while (FreeASliceThatAClientHolds(nth) && !HasFailure()) ++nth;
    EXPECT_GT(nth, 2);
}

/// Removes a slice, again after an exception, from which nobody moved the clients. Returns whether
/// the allocation failed.
bool RemoveASliceUnderItsClients(long failingAllocation) {
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.Start(100.0, 10.0);
    std::deque<CKZStatGenClient> holders;
    for (int id = 1; id <= 3; ++id)
        holders.emplace_back(&generator, id).AddLast("n", 7, Types::Counter);
    CKZStatGenClient other(&generator, 4);
    clock.Set(111.0);
    other.GetNewDictionary();
    CKZStatGenSlice* const slice = generator.WaitForSlice();
    const FailingNew failing(failingAllocation);
    for (bool done = false; !done;) {
        try {
            generator.RemoveSlice(slice);
            done = true;
        } catch (const std::bad_alloc&) {
            const PlentyOfMemory plenty;
            EXPECT_EQ(Peer::SlicesInTimeline(generator), 2U) << failingAllocation;
            EXPECT_EQ(slice->GetCountZ0(), 3) << failingAllocation;
        }
    }
    const PlentyOfMemory plenty;
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
    for (CKZStatGenClient& holder : holders) {
        EXPECT_EQ(Peer::DictionaryOf(holder), nullptr);
        holder.AddLast("n", 1, Types::Counter);
        EXPECT_EQ(holder.GetCurrentEndTime(), 120.0);
    }
    return failing.HasFailed();
}

TEST(LackOfMemory, KeepsASliceThatItCannotDetachFromItsClients) {
    long nth = 1;
    while (RemoveASliceUnderItsClients(nth) && !HasFailure()) ++nth;
    EXPECT_GT(nth, 2);
}

/// How many values a dump of `slice` tells.
double CountIn(CKZStatGenSlice& slice) {
    RWCString text;
    const std::unique_ptr<CKZStatGenMeasurementDictionary> merged(slice.DumpSlice(text));
    return merged->GetCount("n");
}

/// What a host may do with a slice that it was handed.
using Look = void (*)(CKZStatGenMain&, CKZStatGenSlice&);

/// Takes up a slice of three clients in one lane and looks at it. Returns whether the allocation
/// failed.
bool TakeUpASlice(long failingAllocation, Look look) {
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.Start(100.0, 10.0);
    for (int id = 1; id <= 3; ++id) {
        CKZStatGenClient client(&generator, id);
        client.AddLast("n", 1, Types::Counter);
        client.FlushStatsCache();
    }
    clock.Set(110.5);
    generator.GetNewDictionary(4, nullptr);  // begins the next slice
    const FailingNew failing(failingAllocation);
    CKZStatGenSlice* const slice = generator.WaitForSlice();
    const PlentyOfMemory plenty;
    look(generator, *slice);
    return failing.HasFailed();
}

constexpr Look kLooks[] = {
    [](CKZStatGenMain&, CKZStatGenSlice& slice) { EXPECT_EQ(CountIn(slice), 3); },
    [](CKZStatGenMain& main, CKZStatGenSlice& slice) {
        CKZStatGenSlice total(0, 0.0, &main, true);
        total.AddDictionarysSlice(&slice);
        EXPECT_EQ(CountIn(total), 3);
    },
    [](CKZStatGenMain&, CKZStatGenSlice& slice) {
        slice.ResetLasts();
        EXPECT_EQ(slice.entries(), 3U);
    },
    [](CKZStatGenMain&, CKZStatGenSlice& slice) {
        slice.ReleaseDicts();
        EXPECT_EQ(slice.entries(), 3U);
    }};

TEST(LackOfMemory, HandsOutASliceThatIsWholeWhenItIsLookedAt) {
    for (const Look look : kLooks) {
        long nth = 1;
        while (TakeUpASlice(nth, look) && !HasFailure()) ++nth;
        EXPECT_GT(nth, 3);
    }
}

/// Clients of a current slice are moved and report, and it is counted and sent, while one
/// allocation fails in the first and another in the second half. Returns whether both failed.
bool TerminateBesideASlicePutTogetherInPart(long failingInMove, long failingAfterwards) {
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenSlice& slice = *Peer::CurrentSlice(generator);
    const auto report = [&](int id) {
        CKZStatGenClient(&generator, id).AddLast("n", 1, Types::Counter);
    };
    for (int id = 1; id <= 4; ++id) report(id);
    bool bothFailed = true;
    {
        const FailingNew failing(failingInMove);
        try {
            slice.ReleaseDicts();
        } catch (const std::bad_alloc&) {
        }
        bothFailed = failing.HasFailed();
    }
    for (int id = 5; id <= 9; ++id) report(id);
    {
        const FailingNew failing(failingAfterwards);
        EXPECT_NO_THROW(generator.Terminate());
        try {
            slice.ReleaseDicts();
        } catch (const std::bad_alloc&) {
        }
        bothFailed = bothFailed && failing.HasFailed();
    }
    generator.SendSlice(&slice);
    const PlentyOfMemory plenty;
    EXPECT_EQ(Message(generator.texts.at(0)).Find("n")->sum, 9)
        << failingInMove << ' ' << failingAfterwards;
    return bothFailed;
}

TEST(LackOfMemory, LeavesASliceWholeThatTerminateCounts) {
    DiscardingSink sink;
    RyPLog::SetSink(&sink);
    RyPLog::SetThreshold(RyPLogLevel::Warning);
    long most = 0;
    for (long inMove = 1; most >= inMove - 1 && !HasFailure(); ++inMove)
        for (long afterwards = 1; TerminateBesideASlicePutTogetherInPart(inMove, afterwards);
             ++afterwards)
            most = inMove;
    EXPECT_GT(most, 3);
    RyPLog::SetThreshold(RyPLogLevel::Error);
    RyPLog::SetSink(nullptr);
}

/// A client that was made on this thread is followed by another one from slice to slice, with names
/// that the cache has to grow for. Returns whether the allocation failed.
bool ReportElsewhere(long failingAllocation) {
    RyPTestClock clock(100.0);
    KeepingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 1);
    client.AddLast("short", 1, Types::Counter);
    std::vector<std::string> names;
    for (std::size_t length = 1; length <= 256; length += 51) names.emplace_back(length, 'n');
    double accepted = 1;
    bool hasFailed = false;
    std::thread([&] {
        const FailingNew failing(failingAllocation);
        for (std::size_t i = 0; i < 60; ++i) {
            if (i % 25 == 10) clock.Advance(10.5);
            accepted += Accepts(client, names[i % names.size()].c_str());
        }
        hasFailed = failing.HasFailed();
    }).join();
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 1) << failingAllocation;
    clock.Advance(20.0);
    client.GetNewDictionary();
    while (!Peer::PackQueue(generator).isEmpty()) generator.SendSlice(generator.WaitForSlice());
    double sent = 0;
    for (const Record& record : Message(generator.texts.back()).records) sent += record.count;
    EXPECT_EQ(sent, accepted) << failingAllocation;
    return hasFailed;
}

TEST(LackOfMemory, CountsTheValuesOfAClientThatFollowsAnotherThread) {
    long nth = 1;
    while (ReportElsewhere(nth) && !HasFailure()) ++nth;
    EXPECT_GT(nth, 20);
}

/// Reports thirty names and a stopwatch on a run where the nth allocation of that fails. Returns
/// whether one has failed.
bool ReportOnRun(long failingAllocation) {
    std::vector<std::string> names;
    for (int i = 0; i < 30; ++i)
        names.push_back("a name that fits no small string " + std::to_string(i));

    std::atomic<long long> delivered{0};
    CKZStatRun run("load", 0.001);
    run.OnSlice([&](const CKZStatSliceValues& slice) {
        for (const auto& record : slice.GetRecords())
            if (record.type == Types::Counter || record.type == Types::Timer)
                delivered += static_cast<long long>(record.lasts.count);
    });
    CKZStatRunClient client = run.NewClient(1);
    bool hasFailed = false;
    {
        const FailingNew failing(failingAllocation);
        for (const std::string& name : names) client.AddLast(name.c_str(), 1, Types::Counter);
        { const CKZStatStopwatch timing(client, "the name of a stopwatch, also a long one"); }
        hasFailed = failing.HasFailed();
    }
    const CKZStatRunResult result = run.Finish();
    EXPECT_EQ(result.valuesRefused, hasFailed ? 1 : 0) << failingAllocation;
    EXPECT_EQ(delivered + result.valuesRefused, 31) << failingAllocation;
    return hasFailed;
}

TEST(LackOfMemory, MakesARunRefuseTheOneValueForWhichItRanOut) {
    long nth = 1;
    while (ReportOnRun(nth)) ++nth;
    EXPECT_GT(nth, 10);
}

}  // namespace
