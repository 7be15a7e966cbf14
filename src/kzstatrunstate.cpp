#include "kzstatrunstate.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

#include "kzstatlog.h"
#include "kzstatmessage.h"
#include "ryp/clock.h"

namespace {

using Guard = RWMutexLock::LockGuard;
using Types = CKZStatPointTypeEnum;

constexpr int kOwnClientId = 0;
constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr double kLongestWaitSeconds = 3600;  // of one wait, which may be begun again
constexpr double kPauseWithoutMemorySeconds = 0.1;

/// The run whose loop this thread is.
thread_local const CKZStatRunState* loopOf = nullptr;

/// Until `time` or for as long as one wait lasts at most, rounded up: who wakes has nothing to wait
/// for.
long MillisecondsUntil(double time) {
    const double seconds = std::clamp(time - RyPSysTime(), 0.0, kLongestWaitSeconds);
    return static_cast<long>(std::ceil(seconds * 1000));
}

bool CanStandInMessage(const char* name) {
    return name != nullptr && std::strchr(name, CKZStatMessageWriter::kFieldEnd) == nullptr;
}

/// What of `name` can lead a message.
RWCString Leading(const char* name) {
    if (name == nullptr) return {};
    const char* const end = std::strchr(name, CKZStatMessageWriter::kFieldEnd);
    return end == nullptr ? RWCString(name) : RWCString(name, static_cast<std::size_t>(end - name));
}

RWCString CountedLine(long long count, const char* singular, const char* plural) {
    const std::string line = std::to_string(count) + " " + (count == 1 ? singular : plural);
    return {line.data(), line.size()};
}

}  // namespace

// ------------------------------------------------------------------------ CKZStatRunGenerator

CKZStatRunGenerator::CKZStatRunGenerator(const char* name, Deliver deliver)
    : CKZStatGenMain(name), m_deliver(std::move(deliver)) {}

double CKZStatRunGenerator::EndOf(const CKZStatGenClient& client) {
    const CKZStatGenLaneOfClient::Hold lane(client.m_lane);
    return client.m_dictionary == nullptr ? client.m_main->m_currentEndTime.load()
                                          : client.EndTime();
}

// ---------------------------------------------------------------------------- CKZStatRunState

std::shared_ptr<CKZStatRunState> CKZStatRunState::Start(
    const char* name, double sliceLength, const CKZStatDistributionChoice& distributions) {
    auto state = std::make_shared<CKZStatRunState>(name, sliceLength, distributions);
    state->StartLoops();
    return state;
}

CKZStatRunState::CKZStatRunState(const char* name, double sliceLength,
                                 const CKZStatDistributionChoice& distributions)
    : m_name(Leading(name)),
      m_sliceLength(sliceLength),
      m_startTime(RyPSysTime()),
      m_generator(m_name.data(), [this](const CKZStatSliceValues& slice) { Deliver(slice); }),
      m_sliceListeners("slice listener"),
      m_reporters("reporter") {
    if (name != nullptr && !CanStandInMessage(name))
        AddComplaint("the name of the run was cut: it holds the byte 0x01");
    m_generator.CollectDistributions(distributions);
    m_generator.Start(m_startTime, sliceLength);
}

/// On a thread of a loop where a listener destroyed the run and no client is left.
CKZStatRunState::~CKZStatRunState() {
    const Guard guard(m_threadsLock);
    for (std::thread& thread : m_threads) {
        if (thread.get_id() == std::this_thread::get_id())
            thread.detach();
        else
            thread.join();
    }
}

void CKZStatRunState::StartLoops() {
    if (std::isinf(m_generator.CurrentEnd())) {
        AddComplaint("the run did not start: its slice length is not usable");
        m_generator.EndAtOnce();
        m_sliceListeners.Close();
        m_reporters.Close();
        return;
    }
    try {
        StartLoop(&CKZStatRunState::DeliverSlices);
        StartLoop(&CKZStatRunState::FreeSlices);
        StartLoop(&CKZStatRunState::KeepTime);
    } catch (const std::system_error& failure) {
        AddComplaint((std::string("the run could not start a thread: ") + failure.what()).c_str());
        GiveUp();
        StopLoops();
        m_sliceListeners.Close();  // still empty, so no loop is about to call one
        m_reporters.Close();
    }
}

void CKZStatRunState::StartLoop(Loop loop) {
    // Before it runs, so that who waits for the loops waits for this one too.
    {
        const Guard guard(m_lock);
        ++m_loopsRunning;
    }
    try {
        const Guard threads(m_threadsLock);
        m_threads.emplace_back([self = shared_from_this(), loop] { self->RunLoop(loop); });
    } catch (...) {
        const Guard guard(m_lock);
        --m_loopsRunning;
        throw;
    }
}

