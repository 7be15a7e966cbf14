#ifndef KZSTATPROGRAM_RUNHISTORY_H
#define KZSTATPROGRAM_RUNHISTORY_H

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "figures/distributioncourse.h"
#include "figures/interruptions.h"
#include "figures/livesummary.h"
#include "figures/saturation.h"
#include "figures/slicerange.h"
#include "figures/timeline.h"
#include "reading/runopener.h"

namespace kzstatprogram {

/// A run as a page shows it: the facts, every name's latest figures and its course through time,
/// decimated. Takes as much memory for a day as for an hour. Compatible.
///
/// Percentiles of a bucket come from the distribution of all its values, which is kept for the
/// latest bucket only. So wider buckets are made by reading the run again.
class RunHistory {
public:
    struct Entry {
        CKZStatMessageRecord latest;
        Course course;
        DistributionCourse distributions;
        int lastValuesId = 0;  ///< of the last slice that may have values
        int lastRowsId = 0;    ///< of the last slice that may have changed the rows of the heat map
    };

    using StopRequest = std::function<bool()>;

    struct Ranges {
        kzjournal::TimeRange drawn;
        std::optional<SliceRange> figures;  ///< by default, and as the run goes on: under load
    };

    /// Reads what there is of the ranges, by several readers at a time. Throws kzjournal::Error,
    /// also as soon as `isStopRequested`, which several threads ask, returns true.
    RunHistory(const RunOpener& runs, const std::string& name, const Ranges& ranges,
               const StopRequest& isStopRequested = {});

    /// What a run has behind a slice.
    struct News {
        std::vector<kzjournal::Slice> slices;
        bool hasEnded;
        long long lostSlices;
        std::vector<kzjournal::Note> notes;
        kzjournal::LoadSpan load = {};
        SliceRange figures = {};
        double seconds = 0;  ///< of the figures
        bool isAbandoned = false;
    };
    /// Throws kzjournal::Error.
    static News NewsSince(RunReader& run, int sliceId);
    /// False if the run outgrows the buckets with it, or if other slices are under load than seemed
    /// to be: it must be read again.
    bool CanAdd(const News& news) const;
    /// True where there was anything new. REQUIRES: `CanAdd(news)`.
    bool Add(const News& news);

    /// With the load as it is known by now.
    const kzjournal::Run& Facts() const { return m_facts; }
    const std::vector<kzjournal::Source>& Sources() const { return m_sources; }
    /// What was to be drawn.
    const kzjournal::TimeRange& Drawn() const { return m_drawn; }
    const Grid& TimeGrid() const { return m_grid; }
    const std::map<std::string, Entry>& Names() const { return m_names; }
    /// The sum of all load sizes.
    const Course& Load() const { return m_load; }
    /// The share of its processors that the generator used, from 0 to 1; of a merged run the mean
    /// of its generators.
    const Course& ProcessorShares() const { return m_processorShares; }
    /// Of the generator, or the first one of several; no value if there is none in what is drawn.
    std::optional<Saturation> GetSaturation() const { return m_saturation.Get(); }
    /// Of the run and its sources, those that reach into what is drawn.
    std::vector<Interruption> Interruptions() const {
        return Within(m_interruptions.Get(), m_drawn);
    }
    /// What all slices of the range of the figures say of each name that is in one.
    const std::map<std::string, kzjournal::NameSummary>& Figures() const {
        return m_figures.Names();
    }
    /// The time of the figures.
    double Seconds() const { return m_seconds; }
    /// No slice of the figures begins before, in seconds since the start of the run.
    double FiguresFrom() const { return std::max(m_figuresRange.from, 0.0); }
    /// The distribution of the values in `entry.latest.totals`; null if it is not known.
    static const CKZStatDistribution* DistributionOf(const Entry& entry);
    /// The number of buckets of the longest course.
    std::size_t Buckets() const;

    /// Of the last slice; 0 where there is none.
    int LastSliceId() const { return m_lastSliceId; }
    double Elapsed() const { return m_elapsed; }
    long long Slices() const { return m_slices; }
    bool HasEnded() const { return m_hasEnded; }
    /// It has not ended and its process is gone, as far as that can be known.
    bool IsAbandoned() const { return m_isAbandoned; }
    /// Those that the run had, as far as is known, and that are not stored.
    long long LostSlices() const { return m_lostSlices; }
    const std::vector<kzjournal::Note>& Notes() const { return m_notes; }
    /// The texts of what the run is to meet, as they were when it was read.
    const std::vector<std::string>& Conditions() const { return m_conditions; }

private:
    /// One of so many parts of all names, each of which a thread may draw at the same time.
    struct Share {
        unsigned number;
        unsigned of;
    };

    /// Opens another reader of the run.
    using Open = std::function<std::unique_ptr<RunReader>()>;

    RunHistory(const Open& open, const Ranges& ranges);
    RunHistory(RunReader& run, const Open& open, const Ranges& ranges);
    void ReadCourses(const Open& open, const kzjournal::TimeRange& range);
    void ReadCourse(RunReader& run, const std::string& name, Entry& entry,
                    const kzjournal::TimeRange& range) const;
    void ReadSlices(RunReader& run, const kzjournal::TimeRange& range);
    void ReadDistributions(RunReader& run, const kzjournal::TimeRange& range);
    void ReadLoad(RunReader& run, const kzjournal::TimeRange& range);
    kzjournal::TimeRange ReadForInterruptions() const;
    void ReadCosts(const RunOpener& runs, const std::string& name);
    void AddCost(const std::string& generator, const kzjournal::SliceCost& slice);
    bool IsUnderTheSameLoad(const News& news) const;
    /// Whether the slice that ends then is.
    bool IsDrawn(double elapsed) const;
    bool IsUnderLoad(double elapsed) const;
    void SetLoad(const kzjournal::LoadSpan& load);
    void Add(const kzjournal::Slice& slice);
    void DrawNames(const std::vector<kzjournal::Slice>& slices, const Share& share);
    static void AddDistribution(const Place& place, const kzjournal::Slice& sum,
                                std::size_t position, Entry& entry);
    Entry* Find(const CKZStatMessageRecord& record);
    void JoinColumnsFor(double elapsed);

    kzjournal::Run m_facts;
    const std::vector<kzjournal::Source> m_sources;
    const kzjournal::TimeRange m_drawn;
    Grid m_grid;
    std::map<std::string, Entry> m_names;
    Course m_load;
    Course m_processorShares;
    SaturationFinder m_saturation;
    InterruptionFinder m_interruptions;
    SliceRange m_figuresRange;
    LiveSummary m_figures;
    double m_seconds = 0;
    int m_lastSliceId = 0;
    double m_elapsed = 0;
    long long m_slices = 0;
    bool m_hasEnded = false;
    bool m_isAbandoned = false;
    long long m_lostSlices = 0;
    std::vector<kzjournal::Note> m_notes;
    const std::vector<std::string> m_conditions;
};

}  // namespace kzstatprogram

#endif
