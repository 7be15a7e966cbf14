#include "kzstatstopwatch.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <string>

#include "kzstatrun.h"
#include "kzstatrunstate.h"
#include "ryp/clock.h"
#include "ryp/truncate.h"

namespace {

using Types = CKZStatPointTypeEnum;

constexpr std::size_t kMaxNameBytes = 200;
constexpr double kLongestWaitSeconds = 4e9;  // leaves room for the work in 64 bits of nanoseconds

/// `intendedStart` on the monotonic clock.
long long NanosecondsAt(double intendedStart) {
    const double waited = RyPSysTime() - intendedStart;
    const long long now = RyPMonotonicNanoseconds();
    if (!std::isfinite(waited) || waited <= 0) return now;
    return now - RyPTruncate<long long>(std::min(waited, kLongestWaitSeconds) * 1e9);
}

}  // namespace

CKZStatStopwatch::CKZStatStopwatch(const CKZStatRunClient& client, const char* name)
    : m_name(nullptr), m_exceptionsAtStart(std::uncaught_exceptions()) {
    Begin(client, name, RyPMonotonicNanoseconds());
}

CKZStatStopwatch::CKZStatStopwatch(const CKZStatRunClient& client, const char* name,
                                   double intendedStart)
    : m_name(nullptr), m_exceptionsAtStart(std::uncaught_exceptions()) {
    Begin(client, name, NanosecondsAt(intendedStart));
}

CKZStatStopwatch::CKZStatStopwatch(CKZStatStopwatch&& other) noexcept = default;

CKZStatStopwatch::~CKZStatStopwatch() {
    if (std::uncaught_exceptions() > m_exceptionsAtStart)
        Fail("exception");
    else
        Stop();
}

void CKZStatStopwatch::Begin(const CKZStatRunClient& client, const char* name,
                             long long startNanoseconds) {
    if (client.m_state == nullptr || !client.m_state->Run().AcceptsName(name)) return;
    try {
        const auto [watched, start] =
            client.m_state->Watches().Begin({name, strnlen(name, kMaxNameBytes)}, startNanoseconds);
        m_name = watched;
        m_start = start;
        m_client = client.m_state;
    } catch (...) {
        client.m_state->Run().NoteValueWithoutMemory();
    }
}

double CKZStatStopwatch::Milliseconds() const {
    return static_cast<double>(RyPMonotonicNanoseconds() - *m_start) / 1e6;
}

double CKZStatStopwatch::Stop() {
    if (!IsRunning()) return -1.0;
    const double milliseconds = Milliseconds();
    m_client->AddLast(m_name->name.c_str(), milliseconds, Types::Timer);
    End();
    return milliseconds;
}

double CKZStatStopwatch::Fail(const char* reason) {
    if (!IsRunning()) return -1.0;
    const double milliseconds = Milliseconds();
    try {
        const std::string failed = m_name->name + ".failed";
        const bool isTold = reason != nullptr && *reason != '\0';
        const std::string why = failed + "." + (isTold ? reason : "unknown");
        m_client->AddLast(failed.c_str(), milliseconds, Types::Timer);
        m_client->AddLast(why.c_str(), 1, Types::TransactionReasonCounter);
    } catch (...) {
        m_client->Run().NoteValueWithoutMemory();
    }
    End();
    return milliseconds;
}

void CKZStatStopwatch::Abandon() {
    if (!IsRunning()) return;
    try {
        m_client->AddLast((m_name->name + ".abandoned").c_str(), 1, Types::Counter);
    } catch (...) {
        m_client->Run().NoteValueWithoutMemory();
    }
    End();
}

void CKZStatStopwatch::End() {
    m_client->Watches().End({m_name, m_start});
    m_client.reset();
}