void CKZStatRunState::RunLoop(Loop loop) {
    loopOf = this;
    (this->*loop)();
    loopOf = nullptr;
    const Guard guard(m_lock);
    --m_loopsRunning;
    m_changed.NotifyAll();
}

bool CKZStatRunState::IsOnLoop() const {
    return loopOf == this;
}

/// Only a lack of memory ends `work` before its time; run again, it goes on where it was.
template <class Work>
void CKZStatRunState::DoDespiteLackOfMemory(Work work) {
    for (;;) {
        try {
            work();
            return;
        } catch (...) {
            KZ_LOG_ERROR("memory ran out; the run tries again");
        }
        RyPSleep(kPauseWithoutMemorySeconds);
    }
}

void CKZStatRunState::DeliverSlices() {
    DoDespiteLackOfMemory([this] { m_generator.doPackWork(); });
    m_notes.Close();
    m_sliceListeners.Close();
}

void CKZStatRunState::FreeSlices() {
    DoDespiteLackOfMemory([this] { m_generator.doGarbageWork(); });
}

void CKZStatRunState::KeepTime() {
    DoDespiteLackOfMemory([this] { FollowTimeline(); });
    m_reporters.Close();
}

/// Begins each slice when the one before has ended, and reports near the middle of each.
void CKZStatRunState::FollowTimeline() {
    const auto own =
        std::make_shared<CKZStatRunClientState>(shared_from_this(), kOwnClientId, false);
    CKZStatClockSteps clockSteps;
    while (own->Client().GetNewDictionary() != nullptr) {
        NoteClockStep(clockSteps);
        const double end = CKZStatRunGenerator::EndOf(own->Client());
        if (!SleepUntil(end - m_sliceLength / 2)) return;
        ReportOncePerSlice(own);
        // Asked for afterwards: a late value may have gone into the next slice, which then has it.
        const double present = CKZStatRunGenerator::EndOf(own->Client());
        if (!SleepUntil(present)) return;
        m_costs.NoteEnd(present);
    }
}

void CKZStatRunState::NoteClockStep(CKZStatClockSteps& steps) {
    const std::string note = steps.TakeNote();
    if (!note.empty()) m_notes.Add(note.c_str(), RyPSysTime());
}

/// Returns false at once when the run stops.
bool CKZStatRunState::SleepUntil(double time) {
    bool hasSlept = false;
    {
        const Guard guard(m_lock);
        for (; !m_isStopping && RyPSysTime() < time; hasSlept = true)
            m_changed.WaitUntil(m_lock, RyPDeadline(MillisecondsUntil(time)));
        if (m_isStopping) return false;
    }
    // Otherwise what came before, such as a reporter, was late.
    if (hasSlept) m_costs.NoteTimerLateness(RyPSysTime() - time);
    return true;
}

void CKZStatRunState::ReportOncePerSlice(const std::shared_ptr<CKZStatRunClientState>& own) {
    ReportLoad(own->Client());
    ReportUnderWay(own->Client());
    if (std::isinf(m_generator.CurrentEnd())) return;  // too late for the last slice
    // A handle of its own, which a reporter may move away.
    CKZStatRunClient client(own);
    m_reporters.CallAll(client, [this] { return !HasGivenUp(); });
}

// Past the generator's end these are dropped without a word: nobody reported them.

void CKZStatRunState::ReportLoad(CKZStatGenClient& own) {
    std::optional<RWCString> name;
    {
        const Guard guard(m_lock);
        name = m_loadName;
    }
    if (name) CKZStatRunGenerator::Report(own, name->data(), m_load.Get(), Types::LoadSize);
}

void CKZStatRunState::ReportUnderWay(CKZStatGenClient& own) {
    const auto tallies = m_board.Count();
    const long long now = RyPMonotonicNanoseconds();
    for (const auto& [name, tally] : tallies) {
        // No LoadSize, which readers add up to the load of the run.
        CKZStatRunGenerator::Report(own, (name + ".running").c_str(), tally.running,
                                    Types::Measurement);
        if (tally.running > 0)
            CKZStatRunGenerator::Report(own, (name + ".oldest").c_str(),
                                        static_cast<double>(now - tally.oldestStart) / 1e6,
                                        Types::Measurement);
    }
}

/// With what the run knows of the slice beside its values.
CKZStatSliceFacts CKZStatRunState::FactsOf(const CKZStatSliceValues& slice) {
    CKZStatSliceFacts facts = slice.GetFacts();
    facts.cost = m_costs.Take(facts.endTime);
    facts.notes = m_notes.Waiting();
    return facts;
}

