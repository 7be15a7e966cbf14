#ifndef KZLOAD_GENERATOR_H
#define KZLOAD_GENERATOR_H

#include <atomic>
#include <thread>
#include <vector>

#include "kzjournalwriter.h"
#include "kzstatisticsgenerator.h"
#include "messagefile.h"
#include "report.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "terminal.h"

namespace kzload {

inline constexpr char kGeneratorName[] = "kzload";

/// The generator of this host: shows a row per slice, keeps the totals, hands each slice to the
/// journal and its message to a file.
///
/// Safe for concurrent use; the hooks run on the pack thread.
class Generator : public CKZStatGenMain {
public:
    /// All must outlive the generator; `messages` and `journal` are the pack thread's while the
    /// loops run.
    Generator(Terminal& terminal, MessageFile& messages, kzjournal::Writer& journal);

    /// Requests that are part of the totals sent so far.
    long long RequestsCounted() const { return m_requestsCounted; }
    /// The totals of the slice sent last.
    std::vector<Total> Totals() const;

    // Nothing: this host looks at the exact values of all clients together.
    void SendClientDictionary(CKZStatGenMeasurementDictionary*, int, double) override {}
    void SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double) override {}
    void SendSliceValues(const CKZStatSliceValues& slice) override;
    int SendDictionaryString(RWCString& text, double elapsed, const char* name) override;

private:
    Terminal& m_terminal;
    MessageFile& m_messages;
    kzjournal::Writer& m_journal;
    std::atomic<long long> m_requestsCounted;
    mutable RWMutexLock m_lock;
    std::vector<Total> m_totals RYP_GUARDED_BY(m_lock);
};

/// The two threads that run a generator's loops. Owned by the thread that made it.
class GeneratorLoops {
public:
    /// Starts the loops of `generator`, which must outlive them.
    explicit GeneratorLoops(CKZStatGenMain& generator);
    /// Terminates the generator and waits for the loops. Slices not sent by then are not sent.
    ~GeneratorLoops();
    GeneratorLoops(const GeneratorLoops&) = delete;
    GeneratorLoops& operator=(const GeneratorLoops&) = delete;

private:
    CKZStatGenMain& m_generator;
    std::thread m_packThread;
    std::thread m_garbageThread;
};

}  // namespace kzload

#endif
