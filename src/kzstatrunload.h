#ifndef KZSTATRUNLOAD_H
#define KZSTATRUNLOAD_H

#include <optional>

#include "rw/mutex.h"
#include "ryp/annotations.h"

/// How large the load of a run is, and when it began and ended: derived from the number of clients,
/// from what the host sets, or told. Times are seconds as `RyPSysTime` returns them.
///
/// Safe for concurrent use.
class CKZStatRunLoad {
public:
    double Get() const;
    std::optional<double> Begin() const;
    std::optional<double> End() const;

    void ClientCame();
    void ClientLeft();
    void Set(double load);
    void TellBegin();
    void TellEnd();
    /// The run ends: a load that is still there ends with it, and no moment changes any more.
    void Close();

private:
    double Level() const RYP_REQUIRES(m_lock);
    void BeginNow() RYP_REQUIRES(m_lock);
    void Follow() RYP_REQUIRES(m_lock);

    mutable RWMutexLock m_lock;
    int m_clients RYP_GUARDED_BY(m_lock) = 0;
    std::optional<double> m_set RYP_GUARDED_BY(m_lock);
    std::optional<double> m_begin RYP_GUARDED_BY(m_lock);
    std::optional<double> m_end RYP_GUARDED_BY(m_lock);
    bool m_beginWasTold RYP_GUARDED_BY(m_lock) = false;
    bool m_endWasTold RYP_GUARDED_BY(m_lock) = false;
    bool m_isClosed RYP_GUARDED_BY(m_lock) = false;
};

#endif