/// Throws only before the listeners are called.
void CKZStatRunState::Deliver(const CKZStatSliceValues& slice) {
    const CKZStatSliceValues shown(slice, FactsOf(slice));
    m_sliceListeners.CallAll(shown, [this] { return !HasGivenUp(); });
    m_notes.Drop(shown.GetFacts().notes.size());
    m_costs.NoteListenersDone();
    const Guard guard(m_lock);
    if (m_hasGivenUp) return;
    m_delivered = slice.GetSliceId();
    m_changed.NotifyAll();
}

bool CKZStatRunState::WasTold() const {
    const Guard guard(m_lock);
    return m_wasTold;
}

bool CKZStatRunState::HasGivenUp() const {
    const Guard guard(m_lock);
    return m_hasGivenUp;
}

void CKZStatRunState::OnSlice(std::function<void(const CKZStatSliceValues&)> listener) {
    if (!m_sliceListeners.Add(std::move(listener)))
        KZ_LOG_ERROR("OnSlice - an empty listener, or one after the end, was not added");
}

bool CKZStatRunState::AddListener(const std::shared_ptr<CKZStatRunListener>& listener) {
    if (listener == nullptr) return false;
    return m_sliceListeners.Add(
        [this, listener](const CKZStatSliceValues& slice) {
            AddComplaints(listener->OnSlice(slice));
        },
        [this, listener] { AddComplaints(listener->OnEnd(End())); });
}

std::optional<double> CKZStatRunState::SinceStart(std::optional<double> time) const {
    if (time) *time -= m_startTime;
    return time;
}

CKZStatRunEnd CKZStatRunState::End() const {
    CKZStatRunEnd end{0, LoadBegin(), LoadEnd(), m_notes.Waiting()};
    const Guard guard(m_lock);
    end.lastSlice = m_lastSlice;
    return end;
}

void CKZStatRunState::AddComplaints(const std::vector<RWCString>& lines) {
    for (const RWCString& line : lines) AddComplaint(line.data());
}

void CKZStatRunState::OncePerSlice(std::function<void(CKZStatRunClient&)> reporter) {
    if (!m_reporters.Add(std::move(reporter)))
        KZ_LOG_ERROR("OncePerSlice - an empty reporter, or one after the end, was not added");
}

void CKZStatRunState::ReportLoadAs(const char* name) {
    std::optional<RWCString> loadName;
    if (CanStandInMessage(name))
        loadName = name;
    else
        KZ_LOG_ERROR("ReportLoadAs - the name is null or holds the byte 0x01");
    const Guard guard(m_lock);
    m_loadName = loadName;
}

void CKZStatRunState::AddComplaint(const char* line) {
    if (line == nullptr) return;
    {
        const Guard guard(m_lock);
        if (std::find(m_complaints.begin(), m_complaints.end(), line) != m_complaints.end()) return;
        m_complaints.emplace_back(line);
    }
    KZ_LOG_ERROR(line);
}

bool CKZStatRunState::Note(const char* text, double time) {
    if (text != nullptr && std::isfinite(time)) return m_notes.Add(text, time);
    KZ_LOG_ERROR("Note - a note was refused: its text is null or its time is not finite");
    return false;
}

bool CKZStatRunState::AcceptsName(const char* name) {
    if (CanStandInMessage(name)) return true;
    if (m_badNames++ == 0)
        KZ_LOG_ERROR("AddLast - a value was refused: its name is null or holds the byte 0x01");
    return false;
}

CKZStatRunResult CKZStatRunState::Finish(double limitSeconds) {
    if (IsOnLoop()) {
        constexpr char kRefusal[] =
            "Finish - called by a listener, which it would have to wait for";
        KZ_LOG_ERROR(kRefusal);
        CKZStatRunResult refusal = Result();
        refusal.complaints.emplace_back(kRefusal);
        return refusal;
    }
    m_load.Close();
    // Written so that NaN is 0.
    const double until = RyPSysTime() + (limitSeconds > 0 ? limitSeconds : 0);
    if (!WaitUntilDelivered(until)) GiveUp();
    StopLoops();
    if (WaitUntilLoopsLeft(until)) Join();
    return Result();
}

CKZStatRunResult CKZStatRunState::FinishAsked(double limitSeconds) {
    {
        const Guard guard(m_lock);
        m_wasTold = true;
    }
    return Finish(limitSeconds);
}

