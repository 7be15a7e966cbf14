#ifndef KZ_TESTS_JOURNALFIXTURE_H
#define KZ_TESTS_JOURNALFIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "journal/temporaryfolder.h"
#include "kzjournalreader.h"
#include "kzjournalwriter.h"
#include "support/slicemaker.h"

/// A run of the generator "load" with slices of one second, being written to a journal.
class JournalTest : public testing::Test {
protected:
    using Types = CKZStatPointTypeEnum;

    std::string Open() { return writer.Open(path, run); }
    std::string Append(const std::vector<Reported>& reported) {
        return writer.Append(slices.NextSlice(reported).View());
    }
    /// One slice in which logins took as long as `times` say.
    std::string AppendLogins(const std::vector<double>& times) {
        return Append({{"login.time", Types::Timer, times}});
    }

    /// What a new reader says of the name over the range.
    CKZStatMessageRecord Summary(const std::string& name, const kzjournal::TimeRange& range = {}) {
        for (const CKZStatMessageRecord& record : kzjournal::Reader(path).Summary(range))
            if (record.name == name.c_str()) return record;
        ADD_FAILURE() << "no " << name;
        return {};
    }

    std::vector<int> SliceIds(const kzjournal::TimeRange& range = {}) {
        std::vector<int> ids;
        kzjournal::Reader(path).ForEachSlice(
            range, [&](const kzjournal::Slice& slice) { ids.push_back(slice.id); });
        return ids;
    }

    TemporaryFolder folder;
    std::string path = folder.Path("run.kzj");
    kzjournal::Run run = kzjournal::RunOfThisProcess("load", 1.7e9, 1);
    SliceMaker slices{"load", 1, 1.7e9};
    kzjournal::Writer writer;
};

#endif
