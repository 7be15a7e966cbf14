#ifndef KZJOURNALREADERSTATE_H
#define KZJOURNALREADERSTATE_H

#include <SQLiteCpp/SQLiteCpp.h>
#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "annotations.h"
#include "kzjournalerror.h"
#include "kzjournalreader.h"
#include "readabledatabase.h"
#include "runrow.h"
#include "sliceloader.h"
#include "storedsums.h"
#include "timeline.h"

namespace kzjournal {

/// How many records a name has in a chunk, and their checksum.
struct NameInChunk {
    int records;
    std::optional<std::int64_t> checksum;  // none where the slices were verified instead
};

/// Slices of which a stored sum is visited, or which are visited one by one where there is none.
struct Piece {
    const SumFacts* sum;
    std::vector<int> ids;
};

/// What a reader has of its file. Compatible.
struct Reader::State {
    State(const std::string& journalPath, int source)
        : path(journalPath),
          run(source),
          file(journalPath),
          database(file.Get()),
          version(file.Read([&] { return SchemaVersionOf(database); })),
          loader(database, path, run, version, &file.Steps()),
          timeline(database, path, run),
          sums(database, path, run, &file.Steps()) {}

    template <class Action>
    auto Guarded(Action action) {
        return file.Read(action);
    }

    /// What is wrong with a slice is said of the file.
    template <class Action>
    void Explained(Action action) const {
        try {
            action();
        } catch (const Error& error) {
            throw Error("cannot read " + path + ": " + error.what());
        }
    }

    /// A log that is missing when the file is opened is made anew.
    bool HasLog() const {
        struct stat log = {};
        return stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0;
    }
    std::vector<Timeline::Entry> EntriesIn(const TimeRange& range);
    std::vector<Timeline::Entry> Select(const TimeRange& range) const;
    const SumFacts* FindSum(int level, std::span<const Timeline::Entry> entries) const;
    const SumFacts* FindSum(std::span<const Timeline::Entry> entries,
                            const std::function<long long(double)>& groupOf) const;
    std::vector<Piece> PiecesOf(std::span<const Timeline::Entry> entries,
                                const std::function<long long(double)>& groupOf) const;
    void UpdateSums();
    Slice LoadSum(const SumFacts& stored);
    void CheckSums(int level, std::span<const Timeline::Entry> entries);
    bool IsOfItsParts(const SumFacts& stored, std::span<const Timeline::Entry> entries);
    void VisitSums(const std::vector<Piece>& pieces,
                   const std::function<void(const Slice&)>& visit);
    RunRow Row();
    RunRow RowOf(int number);
    std::vector<std::pair<int, Annotations>> AllAnnotations(const std::vector<Source>& sources);
    std::vector<int> IdsIn(const TimeRange& range);
    std::vector<int> IdsAfter(int sliceId, int most);
    void VisitSlices(std::span<const int> ids, const std::function<void(Slice&)>& visit);
    void VisitMoreSlices(std::span<const int> ids, const std::function<void(Slice&)>& visit);
    const RecordCounts& CountsOf(int chunk);
    std::vector<SeriesPoint> PointsOf(const std::string& name, const TimeRange& range);
    std::vector<SliceCost> CostsOf(std::span<const Timeline::Entry> entries);
    NameInChunk FindInChunk(int chunk, std::int64_t nameId);
    void AddPointsOfChunk(const std::string& name, std::span<const Timeline::Entry> entries,
                          std::vector<SeriesPoint>& points);
    void AddRecentPoints(const std::string& name, std::span<const Timeline::Entry> entries,
                         std::vector<SeriesPoint>& points);

    const std::string path;
    const int run;  // the number of the run that is read
    ReadableDatabase file;
    SQLite::Database& database;
    const int version;  // of the schema
    SliceLoader loader;
    Timeline timeline;
    StoredSums sums;
    std::map<int, RecordCounts> verifiedChunks;
    Run facts;
};

}  // namespace kzjournal

#endif
