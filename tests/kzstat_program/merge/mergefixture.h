#ifndef KZ_TESTS_MERGEFIXTURE_H
#define KZ_TESTS_MERGEFIXTURE_H

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "journal/temporaryfolder.h"
#include "kzjournalbulkwriter.h"
#include "kzjournalreader.h"
#include "merge/mergefile.h"
#include "reading/namedruns.h"
#include "support/slicemaker.h"

/// Journals of runs in a folder of the test's own, and what became of them when they were merged.
class MergeTest : public testing::Test {
protected:
    using Types = CKZStatPointTypeEnum;
    using Slices = std::vector<std::vector<Reported>>;

    /// The path of a new run that begins then, with a slice per element.
    std::string MakeRun(double startTime, const Slices& slices, const std::string& name = "") {
        SliceMaker maker("load", sliceLength, startTime);
        std::vector<MadeSlice> made;
        for (const auto& reported : slices) made.push_back(maker.NextSlice(reported));
        return Keep(startTime, made, name);
    }
    /// The same, in which logins took as long as it says.
    std::string MakeLogins(double startTime, const std::vector<std::vector<double>>& times) {
        Slices slices;
        for (const auto& each : times) slices.push_back({{"login.time", Types::Timer, each}});
        return MakeRun(startTime, slices);
    }
    std::string Keep(double startTime, const std::vector<MadeSlice>& slices,
                     const std::string& name = "") {
        const std::string path = folder.Path(name.empty() ? std::to_string(++runs) + ".kzj" : name);
        kzjournal::BulkWriter writer(path,
                                     kzjournal::RunOfThisProcess("load", startTime, sliceLength));
        for (const MadeSlice& slice : slices) writer.Append(slice.View());
        writer.Close(startTime + sliceLength * static_cast<double>(slices.size()), 0);
        return path;
    }

    /// The path of the merged run.
    std::string Merge(const std::vector<std::string>& paths, const std::string& name = "") {
        const std::string path =
            folder.Path(name.empty() ? "merged" + std::to_string(++runs) + ".kzj" : name);
        kzstatprogram::MergeInto(path, opener, kzstatprogram::MergeInputsOf(opener, paths),
                                 [](const kzstatprogram::MergedSlice&) {});
        return path;
    }
    /// What a merge that fails says of it.
    std::string ComplaintOf(const std::vector<std::string>& paths, const std::string& name = "") {
        try {
            Merge(paths, name);
            return "";
        } catch (const std::exception& error) {
            return error.what();
        }
    }

    /// A run whose slices show the distributions of their names.
    std::string MakeDistributedRun(double startTime, const Slices& slices) {
        SliceMaker maker("load", sliceLength, startTime);
        const std::string path = folder.Path(std::to_string(++runs) + ".kzj");
        kzjournal::BulkWriter writer(path,
                                     kzjournal::RunOfThisProcess("load", startTime, sliceLength));
        for (const auto& reported : slices) {
            const MadeSlice slice = maker.NextSlice(reported);
            std::vector<const CKZStatDistribution*> shown;
            for (const CKZStatDistribution& each : slice.distributions) shown.push_back(&each);
            writer.Append({slice.facts, slice.message, slice.records, shown});
        }
        writer.Close(startTime + sliceLength * static_cast<double>(slices.size()), 0);
        return path;
    }
    /// The distribution of the name over the whole run; none where it is not complete.
    static std::optional<CKZStatDistribution> DistributionOf(const std::string& path,
                                                             const std::string& name) {
        for (const kzjournal::NameSummary& each :
             kzjournal::Reader(path).SummaryWithDistributions())
            if (each.record.name == name.c_str()) return each.distribution;
        return std::nullopt;
    }

    static std::string IdOf(const std::string& path) { return kzjournal::Reader(path).Facts().id; }

    static std::vector<kzjournal::Slice> SlicesOf(const std::string& path, int source = 0) {
        std::vector<kzjournal::Slice> slices;
        kzjournal::Reader(path, source).ForEachSlice({}, [&](const kzjournal::Slice& slice) {
            slices.push_back(slice);
        });
        return slices;
    }

    const kzstatprogram::NamedRuns opener;
    double sliceLength = 1;
    TemporaryFolder folder;
    int runs = 0;
};

#endif
