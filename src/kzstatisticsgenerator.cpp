#include "kzstatisticsgenerator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <limits>
#include <utility>

#include "kzstatgendistributions.h"
#include "kzstatgenstore.h"
#include "kzstatlog.h"
#include "kzstatmessage.h"
#include "rw/collint.h"
#include "ryp/clock.h"
#include "ryp/collectablestring.h"
#include "ryp/environment.h"
#include "ryp/numbertext.h"
#include "ryp/truncate.h"

namespace {

constexpr std::size_t kBuckets = 33;
constexpr int kDummyClientId = 1000011;
constexpr long kQueueTimeOutMilliseconds = 5000;
constexpr double kSilenceGraceSeconds = 5.0;
constexpr double kTimekeepingPauseSeconds = 1.0;
constexpr double kRetryPauseSeconds = 0.1;

constexpr char kNotStarted[] =
    "the generator is not started: call Start before clients report values";

constexpr int kLargestCacheSize = 20;
constexpr double kLongestFlushInterval = 5.0;

CKZStatGenMeasurementDictionary* DictionaryOf(RWCollectable* value) {
    return static_cast<CKZStatGenMeasurementDictionary*>(value);
}

CKZStatGenSlice* SliceOf(RWCollectable* item) {
    return static_cast<CKZStatGenSlice*>(item);
}

/// 0 is nobody's.
std::uint64_t NextSliceNumber() {
    static std::atomic<std::uint64_t> slices{0};
    return slices.fetch_add(1, std::memory_order_relaxed) + 1;
}

/// A flag that is set while this lives, also if the thread is cancelled meanwhile.
class SetWhile {
public:
    explicit SetWhile(bool& flag) : m_flag(flag) { m_flag = true; }
    ~SetWhile() { m_flag = false; }
    SetWhile(const SetWhile&) = delete;
    SetWhile& operator=(const SetWhile&) = delete;

private:
    bool& m_flag;
};

bool IsReleased(int queueStatus) {
    return queueStatus == RyPEventQueue::Released ||
           queueStatus == RyPEventQueue::ReleasedWhileWaiting;
}

}  // namespace

// ---------------------------------------------------------------------------- CKZStatGenSlice

CKZStatGenSlice::CKZStatGenSlice(int id, double time, CKZStatGenMain* main, bool ownsDictionaries)
    : RWHashDictionary(kBuckets),
      m_id(id),
      m_open(true),
      m_isUnsent(true),
      m_time(time),
      m_lock(std::make_unique<Lock>()),
      m_countZ0(0),
      m_ownsDictionaries(ownsDictionaries),
      m_main(main),
      m_isCollected(false),
      m_number(NextSliceNumber()),
      m_fold{0, 0} {}

CKZStatGenSlice::~CKZStatGenSlice() {
    if (m_ownsDictionaries) DestroyDictionaries();
    ForEachShelf([](std::size_t, const Shelf& shelf) { delete &shelf; });
}

/// Unchecked by the analysis: part of the destructor.
void CKZStatGenSlice::DestroyDictionaries() RYP_NO_THREAD_SAFETY_ANALYSIS {
    const auto destroy = [](const std::vector<FiledDictionary>& dictionaries) {
        for (const FiledDictionary& filed : dictionaries) delete filed.dictionary;
    };
    ForEachShelf([&](std::size_t, const Shelf& shelf) {
        destroy(shelf.dictionaries);
        destroy(shelf.taken);
    });
    destroy(m_furtherDictionaries);
    clearAndDestroy();
}

int CKZStatGenSlice::StatsCacheSize() const {
    return m_main->m_statsCacheSize;
}

CKZStatGenLane& CKZStatGenSlice::LaneWithoutClient() const {
    return m_main->m_clientsLock->First();
}

/// Unchecked by the analysis: the lock is held as long as the slice is current; afterwards it is
/// the pack thread's, and nobody adds to it.
template <class Visitor>
void CKZStatGenSlice::ForEachDictionary(Visitor visit) const RYP_NO_THREAD_SAFETY_ANALYSIS {
    for (const Entry& entry : Entries())
        if (entry.value != nullptr) visit(IdOf(entry), *DictionaryOf(entry.value));
    for (const FiledDictionary& further : m_furtherDictionaries)
        visit(further.clientId, *further.dictionary);
}

void CKZStatGenSlice::AddDictionary(CKZStatGenMeasurementDictionary* dictionary, int clientId) {
    const Lock::LockGuard guard(*m_lock);
    Insert({clientId, dictionary});
    m_countZ0 += 1;
}

void CKZStatGenSlice::Insert(const FiledDictionary& filed) {
    auto key = std::make_unique<RWCollectableInt>(filed.clientId);
    if (insertKeyAndValue(key.get(), filed.dictionary) != nullptr) {
        key.release();
    } else if (filed.dictionary != nullptr) {
        m_furtherDictionaries.push_back(filed);
    }
}

/// The caller holds the lane. Throws std::bad_alloc where it is made.
CKZStatGenSlice::Shelf& CKZStatGenSlice::ShelfOf(const CKZStatGenLane& lane) {
    std::atomic<Shelf*>& place = m_shelves[m_main->m_clientsLock->PositionOf(lane)];
    Shelf* shelf = place.load(std::memory_order_relaxed);
    if (shelf == nullptr) {
        shelf = new Shelf;
        place.store(shelf, std::memory_order_release);
    }
    return *shelf;
}