/// At the destruction of the run. Never throws.
void CKZStatRunState::FinishUnasked() {
    if (IsOnLoop()) {
        GiveUp();
        StopLoops();
        if (HasGivenUp())
            KZ_LOG_ERROR("a listener destroyed its run: slices not delivered yet are given up");
        return;
    }
    try {
        Finish(kInfinite);
        if (WasTold()) return;
        for (const RWCString& line : Losses()) KZ_LOG_ERROR(line);
    } catch (...) {
        KZ_LOG_ERROR("memory ran out: slices not delivered yet are given up");
        GiveUp();
        StopLoops();
        WaitUntilLoopsLeft(kInfinite);
        Join();
    }
}

/// Returns false at `until`.
bool CKZStatRunState::WaitUntilDelivered(double until) {
    for (;;) {
        // Asked each time: this ends the last slice also where a reporter holds up the thread that
        // keeps time.
        const int last = m_generator.EndWithCurrentSlice();
        const double end = m_generator.CurrentEnd();
        const Guard guard(m_lock);
        m_lastSlice = last;
        if (m_hasGivenUp || m_delivered >= last) return true;
        if (RyPSysTime() >= until) return false;
        m_changed.WaitUntil(m_lock, RyPDeadline(MillisecondsUntil(std::min(until, end))));
    }
}

void CKZStatRunState::GiveUp() {
    m_generator.EndAtOnce();
    const int last = m_generator.EndWithCurrentSlice();
    const Guard guard(m_lock);
    m_lastSlice = last;
    m_hasGivenUp = m_delivered < last;
    m_changed.NotifyAll();
}

void CKZStatRunState::StopLoops() {
    m_generator.Terminate();
    const Guard guard(m_lock);
    m_isStopping = true;
    m_changed.NotifyAll();
}

/// Returns false at `until`.
bool CKZStatRunState::WaitUntilLoopsLeft(double until) {
    const Guard guard(m_lock);
    while (m_loopsRunning > 0) {
        if (RyPSysTime() >= until) return false;
        m_changed.WaitUntil(m_lock, RyPDeadline(MillisecondsUntil(until)));
    }
    return true;
}

void CKZStatRunState::Join() {
    const Guard guard(m_threadsLock);
    for (std::thread& thread : m_threads) thread.join();
    m_threads.clear();
}

int CKZStatRunState::SlicesGivenUp() const {
    return m_hasGivenUp ? m_lastSlice - m_delivered : 0;
}

CKZStatRunResult CKZStatRunState::Result() const {
    CKZStatRunResult result;
    result.valuesRefused = m_lateValues + m_badNames + m_valuesWithoutMemory;
    result.complaints = Losses();
    m_sliceListeners.AppendComplaints(result.complaints);
    m_reporters.AppendComplaints(result.complaints);
    const Guard guard(m_lock);
    result.slicesDelivered = m_delivered;
    result.slicesGivenUp = SlicesGivenUp();
    result.complaints.insert(result.complaints.end(), m_complaints.begin(), m_complaints.end());
    return result;
}

/// Lines about slices and values that were not delivered.
std::vector<RWCString> CKZStatRunState::Losses() const {
    std::vector<RWCString> lines;
    const auto add = [&lines](long long count, const char* singular, const char* plural) {
        if (count > 0) lines.push_back(CountedLine(count, singular, plural));
    };
    {
        const Guard guard(m_lock);
        add(SlicesGivenUp(), "slice was given up", "slices were given up");
    }
    add(m_lateValues, "value was refused: the run was over",
        "values were refused: the run was over");
    add(m_badNames, "value was refused: its name is null or holds the byte 0x01",
        "values were refused: their names are null or hold the byte 0x01");
    add(m_valuesWithoutMemory, "value was refused: memory ran out",
        "values were refused: memory ran out");
    return lines;
}

// ---------------------------------------------------------------------- CKZStatRunClientState

CKZStatRunClientState::CKZStatRunClientState(std::shared_ptr<CKZStatRunState> run, int id,
                                             bool isLoad)
    : m_run(std::move(run)),
      m_id(id),
      m_isLoad(isLoad),
      m_client(&m_run->Generator(), id),
      m_watches(m_run->Board()) {
    if (m_isLoad) m_run->Load().ClientCame();
}

void CKZStatRunClientState::Leave() {
    if (m_isLoad) m_run->Load().ClientLeft();
}

bool CKZStatRunClientState::AddLast(const char* name, double value, Types::PointType type) {
    if (!m_run->AcceptsName(name)) return false;
    try {
        if (CKZStatRunGenerator::Report(m_client, name, value, type)) return true;
        m_run->NoteLateValue();
    } catch (...) {
        m_run->NoteValueWithoutMemory();
    }
    return false;
}
