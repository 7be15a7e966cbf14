#ifndef KZLOAD_SLICEKEEPER_H
#define KZLOAD_SLICEKEEPER_H

#include "kzstatisticsgenerator.h"

namespace kzload {

/// The control thread's own handle on the generator. It ends each slice on time, also when no
/// client reports, and reports the number of active clients once per slice, near its middle.
///
/// Owned by the control thread.
class SliceKeeper {
public:
    /// `generator` must outlive the keeper. Throws std::runtime_error where it is not started.
    SliceKeeper(CKZStatGenMain& generator, double sliceSeconds);

    /// Does what is due. A call that comes too late for a slice leaves that one out.
    void Work(int activeClients);

    /// The time (as `RyPSysTime` returns it) at which the next work is due.
    double NextWorkTime() const;
    /// The end of the present slice.
    double SliceEnd() const { return m_statistics.GetCurrentEndTime(); }

private:
    CKZStatGenClient m_statistics;
    const double m_halfSlice;
    double m_reportedSliceEnd;  // of the slice that has its level
};

}  // namespace kzload

#endif
