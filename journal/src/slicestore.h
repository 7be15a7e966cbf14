#ifndef KZJOURNALSLICESTORE_H
#define KZJOURNALSLICESTORE_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "chunkmover.h"
#include "fileplaces.h"
#include "journalmaker.h"
#include "kzjournaldistributions.h"
#include "kzjournalerror.h"
#include "kzjournalload.h"
#include "kzjournalrun.h"
#include "kzstatslicevalues.h"
#include "runrow.h"
#include "summaker.h"

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
    SliceStore(const std::string& path, const Run& run, const std::vector<std::string>& conditions,
               Safety safety);

    /// Adds a run that the run of the file is made of, within `parent`, and returns its number.
    int AddSource(const Run& run, int parent, bool isMerged);

    /// Keeps a slice of `run` with its cost and notes, and how many the file should hold of that
    /// run. `distributions` are those of its records, in their order; what the view has of them is
    /// not looked at. `sources` are the numbers of those that have a slice in it. Returns false for
    /// a slice that is there already, which stays as it is. Throws `Refusal` where the slice can
    /// never be kept, also where another one has its id.
    bool Write(int run, const CKZStatSliceValues& slice, const RecordDistributions& distributions,
               const std::vector<int>& sources, long long expectedSlices);

    /// Where the file or a companion was removed or replaced, goes on in a copy beside it and
    /// returns a line for the user. What stands under the old names stays as it is. Throws where
    /// there can be no copy; all is to be written again then, once there can.
    std::string LookAround();

    /// The facts of a run as they were when it was added, with the load of `SetLoad`.
    const Run& FactsOf(int run) const { return m_runs.at(static_cast<std::size_t>(run)); }

    /// The file that is written.
    const std::string& Path() const { return m_path; }

    /// The work that may wait until nobody waits for the writer. Returns a line for the user once
    /// the log has become too long, and an empty text at any other time.
    std::string Tidy();

    /// When the load of the run of the file began and ended, which is stored with its next slice
    /// and at its end. Does nothing if these are no moments in time.
    void SetLoad(const LoadSpan& load);

    /// Adds to a run.
    void AddNote(int run, const Note& note);
    void AddCondition(int run, const std::string& text);

    /// Notes the end of a run, without a time where it did not end. Of the notes, those that are
    /// impossible are left out.
    void EndRun(int run, std::optional<double> time, long long lostSlices, long long expectedSlices,
                const std::vector<CKZStatNote>& notes = {});

    /// Ends the run of the file, and waits for its readers.
    void End(std::optional<double> time, long long lostSlices, long long expectedSlices,
             const std::vector<CKZStatNote>& notes = {});

    /// Makes the file complete without its companions. Throws where it is not: what was safe at
    /// once is still safe in the companions, the rest is worth nothing. REQUIRES: the run has
    /// ended, and nothing else is called after that.
    void LeaveCompanions();

private:
    /// The database of a file with the statements that write into it.
    struct OpenFile {
        explicit OpenFile(WritableJournal&& journal);

        SQLite::Database database;
        WriterLock lock;
        FilePlaces places;
        SQLite::Statement insertSlice;
        SQLite::Statement insertMessage;
        SQLite::Statement insertRecord;
        SQLite::Statement insertName;
        SQLite::Statement noteProgress;
        RunSeal seal;
    };

    SQLite::Database& Database() { return m_file->database; }
    void Use(WritableJournal&& journal);
    template <class Action>
    void Guarded(Action action);
    template <class Action>
    void ForgettingNames(Action action);
    void RefuseWhatCannotBeKept(int run, const CKZStatSliceValues& slice) const;
    bool WriteWhole(int run, const CKZStatSliceValues& slice,
                    const RecordDistributions& distributions, const std::vector<int>& sources,
                    long long expectedSlices);
    bool InsertSlice(const Chunk& chunk, const CKZStatSliceValues& slice, int64_t checksum);
    void InsertMessage(const Chunk& chunk, const CKZStatSliceValues& slice);
    [[noreturn]] void Refuse(int sliceId, const std::string& why) const;
    void RefuseOtherContent(int run, int sliceId, int64_t checksum);
    void InsertRecords(const Chunk& chunk, const CKZStatSliceValues& slice,
                       const RecordDistributions& distributions);
    void InsertSource(int sliceId, int source);
    bool InsertRecord(const Chunk& chunk, const CKZStatSliceValues& slice,
                      const CKZStatSliceValues::Record& record, std::string_view distribution,
                      const Percentiles& percentiles);
    void NoteProgress(int run, long long expectedSlices);
    Chunk& OpenChunkFor(int run, int sliceId);
    void CountIn(Chunk& chunk, const CKZStatSliceValues& slice,
                 std::size_t distributionBytes) noexcept;
    int64_t NameId(std::string_view name);
    bool IsWorthMoving() const;
    void MakeSums(int most);
    bool ShortenTheLog();
    int64_t PageBytes();
    void CloseChunks();
    void MoveClosedChunks();
    bool EmptyTheLog();
    std::string PutAllIntoTheFile();

    std::string m_path;
    std::string m_firstPath;  // of the file in which the run began
    const Safety m_safety;
    std::optional<OpenFile> m_file;  // none only while the store is made
    std::vector<Run> m_runs;         // by their numbers
    std::unordered_map<std::string, int64_t> m_nameIds;
    // Both are in the recent tables.
    std::map<int, Chunk> m_openChunks;  // by run
    std::deque<Chunk> m_closedChunks;   // from the oldest on
    // Of the open chunks.
    std::size_t m_openRecords = 0;
    std::size_t m_openDistributionBytes = 0;
    std::size_t m_openMessageBytes = 0;
    ChunkMover m_mover;
    SumMaker m_sums;
    int m_walPages = 0;
    bool m_hasWarnedOfLog = false;
};

}  // namespace kzjournal

#endif
