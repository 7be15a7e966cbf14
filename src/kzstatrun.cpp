#include "kzstatrun.h"

#include <cmath>
#include <limits>
#include <utility>

#include "kzstatlog.h"
#include "kzstatrunstate.h"
#include "ryp/clock.h"

// --------------------------------------------------------------------------- CKZStatRunClient

CKZStatRunClient::CKZStatRunClient(std::shared_ptr<CKZStatRunClientState> state)
    : m_state(std::move(state)) {}

CKZStatRunClient::CKZStatRunClient(CKZStatRunClient&& other) noexcept = default;

CKZStatRunClient& CKZStatRunClient::operator=(CKZStatRunClient&& other) noexcept {
    if (this == &other) return *this;
    Leave();
    m_state = std::move(other.m_state);
    return *this;
}

CKZStatRunClient::~CKZStatRunClient() {
    Leave();
}

void CKZStatRunClient::Leave() {
    if (m_state != nullptr) m_state->Leave();
}

bool CKZStatRunClient::AddLast(const char* name, double value,
                               CKZStatPointTypeEnum::PointType type) {
    return m_state != nullptr && m_state->AddLast(name, value, type);
}

void CKZStatRunClient::ResetTimer(const char* name) {
    if (name == nullptr) {
        KZ_LOG_ERROR("ResetTimer - a timer without a name was not started");
        return;
    }
    if (m_state != nullptr) m_state->Timers().ResetTimer(name);
}

double CKZStatRunClient::SendTimer(const char* name) {
    if (name == nullptr) {
        KZ_LOG_ERROR("SendTimer - a timer without a name was not reported");
        return -1.0;
    }
    if (m_state == nullptr) return -1.0;
    const double elapsed = m_state->Timers().SendTimer(name);
    m_state->AddLast(name, elapsed, CKZStatPointTypeEnum::Timer);
    return elapsed;
}

int CKZStatRunClient::GetId() const {
    return m_state == nullptr ? 0 : m_state->Id();
}

// ------------------------------------------------------------------------- CKZStatRunListener

CKZStatRunListener::~CKZStatRunListener() = default;

// --------------------------------------------------------------------------------- CKZStatRun

CKZStatRun::CKZStatRun(const char* name, double sliceLength,
                       const CKZStatDistributionChoice& distributions)
    : m_state(CKZStatRunState::Start(name, sliceLength, distributions)) {}

CKZStatRun::~CKZStatRun() {
    m_state->FinishUnasked();
}

void CKZStatRun::OnSlice(std::function<void(const CKZStatSliceValues&)> listener) {
    m_state->OnSlice(std::move(listener));
}

bool CKZStatRun::AddListener(const std::shared_ptr<CKZStatRunListener>& listener) {
    return m_state->AddListener(listener);
}

void CKZStatRun::OncePerSlice(std::function<void(CKZStatRunClient&)> reporter) {
    m_state->OncePerSlice(std::move(reporter));
}

CKZStatRunClient CKZStatRun::NewClient(int id) {
    return CKZStatRunClient(std::make_shared<CKZStatRunClientState>(m_state, id, true));
}

void CKZStatRun::ReportLoadAs(const char* name) {
    m_state->ReportLoadAs(name);
}

void CKZStatRun::SetLoad(double load) {
    if (!(load >= 0) || std::isinf(load)) {
        KZ_LOG_ERROR("SetLoad - the load ", load, " is negative or not finite");
        return;
    }
    m_state->Load().Set(load);
}

void CKZStatRun::BeginLoad() {
    m_state->Load().TellBegin();
}

void CKZStatRun::EndLoad() {
    m_state->Load().TellEnd();
}

std::optional<double> CKZStatRun::GetLoadBegin() const {
    return m_state->LoadBegin();
}

std::optional<double> CKZStatRun::GetLoadEnd() const {
    return m_state->LoadEnd();
}

bool CKZStatRun::Note(const char* text) {
    return m_state->Note(text, RyPSysTime());
}

bool CKZStatRun::Note(const char* text, double time) {
    return m_state->Note(text, time);
}

void CKZStatRun::NoteLateness(double seconds) {
    if (std::isfinite(seconds)) m_state->Costs().NoteStartLateness(std::fmax(seconds, 0));
}

const RWCString& CKZStatRun::GetName() const {
    return m_state->Name();
}

double CKZStatRun::GetSliceLength() const {
    return m_state->SliceLength();
}

double CKZStatRun::GetStartTime() const {
    return m_state->StartTime();
}

void CKZStatRun::AddComplaint(const char* line) {
    m_state->AddComplaint(line);
}

CKZStatRunResult CKZStatRun::GetResult() const {
    return m_state->Result();
}

CKZStatRunResult CKZStatRun::Finish() {
    return Finish(std::numeric_limits<double>::infinity());
}

CKZStatRunResult CKZStatRun::Finish(double limitSeconds) {
    // Held: listeners, which may own the run, are destroyed before this returns.
    const std::shared_ptr<CKZStatRunState> state = m_state;
    return state->FinishAsked(limitSeconds);
}
