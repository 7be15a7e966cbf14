#include "kzstatrunload.h"

#include "ryp/clock.h"

using Guard = RWMutexLock::LockGuard;

double CKZStatRunLoad::Get() const {
    const Guard guard(m_lock);
    return Level();
}

std::optional<double> CKZStatRunLoad::Begin() const {
    const Guard guard(m_lock);
    return m_begin;
}

std::optional<double> CKZStatRunLoad::End() const {
    const Guard guard(m_lock);
    return m_end;
}

double CKZStatRunLoad::Level() const {
    return m_set ? *m_set : m_clients;
}

/// An end before it was that of something else.
void CKZStatRunLoad::BeginNow() {
    m_begin = RyPSysTime();
    if (!m_end || *m_end >= *m_begin) return;
    m_end.reset();
    m_endWasTold = false;
}

/// Moves the moments that were not told to where the level puts them now.
void CKZStatRunLoad::Follow() {
    if (m_isClosed) return;
    const bool isThere = Level() > 0;
    if (isThere && !m_begin) BeginNow();
    if (m_endWasTold) return;
    if (isThere)
        m_end.reset();
    else if (m_begin && !m_end)
        m_end = RyPSysTime();
}

void CKZStatRunLoad::ClientCame() {
    const Guard guard(m_lock);
    ++m_clients;
    if (!m_set) Follow();
}

void CKZStatRunLoad::ClientLeft() {
    const Guard guard(m_lock);
    --m_clients;
    if (!m_set) Follow();
}

void CKZStatRunLoad::Set(double load) {
    const Guard guard(m_lock);
    // What the clients seemed to say was not the load.
    if (!m_set && !m_isClosed) {
        if (!m_beginWasTold) m_begin.reset();
        if (!m_endWasTold) m_end.reset();
    }
    m_set = load;
    Follow();
}

void CKZStatRunLoad::TellBegin() {
    const Guard guard(m_lock);
    if (m_isClosed) return;
    BeginNow();
    m_beginWasTold = true;
}

void CKZStatRunLoad::TellEnd() {
    const Guard guard(m_lock);
    if (m_isClosed) return;
    m_end = RyPSysTime();
    m_endWasTold = true;
}

void CKZStatRunLoad::Close() {
    const Guard guard(m_lock);
    if (m_isClosed) return;
    if (m_begin && !m_end) m_end = RyPSysTime();
    m_isClosed = true;
}
