#include "slicekeeper.h"

#include <stdexcept>

#include "ryp/clock.h"
#include "statnames.h"

namespace kzload {
namespace {

constexpr int kControlClientId = 0;

}  // namespace

SliceKeeper::SliceKeeper(CKZStatGenMain& generator, double sliceSeconds)
    : m_statistics(&generator, kControlClientId),
      m_halfSlice(sliceSeconds / 2),
      m_reportedSliceEnd(0) {
    if (m_statistics.GetNewDictionary() == nullptr)
        throw std::runtime_error("the generator did not start");
}

void SliceKeeper::Work(int activeClients) {
    const double now = RyPSysTime();
    if (now >= SliceEnd()) m_statistics.GetNewDictionary();
    if (now < SliceEnd() - m_halfSlice || SliceEnd() == m_reportedSliceEnd) return;
    m_statistics.AddLast(kClientsActive.name, activeClients, kClientsActive.type);
    // Asked for afterwards: the value may have begun a slice of its own.
    m_reportedSliceEnd = SliceEnd();
}

double SliceKeeper::NextWorkTime() const {
    const double end = SliceEnd();
    return end == m_reportedSliceEnd ? end : end - m_halfSlice;
}

}  // namespace kzload