/// `AddDictionary` for a client, whose lane the caller holds.
void CKZStatGenSlice::Shelve(CKZStatGenMeasurementDictionary& dictionary, int clientId,
                             CKZStatGenLane& lane) {
    Shelf& shelf = ShelfOf(lane);
    // A shelf that grows again and again would hold up a reporter.
    if (shelf.dictionaries.empty()) shelf.dictionaries.reserve(lane.filed);
    shelf.dictionaries.push_back({clientId, &dictionary});
    lane.filed = shelf.dictionaries.size();
    shelf.held.store(shelf.held.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

/// `DecCountZ0` for a client that leaves a dictionary of `lane`, which the caller holds.
void CKZStatGenSlice::NoteLeft(const CKZStatGenLane& lane) {
    Shelf& shelf = ShelfOf(lane);
    shelf.held.store(shelf.held.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
}

/// Null where no distributions are collected. The caller holds the lane. Throws std::bad_alloc.
CKZStatGenDistributionTable* CKZStatGenSlice::FindTable(CKZStatGenLane& lane) {
    // Asked for by each flush: the lane is at hand, the way over the shelves is long.
    if (lane.distributionsSlice == m_number) return lane.distributions;
    if (!Collects() || m_shelves.empty()) return nullptr;
    Shelf& shelf = ShelfOf(lane);
    if (shelf.distributions == nullptr)
        shelf.distributions =
            m_main->m_distributions->TakeTable(m_main->m_clientsLock->PositionOf(lane));
    lane.distributionsSlice = m_number;
    return lane.distributions = shelf.distributions.get();
}

bool CKZStatGenSlice::Collects() const {
    return m_main != nullptr && m_main->m_distributions != nullptr;
}

/// The same for what the pack thread flushes without a lane.
CKZStatGenDistributionTable* CKZStatGenSlice::FindPackThreadsTable() {
    if (!Collects()) return nullptr;
    if (m_packThreadsDistributions == nullptr)
        m_packThreadsDistributions = m_main->m_distributions->TakeOwnTable();
    return m_packThreadsDistributions.get();
}

/// After the fold of this slice, which has ended all flushes of its dictionaries: no lane is
/// needed. If memory runs out, the next call goes on where this one ended.
void CKZStatGenSlice::JoinDistributions(CKZStatGenDistributions& distributions) {
    distributions.BeginSlice(m_number);
    const bool isOfAnotherGenerator = Collects() && m_main->m_distributions.get() != &distributions;
    if (isOfAnotherGenerator) return;
    ForEachShelf([&](std::size_t lane, Shelf& shelf) {
        if (shelf.distributions == nullptr) return;
        distributions.Join(*shelf.distributions);
        distributions.GiveBack(std::move(shelf.distributions), lane);
    });
    if (m_packThreadsDistributions != nullptr) {
        distributions.Join(*m_packThreadsDistributions);
        distributions.GiveBackOwn(std::move(m_packThreadsDistributions));
    }
    distributions.EndSlice();
}

/// Puts what is on the shelves into the map. A slice that is not current any more is complete then:
/// a client that had it at hand as the current one has filed when its lane is passed, and all
/// others find another. If memory runs out, the exception passes through, and the next call goes on
/// where this one ended.
void CKZStatGenSlice::Collect() {
    if (m_shelves.empty() || m_isCollected.load(std::memory_order_acquire)) return;
    const bool isOver = m_main->m_currentSlice.load(std::memory_order_acquire) != this;
    m_main->m_clientsLock->PassThrough([this](std::size_t lane) { TakeOffShelf(lane); });
    {
        const Lock::LockGuard guard(*m_lock);
        std::size_t taken = 0;
        ForEachShelf([&](std::size_t, const Shelf& shelf) { taken += shelf.taken.size(); });
        Reserve(entries() + taken);
        ForEachShelf([this](std::size_t, Shelf& shelf)
                         RYP_NO_THREAD_SAFETY_ANALYSIS { InsertAll(shelf.taken); });
    }
    if (isOver) m_isCollected.store(true, std::memory_order_release);
}

/// Empties `taken`, from its begin on: clients that come in the same order in all slices are folded
/// faster.
void CKZStatGenSlice::InsertAll(std::vector<FiledDictionary>& taken) {
    std::size_t inserted = 0;
    try {
        for (; inserted < taken.size(); ++inserted) Insert(taken[inserted]);
    } catch (...) {
        taken.erase(taken.begin(), taken.begin() + static_cast<std::ptrdiff_t>(inserted));
        throw;
    }
    taken = {};
}

/// Not into the map at once: reporters would wait for the lane meanwhile, which the caller holds.
void CKZStatGenSlice::TakeOffShelf(std::size_t lane) {
    if (m_shelves.empty()) return;
    Shelf* const shelf = m_shelves[lane].load(std::memory_order_relaxed);
    if (shelf == nullptr || shelf->dictionaries.empty()) return;
    const Lock::LockGuard guard(*m_lock);
    std::vector<FiledDictionary>& filed = shelf->dictionaries;
    if (shelf->taken.empty()) {
        shelf->taken.swap(filed);
    } else {
        shelf->taken.insert(shelf->taken.end(), filed.begin(), filed.end());
        filed.clear();
    }
}

int CKZStatGenSlice::CountHeld() const {
    int held = m_countZ0;
    ForEachShelf([&](std::size_t, const Shelf& shelf) {
        held += shelf.held.load(std::memory_order_relaxed);
    });
    return held;
}

int CKZStatGenSlice::GetCountZ0() {
    const Lock::LockGuard guard(*m_lock);
    return std::max(CountHeld(), 0);
}

void CKZStatGenSlice::DecCountZ0() {
    const Lock::LockGuard guard(*m_lock);
    const int held = CountHeld();
    if (held < 0) KZ_LOG_ERROR();
    if (held > 0) m_countZ0 -= 1;
}

/// Lane by lane. One that a client has left is nobody's for good, so no lane is needed to see it.
std::vector<CKZStatGenMeasurementDictionary*> CKZStatGenSlice::SnapshotOfHeldDictionaries() {
    Collect();
    std::vector<CKZStatGenMeasurementDictionary*> held;
    {
        const Lock::LockGuard guard(*m_lock);
        ForEachDictionary([&](int, CKZStatGenMeasurementDictionary& dictionary) {
            if (dictionary.Owner() != nullptr) held.push_back(&dictionary);
        });
    }
    std::stable_sort(held.begin(), held.end(), [](const auto* a, const auto* b) {
        return std::less<>()(a->m_lane, b->m_lane);
    });
    return held;
}

/// Visits the dictionaries from `next` on that are in the same lane, which the caller holds, but
/// not so many that others wait long for it. Returns the position behind them. What a client has
/// left since the snapshot is passed over.
template <class Visitor>
std::size_t CKZStatGenSlice::VisitSomeOfLane(
    const std::vector<CKZStatGenMeasurementDictionary*>& held, std::size_t next, Visitor visit) {
    constexpr std::size_t kMostInOneHold = 32;
    const CKZStatGenLane* const lane = held[next]->m_lane;
    const std::size_t end = std::min(held.size(), next + kMostInOneHold);
    for (; next < end && held[next]->m_lane == lane; ++next)
        if (CKZStatGenClient* const client = held[next]->Owner()) visit(*held[next], *client);
    return next;
}

/// Calls `visit` with each dictionary that a client holds, and the client, in their lane. A lane
/// that is taken comes up again after the others: who holds it may not be running. Unchecked by the
/// analysis, which cannot follow a lane through a list.
template <class Visitor>
void CKZStatGenSlice::ForEachHeldDictionary(Visitor visit) RYP_NO_THREAD_SAFETY_ANALYSIS {
    std::vector<CKZStatGenMeasurementDictionary*> held = SnapshotOfHeldDictionaries();
    bool waits = false;
    while (!held.empty()) {
        std::size_t kept = 0;
        std::size_t visited = 0;
        for (std::size_t next = 0; next < held.size();) {
            CKZStatGenLane& lane = *held[next]->m_lane;
            if (waits) {
                lane.acquire();
            } else if (!lane.tryAcquire()) {
                while (next < held.size() && held[next]->m_lane == &lane)
                    held[kept++] = held[next++];
                continue;
            }
            waits = false;
            const RyPWordLock::LockGuard guard(lane, std::adopt_lock);
            next = VisitSomeOfLane(held, next, visit);
            ++visited;
        }
        held.resize(kept);
        waits = visited == 0;
    }
}

void CKZStatGenSlice::ReleaseDicts() {
    ForEachHeldDictionary([](const CKZStatGenMeasurementDictionary& dictionary,
                             CKZStatGenClient& client) RYP_NO_THREAD_SAFETY_ANALYSIS {
        if (client.Holds(dictionary)) client.MoveToNewDictionary();
    });
}

void CKZStatGenSlice::DetachClients() {
    ForEachHeldDictionary(
        [](CKZStatGenMeasurementDictionary& dictionary, CKZStatGenClient& client) {
            if (client.Holds(dictionary)) client.ReleaseDictionary();
            dictionary.ForgetOwner();
        });
}

/// The position of the dictionary under `clientId`, or `kNone`; a null one is none. Clients mostly
/// come in the same order in all slices, so it is looked up only where it is not the `expected`
/// one.
CKZStatGenSlice::Index CKZStatGenSlice::Find(int clientId, Index expected) const {
    const bool isExpected = expected < entries() && IdOf(Entries()[expected]) == clientId;
    const Index found = isExpected ? expected
                                   : FindEntry(RWCollectableInt(clientId).hash(),
                                               [](const RWCollectable*) { return true; });
    return found == kNone || Entries()[found].value == nullptr ? kNone : found;
}

/// What is to be added into this slice, in the order of `finished`. Dictionaries are made for the
/// clients that have none here.
std::vector<CKZStatGenSlice::FoldStep> CKZStatGenSlice::PlanFold(const CKZStatGenSlice& finished) {
    std::vector<FoldStep> steps;
    steps.reserve(finished.entries());
    finished.ForEachDictionary([&](int clientId, CKZStatGenMeasurementDictionary& dictionary) {
        steps.push_back({&dictionary, clientId, kNone, kNone});
    });
    if (FindTargets(steps)) return steps;
    for (const FoldStep& step : steps)
        if (step.target == kNone) CreateTarget(step);
    FindTargets(steps);
    return steps;
}

/// Returns whether every step has one.
bool CKZStatGenSlice::FindTargets(std::vector<FoldStep>& steps) const {
    bool all = true;
    Index expected = 0;
    for (FoldStep& step : steps) {
        step.target = Find(step.clientId, expected);
        expected = step.target + 1;
        all = all && step.target != kNone;
    }
    return all;
}

void CKZStatGenSlice::CreateTarget(const FoldStep& step) {
    const RWCollectableInt wanted(step.clientId);
    RWCollectable* known = nullptr;
    const bool isFiled = findKeyAndValue(&wanted, known) != nullptr;
    if (known != nullptr) return;
    if (isFiled) removeAndDestroy(&wanted);  // the key of a null dictionary, which is in the way
    auto key = std::make_unique<RWCollectableInt>(step.clientId);
    auto dictionary = std::make_unique<CKZStatGenMeasurementDictionary>();
    insertKeyAndValue(key.get(), dictionary.get());
    key.release();
    dictionary.release();
}

/// Puts the steps into chains, one for each target, in the same order. Returns their heads.
std::vector<CKZStatGenSlice::Index> CKZStatGenSlice::ChainByTarget(
    std::vector<FoldStep>& steps) const {
    std::vector<Index> heads(entries(), kNone);
    for (std::size_t i = steps.size(); i-- > 0;)
        steps[i].next = std::exchange(heads[steps[i].target], static_cast<Index>(i));
    return heads;
}

void CKZStatGenSlice::AddDictionarysSlice(CKZStatGenSlice* finished) {
    finished->Collect();
    Fold(*finished, nullptr);
}

std::unique_ptr<CKZStatGenMeasurementDictionary> CKZStatGenSlice::AddAndMerge(
    CKZStatGenSlice& finished) {
    auto merged = std::make_unique<CKZStatGenMeasurementDictionary>();
    return Fold(finished, merged.get()) ? std::move(merged) : nullptr;
}

/// What all steps of a fold use.
struct CKZStatGenSlice::FoldTools {
    CKZStatGenDistributionTable* distributions;
    CKZStatGenMeasurementDictionary::Store::Additions additions;
};

/// Adds the dictionaries of `finished`, client by client in the order of this slice, and each
/// client's at once into `merged`, if given, while it is at hand. Returns false where there was
/// nothing to add; nothing is merged then. Each dictionary of this slice has a client id of its own
/// if there is a `merged`.
bool CKZStatGenSlice::Fold(CKZStatGenSlice& finished, CKZStatGenMeasurementDictionary* merged) {
    if (m_fold.number != finished.m_number) m_fold = {finished.m_number, 0};
    std::vector<FoldStep> steps = PlanFold(finished);
    FoldTools tools{finished.FindPackThreadsTable(), {}};
    const std::vector<Index> heads = ChainByTarget(steps);
    const bool hasValues = std::any_of(
        steps.begin(), steps.end(), [](const FoldStep& step) { return step.source->HasValues(); });
    int position = 0;
    for (Index target = 0; target < heads.size(); ++target) {
        PrefetchForFold(steps, heads, target);
        for (Index next = heads[target]; next != kNone; next = steps[next].next)
            if (position++ >= m_fold.dictionaries) AddStep(steps[next], tools);
        if (merged == nullptr || !hasValues) continue;
        CKZStatGenMeasurementDictionary::Store::Merge(*merged,
                                                      *DictionaryOf(Entries()[target].value));
    }
    m_fold = {0, 0};
    m_id = finished.m_id;
    m_time = finished.m_time;
    return hasValues;
}

void CKZStatGenSlice::AddStep(const FoldStep& step, FoldTools& tools) {
    // Under its lock alone. Nobody reports into it any more, and a reporter that holds the lane and
    // is not running would hold up the packing.
    step.source->FlushWhileNobodyReports(tools.distributions);
    CKZStatGenMeasurementDictionary& target = *DictionaryOf(Entries()[step.target].value);
    if (target.isEmpty()) target.MakeRoomForNames(step.source->GetSize());
    CKZStatGenMeasurementDictionary::Store::AddCollected(target, *step.source, tools.additions);
    ++m_fold.dictionaries;
}

/// What is read of a dictionary hangs together by pointers, so each is asked for a while after the
/// one before.
void CKZStatGenSlice::PrefetchForFold(const std::vector<FoldStep>& steps,
                                      const std::vector<Index>& heads, std::size_t target) const {
    const auto forBoth = [&](std::size_t ahead, auto prefetch) {
        if (ahead >= heads.size()) return;
        if (Entries()[ahead].value != nullptr) prefetch(*DictionaryOf(Entries()[ahead].value));
        if (heads[ahead] != kNone) prefetch(*steps[heads[ahead]].source);
    };
    using Dictionary = CKZStatGenMeasurementDictionary;
    forBoth(target + 4, &Dictionary::Store::PrefetchObject);
    forBoth(target + 2, &Dictionary::Store::PrefetchEntries);
    forBoth(target + 1, &Dictionary::Store::PrefetchFirstPairs);
}

void CKZStatGenSlice::ResetLasts() {
    Collect();
    ForEachDictionary(
        [](int, CKZStatGenMeasurementDictionary& dictionary) { dictionary.ResetLasts(); });
}

std::unique_ptr<CKZStatGenMeasurementDictionary> CKZStatGenSlice::MergeDictionaries() const {
    auto merged = std::make_unique<CKZStatGenMeasurementDictionary>();
    ForEachDictionary([&](int, CKZStatGenMeasurementDictionary& dictionary) {
        CKZStatGenMeasurementDictionary::Store::Merge(*merged, dictionary);
    });
    return merged;
}

/// Whether a dictionary may have other values than at the last `NoteMerged`.
bool CKZStatGenSlice::HasChanged() const {
    bool changed = false;
    ForEachDictionary([&](int, const CKZStatGenMeasurementDictionary& dictionary) {
        changed = changed || dictionary.HasChanged();
    });
    return changed;
}

void CKZStatGenSlice::NoteMerged() {
    ForEachDictionary(
        [](int, CKZStatGenMeasurementDictionary& dictionary) { dictionary.NoteMerged(); });
}

/// How many values were reported into it, without what is on the shelves. The caller keeps it from
/// being freed.
double CKZStatGenSlice::CountValues() const {
    const Lock::LockGuard guard(*m_lock);
    double values = 0;
    ForEachDictionary([&](int, const CKZStatGenMeasurementDictionary& dictionary) {
        values += dictionary.CountValues();
    });
    ForEachShelf([&](std::size_t, const Shelf& shelf) {
        for (const FiledDictionary& filed : shelf.taken) values += filed.dictionary->CountValues();
    });
    return values;
}

CKZStatGenMeasurementDictionary* CKZStatGenSlice::DumpSlice(RWCString& text) {
    Collect();
    auto merged = MergeDictionaries();
    merged->DumpDict(text);
    RWCString header;
    CKZStatMessageWriter(header).WriteSlice(m_main->Elapsed(m_time), m_id);
    text.prepend(header);
    return merged.release();
}

// ----------------------------------------------------------------------------- CKZStatGenMain

CKZStatGenMain::CKZStatGenMain(const char* name)
    : m_name(name),
      m_startTime(0),
      m_sliceLength(0),
      m_sliceCounter(0),
      m_sliceEndOffset(0),
      m_terminated(false),
      m_stopping(false),
      m_frozen(false),
      m_isLastSlice(false),
      m_timelineLock(std::make_unique<Lock>()),
      m_currentSlice(nullptr),
      m_currentEndTime(std::numeric_limits<double>::infinity()),
      m_recordsAreCurrent(false),
      m_lastsMayBeSet(false),
      m_sliceToSend(nullptr),
      m_packStage(PackStage::Taken),
      m_elapsedOfText(0),
      m_sliceToFree(nullptr),
      m_clientsLock(std::make_unique<CKZStatGenLanes>()),
      m_statsCacheSize(kLargestCacheSize),
      m_statsCacheFlushInterval(kLongestFlushInterval) {
    // Signalled at once: nobody waits for a loop that is never run.
    m_packDone.signal();
    m_garbageDone.signal();
    ReadSettings();
}

void CKZStatGenMain::ReadSettings() {
    const RyEnvContainerClass environment;
    RWCString value;
    if (environment.RyEGetEnv("LGStatsCacheSize", value)) {
        const long size = std::strtol(value.data(), nullptr, 10);
        m_statsCacheSize = static_cast<int>(
            std::clamp<long>(size, std::numeric_limits<int>::min(), kLargestCacheSize));
    }
    KZ_TRACE("Stats cache size = %d", m_statsCacheSize);

    if (environment.RyEGetEnv("LGStatsCacheFlushInterval", value)) {
        const double interval = RyPStringToDouble(value.data());
        // Written so that a NaN is kept, as is everything that is not above the bound.
        m_statsCacheFlushInterval =
            interval > kLongestFlushInterval ? kLongestFlushInterval : interval;
    }
    KZ_TRACE("Stats cache flush interval = %f", m_statsCacheFlushInterval);
}

CKZStatGenMain::~CKZStatGenMain() {
    // Every slice that is current or was not freed yet stands in the timeline.
    m_timeline.clearAndDestroy();
}

int CKZStatGenMain::SendDictionaryString(RWCString&, double, const char*) {
    return 1;
}

void CKZStatGenMain::SendSliceValues(const CKZStatSliceValues&) {}

double CKZStatGenMain::CurrentEndTime() const {
    const double end = m_currentEndTime.load();
    if (std::isinf(end)) KZ_LOG_ERROR(kNotStarted);
    return end;
}

double CKZStatGenMain::Elapsed(double time) const {
    return time - m_startTime.load();
}

bool CKZStatGenMain::IsUsableTimeline(double startTime, double sliceLength) const {
    if (!std::isfinite(startTime)) {
        KZ_LOG_ERROR("Start - the start time ", startTime, " is not a finite number of seconds");
        return false;
    }
    // Measured at twice the distance from 0, so that no later end gets stuck either.
    const double far = 2 * (std::fabs(startTime) + sliceLength);
    if (!(sliceLength > 0) || !std::isfinite(far) || !(far + sliceLength > far)) {
        KZ_LOG_ERROR("Start - the slice length ", sliceLength,
                     " is not a positive number of seconds that moves the end time");
        return false;
    }
    return true;
}

void CKZStatGenMain::Start(double startTime, double sliceLength) {
    if (!IsUsableTimeline(startTime, sliceLength)) return;
    const Lock::LockGuard guard(*m_timelineLock);
    if (m_currentSlice != nullptr) {
        KZ_LOG_ERROR("Start - the generator was started before");
        return;
    }
    m_totalSlice = std::make_unique<CKZStatGenSlice>(0, 0.0, this, true);
    auto shelves = MakeShelves();
    auto first = std::make_unique<CKZStatGenSlice>(1, startTime + sliceLength, this, true);
    AddSlice(first.get(), 1);
    m_sliceCounter = 1;
    m_startTime = startTime;
    m_sliceLength = sliceLength;
    m_sliceEndOffset = sliceLength;
    MakeCurrent(first.release(), std::move(shelves));
}

void CKZStatGenMain::CollectDistributions(CKZStatDistributionChoice choice) {
    if (m_totalSlice != nullptr) {
        KZ_LOG_ERROR("CollectDistributions - the generator was started before");
        return;
    }
    m_distributions = choice.collects == nullptr ? nullptr
                                                 : std::make_unique<CKZStatGenDistributions>(
                                                       std::move(choice), m_clientsLock->Count());
}

CKZStatGenSlice::Shelves CKZStatGenMain::MakeShelves() const {
    return CKZStatGenSlice::Shelves(m_clientsLock->Count());
}

/// From here on clients file in `slice`, or nowhere where it is null.
void CKZStatGenMain::MakeCurrent(CKZStatGenSlice* slice, CKZStatGenSlice::Shelves shelves) {
    if (slice != nullptr) slice->m_shelves = std::move(shelves);
    // In this order: who finds the new end finds the new slice. Who finds no end asks under the
    // lock.
    m_currentSlice = slice;
    m_currentEndTime = slice != nullptr ? slice->m_time : std::numeric_limits<double>::infinity();
}

CKZStatGenMeasurementDictionary* CKZStatGenMain::GetNewDictionary(
    int clientId, CKZStatGenMeasurementDictionary* previous) {
    CKZStatGenMeasurementDictionary::Size expected;
    if (previous != nullptr) {
        expected = previous->GetSize();
        if (previous->m_slice != nullptr) previous->m_slice->DecCountZ0();
    }
    if (!HasCurrentSlice()) return nullptr;
    auto dictionary = MakeDictionary(nullptr, m_clientsLock->First(), expected);
    // Held until it is filed, so that the slice is not sent before.
    const Lock::LockGuard guard(*m_timelineLock);
    AdvanceTimeline();
    CKZStatGenSlice* const current = m_currentSlice.load(std::memory_order_relaxed);
    if (current == nullptr) return nullptr;
    dictionary->m_slice = current;
    current->AddDictionary(dictionary.get(), clientId);
    return dictionary.release();
}

std::unique_ptr<CKZStatGenMeasurementDictionary> CKZStatGenMain::MakeDictionary(
    CKZStatGenClient* client, CKZStatGenLane& lane,
    const CKZStatGenMeasurementDictionary::Size& expected) const {
    return std::unique_ptr<CKZStatGenMeasurementDictionary>(
        new CKZStatGenMeasurementDictionary(client, lane, m_statsCacheSize, expected));
}

/// For `client`, in its lane, which the caller holds.
CKZStatGenMeasurementDictionary* CKZStatGenMain::NewDictionary(
    int clientId, CKZStatGenClient& client, CKZStatGenLane& lane,
    const CKZStatGenMeasurementDictionary::Size& expected) {
    if (!HasCurrentSlice()) return nullptr;
    auto dictionary = MakeDictionary(&client, lane, expected);
    // A cheap first test; the one that counts is made under the lock.
    if (RyPSysTime() >= m_currentEndTime.load()) {
        const Lock::LockGuard guard(*m_timelineLock);
        AdvanceTimeline();
    }
    // The slice may end from here on. Whoever takes it up passes through this lane first, and finds
    // the dictionary on its shelf.
    CKZStatGenSlice* const current = m_currentSlice.load(std::memory_order_acquire);
    if (current == nullptr) return nullptr;
    dictionary->m_slice = current;
    current->Shelve(*dictionary, clientId, lane);
    return dictionary.release();
}

/// Before `Start` false, and an error is logged; at the end of the timeline false.
bool CKZStatGenMain::HasCurrentSlice() {
    if (!std::isinf(m_currentEndTime.load())) return true;
    const Lock::LockGuard guard(*m_timelineLock);
    if (m_currentSlice == nullptr && !m_isLastSlice) KZ_LOG_ERROR(kNotStarted);
    return m_currentSlice != nullptr;
}

/// Clients see the newest slice only, and no missed one between.
void CKZStatGenMain::AdvanceTimeline() {
    const double now = RyPSysTime();
    if (now < m_currentEndTime.load()) return;
    CKZStatGenSlice::Shelves shelves = MakeShelves();
    CKZStatGenSlice* newest = m_currentSlice;
    try {
        while (newest != nullptr && now >= newest->m_time)
            newest = m_isLastSlice ? EndTimeline(newest) : BeginSliceAfter(newest);
    } catch (...) {
        if (newest != m_currentSlice) MakeCurrent(newest, std::move(shelves));
        throw;
    }
    MakeCurrent(newest, std::move(shelves));
}

/// Returns null, which is what follows.
CKZStatGenSlice* CKZStatGenMain::EndTimeline(CKZStatGenSlice* ended) {
    m_packQueue.put(ended);
    return nullptr;
}

/// Lets no slice follow the current one, ends that where its time is up, and returns its id; 0
/// where the generator was never started. A further call returns the same.
int CKZStatGenMain::EndWithCurrentSlice() {
    const Lock::LockGuard guard(*m_timelineLock);
    AdvanceTimeline();
    m_isLastSlice = true;
    return m_sliceCounter;
}

/// Refuses all values from now on. Slices that were not delivered yet keep theirs.
void CKZStatGenMain::EndAtOnce() {
    {
        const Lock::LockGuard guard(*m_timelineLock);
        m_isLastSlice = true;
        // First: who is refused by the slice is not to find it current again.
        MakeCurrent(nullptr, {});
        RWHashDictionaryIterator next(m_timeline);
        while (next() != nullptr) SliceOf(next.value())->m_open = false;
    }
    m_clientsLock->PassThrough();
}

/// Returns it.
CKZStatGenSlice* CKZStatGenMain::BeginSliceAfter(CKZStatGenSlice* ended) {
    const double end = ended->m_time + m_sliceLength;
    const int id = m_sliceCounter + 1;
    auto next = std::make_unique<CKZStatGenSlice>(id, end, this, true);
    AddSlice(next.get(), id);
    try {
        m_packQueue.put(ended);
    } catch (...) {
        TakeOutOfTimeline(id);
        throw;
    }
    m_sliceCounter = id;
    m_sliceEndOffset += m_sliceLength;
    KZ_TRACE(
        "CKZStatGenMain::GetNewDictionary, AddSlice (Slice id: %u, Time: %f, SliceTime: %f)\\n", id,
        Elapsed(RyPSysTime()), Elapsed(end));
    return next.release();
}

void CKZStatGenMain::AddSlice(CKZStatGenSlice* slice, int id) {
    auto key = std::make_unique<RWCollectableInt>(id);
    if (m_timeline.insertKeyAndValue(key.get(), slice) != nullptr) key.release();
}

/// The key, to be deleted with what stood under it; null where nothing did.
std::unique_ptr<RWCollectable> CKZStatGenMain::TakeOutOfTimeline(int id) {
    const RWCollectableInt key(id);
    return std::unique_ptr<RWCollectable>(m_timeline.remove(&key));
}

/// Null where nothing stands under `id`.
CKZStatGenSlice* CKZStatGenMain::FindInTimeline(int id) {
    const RWCollectableInt key(id);
    const Lock::LockGuard guard(*m_timelineLock);
    return SliceOf(m_timeline.findValue(&key));
}

void CKZStatGenMain::RemoveSlice(CKZStatGenSlice* slice) {
    const int id = slice->m_id;
    // First, since it may run out of memory: the slice is then as it was.
    CKZStatGenSlice* const found = FindInTimeline(id);
    if (found != nullptr) found->DetachClients();
    const std::unique_ptr<CKZStatGenSlice> removed(found);
    std::unique_ptr<RWCollectable> key;
    {
        const Lock::LockGuard guard(*m_timelineLock);
        key = TakeOutOfTimeline(id);
    }
    // A client that has just left the slice may still be reading its dictionary there.
    m_clientsLock->PassThrough();
}

CKZStatGenSlice* CKZStatGenMain::WaitForSlice() {
    while (!m_terminated.load()) {
        if (m_sliceToSend != nullptr) return TakeToSend(m_sliceToSend);  // after an exception
        int status = RyPEventQueue::TimedOut;
        RWCollectable* const item = m_packQueue.waitEvent(kQueueTimeOutMilliseconds, status);
        if (status == RyPEventQueue::ItemArrived) return TakeToSend(SliceOf(item));
        if (IsReleased(status)) return nullptr;
    }
    return nullptr;
}

/// Null where `Terminate` came first. It counts under the same lock, so that each slice is either
/// sent or counted.
CKZStatGenSlice* CKZStatGenMain::TakeToSend(CKZStatGenSlice* slice) {
    {
        // Also because the slice was queued under it, before the next one became current.
        const Lock::LockGuard guard(*m_timelineLock);
        if (m_terminated.load()) return nullptr;
        slice->m_isUnsent.store(false, std::memory_order_relaxed);
    }
    try {
        slice->Collect();  // hosts may look at it before they send it
    } catch (const std::bad_alloc&) {
        // What sends, adds or dumps it collects the rest. An exception from here would lose it.
    }
    return slice;
}

/// A client tests the open flag and caches its value in one hold of its lane. So once all lanes
/// were passed through, who found the flag set has cached its value, and all others find it
/// cleared.
void CKZStatGenMain::CloseSlice(CKZStatGenSlice* slice) {
    slice->m_open.store(false, std::memory_order_relaxed);
    m_clientsLock->PassThrough();
    slice->Collect();
}

void CKZStatGenMain::TakeInHand(CKZStatGenSlice* slice) {
    if (m_sliceToSend == slice) return;
    m_sliceToSend = slice;
    m_packStage = PackStage::Taken;
}

/// Notes that a slice is on its way, and again that it is not where an exception stops it before
/// its text was sent. Owned by the pack thread.
class CKZStatGenMain::Sending {
public:
    Sending(const CKZStatGenMain& main, CKZStatGenSlice& slice)
        : m_main(main), m_slice(slice), m_exceptions(std::uncaught_exceptions()) {
        m_slice.m_isUnsent.store(false, std::memory_order_relaxed);
    }
    ~Sending() {
        // Without an exception the garbage loop may have freed the slice.
        if (std::uncaught_exceptions() > m_exceptions && m_main.m_packStage < PackStage::TextSent)
            m_slice.m_isUnsent.store(true, std::memory_order_relaxed);
    }
    Sending(const Sending&) = delete;
    Sending& operator=(const Sending&) = delete;

private:
    const CKZStatGenMain& m_main;
    CKZStatGenSlice& m_slice;
    const int m_exceptions;
};

int CKZStatGenMain::SendSlice(CKZStatGenSlice* slice) {
    const Sending sending(*this, *slice);
    TakeInHand(slice);
    std::unique_ptr<CKZStatGenMeasurementDictionary> merged;
    if (m_packStage < PackStage::Folded) {
        CloseSlice(slice);
        merged = m_totalSlice->AddAndMerge(*slice);
        m_packStage = PackStage::Folded;
    }
    if (m_packStage < PackStage::Merged && m_distributions != nullptr)
        slice->JoinDistributions(*m_distributions);
    // The former merged dictionary lives until the hooks have seen the new one.
    std::unique_ptr<CKZStatGenMeasurementDictionary> formerMerged;
    if (m_packStage < PackStage::DictionariesSent) {
        // Merged anew where a hook threw: it may have changed the merge, and is called again.
        if (merged == nullptr && (m_packStage == PackStage::Merged || !IsMergeCurrent()))
            merged = m_totalSlice->MergeDictionaries();
        if (merged != nullptr) formerMerged = ReplaceMerged(std::move(merged));
        m_packStage = PackStage::Merged;
        CallDictionaryHooks(slice->m_time);
        m_elapsedOfText = Elapsed(slice->m_time);
        m_packStage = PackStage::DictionariesSent;
    }
    int status = 1;
    if (m_packStage < PackStage::TextSent) {
        status = SendText(*slice);
        m_packStage = PackStage::TextSent;
    }
    m_garbageQueue.put(slice);
    m_sliceToSend = nullptr;
    return status;
}

/// Slices without values change nothing once the lasts are empty: they pass on what was merged and
/// rendered before, so that hours of silence are caught up with in no time.
bool CKZStatGenMain::IsMergeCurrent() const {
    return m_totalDictionary != nullptr && !m_totalDictionary->HasChanged() &&
           !m_totalSlice->HasChanged();
}

/// Replaces the merged dictionary and returns the former one.
std::unique_ptr<CKZStatGenMeasurementDictionary> CKZStatGenMain::ReplaceMerged(
    std::unique_ptr<CKZStatGenMeasurementDictionary> merged) {
    auto former = std::exchange(m_totalDictionary, std::move(merged));
    m_totalDictionary->NoteMerged();
    m_totalSlice->NoteMerged();
    m_recordsAreCurrent = false;
    m_lastsMayBeSet = true;
    return former;
}

int CKZStatGenMain::SendText(const CKZStatGenSlice& slice) {
    if (!m_recordsAreCurrent || m_totalDictionary->HasChanged()) RenderRecords();
    RWCString text;
    BuildMessage(text, slice);
    if (m_packStage < PackStage::ValuesSent) {
        SendSliceValues({{m_name, m_sliceLength, slice.m_id, m_elapsedOfText, slice.m_time},
                         text,
                         *m_totalDictionary,
                         m_distributions.get()});
        m_packStage = PackStage::ValuesSent;
    }
    if (m_lastsMayBeSet || m_totalSlice->HasChanged()) ResetLasts();
    return SendDictionaryString(text, m_elapsedOfText, m_name.data());
}

void CKZStatGenMain::CallDictionaryHooks(double sliceEndTime) {
    m_totalSlice->ForEachDictionary([&](int clientId, CKZStatGenMeasurementDictionary& dictionary) {
        SendClientDictionary(&dictionary, clientId, sliceEndTime);
    });
    SendTotalDictionary(m_totalDictionary.get(), m_sliceLength, Elapsed(sliceEndTime));
}

void CKZStatGenMain::RenderRecords() {
    m_recordsAreCurrent = false;
    m_totalDictionary->DumpDict(m_records);
    if (m_distributions != nullptr)
        m_distributions->Compare(
            [this](auto compare) { m_totalDictionary->ForEachMeasurement(compare); });
    m_recordsAreCurrent = true;
}

void CKZStatGenMain::ResetLasts() {
    m_totalSlice->ResetLasts();
    m_lastsMayBeSet = false;
}

void CKZStatGenMain::BuildMessage(RWCString& text, const CKZStatGenSlice& slice) const {
    CKZStatMessageWriter(text).WriteHeader(m_name, m_sliceLength, m_elapsedOfText, slice.m_id);
    text.capacity(text.length() + m_records.length());
    text += m_records;
}

void CKZStatGenMain::doPackWork() {
    const RyPManualEvent::SetGuard running(m_packDone);
    while (CKZStatGenSlice* const slice = WaitForSlice()) SendSlice(slice);
}

void CKZStatGenMain::doGarbageWork() {
    const RyPManualEvent::SetGuard running(m_garbageDone);
    CKZStatGenClient dummyClient(this, kDummyClientId);
    if (m_sliceToFree != nullptr) FreeSliceInHand();  // an exception interrupted it
    while (!m_terminated.load() || !m_garbageQueue.isEmpty()) {
        int status = RyPEventQueue::TimedOut;
        RWCollectable* const item = m_garbageQueue.waitEvent(kQueueTimeOutMilliseconds, status);
        if (status == RyPEventQueue::ItemArrived) {
            m_sliceToFree = SliceOf(item);
            FreeSliceInHand();
        } else if (IsReleased(status)) {
            return;
        } else {
            KeepTime(dummyClient);
        }
    }
}

void CKZStatGenMain::FreeSliceInHand() {
    CKZStatGenSlice* const slice = m_sliceToFree;
    if (slice->GetCountZ0() > 0) slice->ReleaseDicts();
    KZ_TRACE("CKZStatGenMain::doGarbageWork, RemoveSlice (Slice Id: %u, Time: %f)\\n", slice->m_id,
             slice->m_time);
    RemoveSlice(slice);
    m_sliceToFree = nullptr;
}

/// Begins the slices that are due in a time without client traffic. The grace leaves that to real
/// clients as long as there are any.
void CKZStatGenMain::KeepTime(CKZStatGenClient& dummyClient) {
    const double now = RyPSysTime();
    const double end = m_currentEndTime.load();
    if (now > end + kSilenceGraceSeconds && !m_stopping.load()) {
        KZ_TRACE(
            "CKZStatGenMain::doGarbageWork, call dummyClient.GetNewDictionary (Time: %f, "
            "SliceTime:%f)\\n",
            Elapsed(now), Elapsed(end));
        dummyClient.GetNewDictionary();
    } else {
        RyPSleep(kTimekeepingPauseSeconds);
    }
}

void CKZStatGenMain::Freeze() {
    m_frozen = true;
}

void CKZStatGenMain::DeFrost(double pausedSeconds) {
    m_frozen = false;
    m_startTime = m_startTime + pausedSeconds;
}

void CKZStatGenMain::Terminate() {
    if (m_terminated.load()) return;
    m_stopping = true;
    m_packQueue.releaseZ72();
    const bool wasTerminated = m_terminated.exchange(true);
    m_garbageQueue.releaseZ72();
    if (!wasTerminated && RyPLog::IsEnabled(RyPLogLevel::Warning)) LogUnsent();
}

template <class Visitor>
void CKZStatGenMain::ForEachInTimeline(Visitor visit) const {
    RWHashDictionaryIterator next(m_timeline);
    while (next() != nullptr)
        if (CKZStatGenSlice* const slice = SliceOf(next.value())) visit(*slice);
}

/// So that they can be counted under the timeline lock. If memory runs out, some stay there.
void CKZStatGenMain::TakeOffAllShelves() {
    const auto takeOff = [this](std::size_t lane) {
        const Lock::LockGuard guard(*m_timelineLock);
        ForEachInTimeline([lane](CKZStatGenSlice& slice) { slice.TakeOffShelf(lane); });
    };
    try {
        m_clientsLock->PassThrough(takeOff);
    } catch (const std::bad_alloc&) {
    }
}

void CKZStatGenMain::LogUnsent() {
    TakeOffAllShelves();
    int slices = 0;
    double values = 0;
    {
        const Lock::LockGuard guard(*m_timelineLock);
        ForEachInTimeline([&](const CKZStatGenSlice& slice) {
            if (!slice.m_isUnsent.load(std::memory_order_relaxed)) return;
            ++slices;
            values += slice.CountValues();
        });
    }
    if (values > 0)
        KZ_LOG_WARNING("Terminate - slices left unsent: ", slices,
                       ", values in them: ", RyPTruncate<long long>(values));
}

void CKZStatGenMain::WaitForTerminateToEnd() {
    if (!m_terminated.load()) return;
    m_packDone.wait();
    m_garbageDone.wait();
}

// --------------------------------------------------------------------------- CKZStatGenClient

CKZStatGenClient::CKZStatGenClient(CKZStatGenMain* main, int clientId)
    : m_main(main),
      m_lane(main->m_clientsLock->OfThisThread()),
      m_dictionary(nullptr),
      m_isPausing(false),
      m_clientId(clientId) {}

// The analysis cannot tell that a client and its dictionary are in one lane; what says so below is
// unchecked.

CKZStatGenClient::~CKZStatGenClient() RYP_NO_THREAD_SAFETY_ANALYSIS {
    // The garbage loop may be on its way to this client through the dictionary.
    const CKZStatGenLaneOfClient::Hold lane(m_lane);
    if (m_dictionary != nullptr) m_dictionary->ForgetOwner();
}

CKZStatGenMeasurementDictionary* CKZStatGenClient::GetNewDictionary() {
    const CKZStatGenLaneOfClient::Hold lane(m_lane);
    return MoveToNewDictionary();
}

CKZStatGenMeasurementDictionary* CKZStatGenClient::MoveToNewDictionary() {
    Take(Leave());
    return m_dictionary;
}

/// Returns what the dictionary took that was left; nothing where there was none. Unchecked.
CKZStatGenClient::DictionarySize CKZStatGenClient::Leave() RYP_NO_THREAD_SAFETY_ANALYSIS {
    CKZStatGenMeasurementDictionary* const left = std::exchange(m_dictionary, nullptr);
    if (left == nullptr) return {};
    left->ForgetOwner();
    const DictionarySize size = left->GetSize();
    left->m_slice->NoteLeft(*left->m_lane);
    return size;
}

/// REQUIRES: it has no dictionary.
void CKZStatGenClient::Take(const DictionarySize& expected) {
    m_dictionary = m_main->NewDictionary(m_clientId, *this, m_lane.Get(), expected);
}

/// False for one of which the client was told to forget it, and for all others. Unchecked: the
/// caller holds the lane of the dictionary, in which this client is if it holds that.
bool CKZStatGenClient::Holds(const CKZStatGenMeasurementDictionary& dictionary) const
    RYP_NO_THREAD_SAFETY_ANALYSIS {
    return &m_lane.Get() == dictionary.m_lane && m_dictionary == &dictionary;
}

/// Unchecked: at the end of a generator no lock is left to hold.
void CKZStatGenClient::ReleaseDictionary() RYP_NO_THREAD_SAFETY_ANALYSIS {
    m_dictionary = nullptr;
}

double CKZStatGenClient::EndTime() const {
    return m_dictionary->m_slice->m_time;
}

double CKZStatGenClient::GetCurrentEndTime() const {
    const CKZStatGenLaneOfClient::Hold lane(m_lane);
    return m_dictionary != nullptr ? EndTime() : m_main->CurrentEndTime();
}

/// Unchecked.
bool CKZStatGenClient::NeedsNewDictionary(double now) const RYP_NO_THREAD_SAFETY_ANALYSIS {
    // At the very end of the slice the old dictionary still serves: where the slice was closed
    // meanwhile, it refuses and the value is tried again.
    return m_dictionary == nullptr || m_dictionary->Owner() == nullptr || now > EndTime();
}

/// Returns whether the value was accepted.
inline bool CKZStatGenClient::Report(const char* name, double value,
                                     CKZStatPointTypeEnum::PointType type, Retry retry) {
    // Both cost less before the lock than behind it. The time is good when the lock was free.
    double now = RyPSysTime();
    using Dictionary = CKZStatGenMeasurementDictionary;
    const Dictionary::Store::Name cutName(name);
    CKZStatGenLaneOfClient::Hold lane(m_lane);
    if (!lane.WasFree()) now = RyPSysTime();
    if (m_isPausing) now = WaitForPausing(lane);
    if (NeedsNewDictionary(now)) MoveForReport(lane);
    while (m_dictionary != nullptr) {
        if (Dictionary::Store::AddLastOfClient(*m_dictionary, cutName, value, type) != 0)
            return true;
        const CKZStatGenMeasurementDictionary* const refusing = m_dictionary;
        if (retry == Retry::UntilStopping && !MayTryAgain(lane)) return false;
        if (m_dictionary == refusing || m_dictionary == nullptr) MoveToNewDictionary();
    }
    return false;
}

/// Waits until the value of another thread is through that this client refused before. Returns the
/// time.
double CKZStatGenClient::WaitForPausing(CKZStatGenLaneOfClient::Hold& lane) {
    while (m_isPausing) lane.LetGoDuring([] { RyPSleep(kRetryPauseSeconds); });
    return RyPSysTime();
}

/// To a new dictionary in the lane of this thread: hosts make clients, and often report a first
/// value, on one thread and then drive them from others.
void CKZStatGenClient::MoveForReport(CKZStatGenLaneOfClient::Hold& lane) {
    CKZStatGenLane& own = m_main->m_clientsLock->OfThisThread();
    DictionarySize expected = Leave();
    if (&m_lane.Get() != &own) {
        lane.MoveTo(own);
        // Another thread that reports through this client may have been here first.
        if (!NeedsNewDictionary(RyPSysTime())) return;
        if (m_dictionary != nullptr) expected = Leave();
    }
    Take(expected);
}

void CKZStatGenClient::AddLast(const char* name, double value,
                               CKZStatPointTypeEnum::PointType type) {
    if (name == nullptr) {
        KZ_LOG_ERROR("AddLast - a value without a name was dropped");
        return;
    }
    Report(name, value, type, Retry::UntilStopping);
}

/// After a refusal: false where the generator is stopping. Mostly the slice ended and was closed
/// since the clock was read: then the next one takes the value. Else there is a pause, for which
/// only those wait who report through the same client.
bool CKZStatGenClient::MayTryAgain(CKZStatGenLaneOfClient::Hold& lane) {
    if (m_main->m_stopping.load()) return false;
    if (RyPSysTime() < EndTime()) {
        const SetWhile pausing(m_isPausing);
        lane.LetGoDuring([] { RyPSleep(kRetryPauseSeconds); });
    }
    return true;
}

/// Returns false where no slice takes the value: the timeline has ended or not begun. It waits for
/// nothing: the current slice is never closed, so the second dictionary accepts. REQUIRES: `name`
/// is not null.
bool CKZStatGenClient::TryAddLast(const char* name, double value,
                                  CKZStatPointTypeEnum::PointType type) {
    return Report(name, value, type, Retry::AtOnce);
}

int CKZStatGenClient::FlushStatsCache() {
    // The lane keeps the garbage loop from freeing the dictionary meanwhile.
    const CKZStatGenLaneOfClient::Hold lane(m_lane);
    return m_dictionary == nullptr ? 0 : m_dictionary->FlushWhileNobodyReports();
}

void CKZStatGenClient::ResetTimer(const char* name) {
    if (name == nullptr) {
        KZ_LOG_ERROR("ResetTimer - a timer without a name was not started");
        return;
    }
    m_timers.ResetTimer(name);
}

double CKZStatGenClient::SendTimer(const char* name) {
    if (name == nullptr) {
        KZ_LOG_ERROR("SendTimer - a timer without a name was not reported");
        return -1.0;
    }
    // Reported even where the timer was never started: the -1 shows the mistake in the results.
    const double elapsed = m_timers.SendTimer(name);
    AddLast(name, elapsed, CKZStatPointTypeEnum::Timer);
    return elapsed;
}

// ------------------------------------------------------------------------------------- timers

CKZStatGenTimer::CKZStatGenTimer() = default;
CKZStatGenTimer::~CKZStatGenTimer() = default;

CKZStatGenTimerDictionary::CKZStatGenTimerDictionary() : RWHashDictionary(kBuckets) {}
CKZStatGenTimerDictionary::~CKZStatGenTimerDictionary() {
    clearAndDestroy();
}

void CKZStatGenTimerDictionary::ResetTimer(const char* name) {
    const CKZCollectableString wanted(name, false);
    auto* known = static_cast<CKZStatGenTimer*>(findValue(&wanted));
    if (known == nullptr) {
        auto key = std::make_unique<CKZCollectableString>(name, true);
        auto timer = std::make_unique<CKZStatGenTimer>();
        insertKeyAndValue(key.get(), timer.get());
        key.release();
        known = timer.release();
    }
    known->ResetTimer();
}

double CKZStatGenTimerDictionary::SendTimer(const char* name) {
    const CKZCollectableString wanted(name, false);
    auto* const known = static_cast<CKZStatGenTimer*>(findValue(&wanted));
    return known == nullptr ? -1.0 : known->SendTimer();
}
