#ifndef KZJOURNALSLICESTORE_H
#define KZJOURNALSLICESTORE_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kzjournalrun.h"
#include "kzstatmessage.h"

namespace kzjournal {

/// The file as its writer sees it. All operations throw `Error`, whose text is a line for the
/// user; a slice is in the file as a whole or not at all. Compatible.
class SliceStore {
public:
    /// When what was written is on the disk: each slice at once, or all when the run is ended.
    enum Safety { SafeAtOnce, SafeAtTheEnd };

    /// Makes the journal of `run` in the file, which must be new or empty.
    SliceStore(const std::string& path, const Run& run, Safety safety);

    /// What a merged run is made of.
    void SetSources(const std::vector<Run>& sources);

    /// `sources` are the numbers of those that have a part in the slice, from 0; none in a run that
    /// was not merged. A slice that is there already stays as it is. Returns false where the text
    /// is no whole message of this generator, with the reason in `complaint`: trying again is of no
    /// use then.
    bool Write(std::string_view text, const std::vector<int>& sources, std::string& complaint);

    /// The work that may wait until nobody waits for the writer.
    void Tidy();

    /// Notes the end of the run. The file is complete without its companions then, unless
    /// somebody reads it at that moment.
    void End(double time, long long lostSlices);

private:
    template <class Action>
    void Guarded(Action action);
    void InsertRun(const Run& run);
    void WriteWhole(const CKZStatMessage& message, std::string_view text,
                    const std::vector<int>& sources);
    bool InsertSlice(const CKZStatMessage& message, std::string_view text);
    void InsertSource(int sliceId, int source);
    void InsertRecord(const CKZStatMessage& message, const CKZStatMessageRecord& record);
    int64_t NameId(const std::string& name);
    void MoveRecentRecords();

    const std::string m_path;
    const std::string m_generator;
    SQLite::Database m_database;
    SQLite::Statement m_insertSlice;
    SQLite::Statement m_insertRecord;
    std::unordered_map<std::string, int64_t> m_nameIds;
    int m_recentSlices = 0;
    int m_walPages = 0;
};

}  // namespace kzjournal

#endif
