#ifndef KZ_BENCHMARKS_FILLEDGENERATOR_H
#define KZ_BENCHMARKS_FILLEDGENERATOR_H

#include <deque>
#include <string>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "ryp/testclock.h"
#include "support/silenthost.h"
#include "support/workload.h"

/// A generator run by hand, whose clients report each name once per slice. The first slice is sent
/// and freed by the constructor, so that totals exist. Compatible.
class FilledGenerator {
public:
    static constexpr double kSliceLength = 1.0;  // in seconds

    FilledGenerator(
        int clients, int names,
        const CKZStatDistributionChoice& distributions = CKZStatDistributionChoice::None())
        : m_names(MakeNames(names)) {
        m_host.CollectDistributions(distributions);
        m_host.Start(kStart, kSliceLength);
        for (int id = 0; id < clients; ++id) m_clients.emplace_back(&m_host, id);
        FinishSlice();
        FreeSlice(SendSlice());
    }

    void FillSlice() {
        ReportSlice(static_cast<int>(m_clients.size()), m_names, kBurst,
                    [this](int client, const char* name) { AddLast(client, name); });
        FlushCaches();
    }
    void AddLast(int client, const char* name) {
        m_clients[static_cast<std::size_t>(client)].AddLast(name, 1.5,
                                                            CKZStatPointTypeEnum::Measurement);
    }
    void FlushCaches() {
        for (CKZStatGenClient& client : m_clients) client.FlushStatsCache();
    }
    /// Fills the current slice and ends it, so that it waits to be sent.
    void FinishSlice() {
        FillSlice();
        EndSlices(1);
    }
    void EndSlices(int count) {
        m_clock.Advance(count * kSliceLength);
        m_clients.front().GetNewDictionary();
    }

    CKZStatGenSlice* SendSlice() { return m_host.SendNextSlice(); }
    void FreeSlice(CKZStatGenSlice* slice) { m_host.FreeSlice(slice); }

private:
    static constexpr double kStart = 1e9;

    RyPTestClock m_clock{kStart};
    std::vector<std::string> m_names;
    SilentHost m_host;
    std::deque<CKZStatGenClient> m_clients;
};

#endif
