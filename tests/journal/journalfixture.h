#ifndef KZ_TESTS_JOURNALFIXTURE_H
#define KZ_TESTS_JOURNALFIXTURE_H

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "journal/temporaryfolder.h"
#include "journal/textof.h"
#include "kzjournalreader.h"
#include "kzjournalwriter.h"
#include "support/slicemaker.h"

/// A run of the generator "load" with slices of one second, being written to a journal.
class JournalTest : public testing::Test {
protected:
    using Types = CKZStatPointTypeEnum;

    std::string Open() { return TextOf(writer.Open(path, run)); }
    /// What it tells, which is nothing where all is well; `state` is where the slice is.
    std::string AppendSlice(const MadeSlice& slice) {
        const kzjournal::AppendResult result = writer.Append(slice.View());
        state = result.state;
        return TextOf(result.problem);
    }
    std::string Append(const std::vector<Reported>& reported) {
        return AppendSlice(slices.NextSlice(reported));
    }
    /// One slice in which logins took as long as `times` say.
    std::string AppendLogins(const std::vector<double>& times) {
        return Append({{"login.time", Types::Timer, times}});
    }

    std::string Close() { return TextOf(writer.Close()); }

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

    /// The rows of a query as the database shows them: columns end with '|', "-" is NULL.
    std::string Rows(const std::string& sql) {
        sqlite3* database = nullptr;
        EXPECT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &database));
        std::string text;
        const auto keep = [](void* rows, int columns, char** values, char**) {
            for (int i = 0; i < columns; ++i)
                *static_cast<std::string*>(rows) +=
                    values[i] == nullptr ? "-|" : values[i] + std::string("|");
            *static_cast<std::string*>(rows) += "\n";
            return 0;
        };
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(database, sql.c_str(), keep, &text, nullptr))
            << sqlite3_errmsg(database);
        sqlite3_close(database);
        return text;
    }
    void Execute(const std::string& sql) { EXPECT_EQ("", Rows(sql)); }

    TemporaryFolder folder;
    std::string path = folder.Path("run.kzj");
    kzjournal::Run run = kzjournal::RunOfThisProcess("load", 1.7e9, 1);
    SliceMaker slices{"load", 1, 1.7e9};
    kzjournal::Writer writer;
    kzjournal::SliceState state{};  // of the slice that was appended last
};

#endif
