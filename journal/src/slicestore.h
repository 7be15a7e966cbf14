#ifndef KZJOURNALSLICESTORE_H
#define KZJOURNALSLICESTORE_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kzjournalerror.h"
#include "kzjournalrun.h"
#include "kzstatslicevalues.h"

namespace kzjournal {

/// Why a slice can never be kept: trying again is of no use.
class Refusal : public Error {
public:
    using Error::Error;
};

/// The file as its writer sees it. All operations throw `Error`, whose text is a line for the
/// user; a slice is in the file as a whole or not at all. Runs go by their numbers: 0 is the run of
/// the file, those from 1 are its sources. Compatible.
class SliceStore {
public:
    /// When what was written is on the disk: each slice at once, or all when the run is ended.
    enum Safety { SafeAtOnce, SafeAtTheEnd };

    /// Makes the journal of `run` in the file, which must be new or empty.
    SliceStore(const std::string& path, const Run& run, Safety safety);

    /// Adds a run that the run of the file is made of, within `parent`, and returns its number.
    int AddSource(const Run& run, int parent, bool isMerged);

    /// Keeps a slice of `run`, and with it how many the file should hold of that run. `sources` are
    /// the numbers of those that have a slice in it. Returns false for a slice that is there
    /// already, which stays as it is. Throws `Refusal` where the slice can never be kept.
    bool Write(int run, const CKZStatSliceValues& slice, const std::vector<int>& sources,
               long long expectedSlices);

    /// The work that may wait until nobody waits for the writer.
    void Tidy();

    /// Notes when the load of the run of the file began and ended, in seconds since its start;
    /// what has no value stays as it is.
    void NoteLoad(std::optional<double> begin, std::optional<double> end);

    /// Adds a note to the run of the file.
    void AddNote(const Note& note);

    /// Notes the end of a run, without a time where it did not end.
    void EndRun(int run, std::optional<double> time, long long lostSlices,
                long long expectedSlices);

    /// Ends the run of the file, which is complete without its companions then. Throws also where
    /// it is not: what was safe at once is still safe in the companions, the rest is worth nothing.
    void End(std::optional<double> time, long long lostSlices, long long expectedSlices);

private:
    /// Slices of a run whose records move together.
    struct Chunk {
        int number;  // the id of the first slice in it
        int slices;
        double firstElapsed;
        double lastElapsed;
    };

    template <class Action>
    void Guarded(Action action);
    void RefuseWhatCannotBeKept(int run, const CKZStatSliceValues& slice) const;
    bool WriteWhole(int run, const CKZStatSliceValues& slice, const std::vector<int>& sources,
                    long long expectedSlices);
    void InsertRun(int number, std::optional<int> parent, const Run& run, bool isMerged);
    bool InsertSlice(int run, int chunk, const CKZStatSliceValues& slice);
    void InsertSource(int sliceId, int source);
    bool InsertRecord(int run, int chunk, const CKZStatSliceValues& slice,
                      const CKZStatSliceValues::Record& record);
    void NoteExpectedSlices(int run, long long expectedSlices);
    int ChunkFor(int run, int sliceId) const;
    void CountIn(int run, int number, const CKZStatSliceValues& slice);
    int64_t NameId(std::string_view name);
    bool IsWorthMoving() const;
    void MoveRecentRecords();
    std::string PutAllIntoTheFile();
    bool LeaveTheLog();

    const std::string m_path;
    const Safety m_safety;
    SQLite::Database m_database;
    SQLite::Statement m_insertSlice;
    SQLite::Statement m_insertRecord;
    SQLite::Statement m_insertName;
    SQLite::Statement m_noteExpectedSlices;
    std::vector<Run> m_runs;  // by their numbers
    std::unordered_map<std::string, int64_t> m_nameIds;
    std::map<int, Chunk> m_openChunks;  // by run: their records are in `recent_records`
    std::size_t m_recentRecords = 0;
    int m_walPages = 0;
};

}  // namespace kzjournal

#endif
