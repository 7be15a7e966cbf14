// Messages and distributions of closed chunks lie in blocks, which anybody may have made.

#include <gmock/gmock.h>
#include <zstd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <utility>

#include "journal/journalfixture.h"
#include "kzjournalbulkwriter.h"

namespace {

constexpr int kSlicesOfAChunk = 240;
constexpr std::size_t kMaxMessageBytes = std::size_t{64} << 20;

std::string Hexadecimal(const std::string& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += {kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return text;
}

std::string Frame(const std::string& content, bool hasSize = true) {
    ZSTD_CCtx* const context = ZSTD_createCCtx();
    ZSTD_CCtx_setParameter(context, ZSTD_c_contentSizeFlag, hasSize ? 1 : 0);
    std::string frame(ZSTD_compressBound(content.size()), '\0');
    frame.resize(
        ZSTD_compress2(context, frame.data(), frame.size(), content.data(), content.size()));
    ZSTD_freeCCtx(context);
    return frame;
}

std::string RandomBytes(std::size_t count) {
    std::mt19937_64 random(1);
    std::string bytes;
    bytes.reserve(count);
    while (bytes.size() < count) {
        const std::uint64_t eight = random();
        bytes.append(reinterpret_cast<const char*>(&eight),
                     std::min(sizeof eight, count - bytes.size()));
    }
    return bytes;
}

class Blocks : public JournalTest {
protected:
    MadeSlice NextSlice() {
        const int i = slices.SliceId();
        return slices.NextSlice(
            {{"login.time", Types::Timer, {1.0 * i, 2.0 * i}}, {"logins", Types::Counter, {1}}});
    }
    void AppendShown(const MadeSlice& slice) {
        const std::vector<const CKZStatDistribution*> shown = {&slice.distributions[0], nullptr};
        const CKZStatSliceValues view(slice.facts, slice.message, slice.records, shown);
        ASSERT_EQ("", TextOf(writer.Append(view).problem));
    }
    static void ExpectSame(const MadeSlice& expected, const kzjournal::Slice& slice) {
        EXPECT_EQ(expected.facts.sliceId, slice.id);
        EXPECT_EQ(expected.Text(), slice.message);
        for (std::size_t i = 0; i < slice.records.size(); ++i) {
            CKZStatDistribution distribution;
            const bool isLogin = slice.records[i].name == "login.time";
            EXPECT_EQ(isLogin, slice.ReadDistribution(i, distribution));
            EXPECT_EQ(isLogin ? expected.distributions[0] : CKZStatDistribution(), distribution);
        }
    }
    std::string CountIn(const std::string& table) { return Rows("SELECT count(*) FROM " + table); }
};

TEST_F(Blocks, HaveWhatWasAppended) {
    Open();
    std::vector<MadeSlice> expected;
    for (int i = 0; i < kSlicesOfAChunk + 60; ++i) AppendShown(expected.emplace_back(NextSlice()));
    // The last slices are in no chunk yet.
    for (const bool isClosed : {false, true}) {
        EXPECT_EQ("", isClosed ? Close() : "");
        EXPECT_EQ(isClosed ? "2|\n" : "1|\n", CountIn("message_blocks"));
        std::size_t at = 0;
        kzjournal::Reader(path).ForEachSlice(
            {}, [&](const kzjournal::Slice& slice) { ExpectSame(expected[at++], slice); });
        EXPECT_EQ(expected.size(), at);
    }
    EXPECT_EQ("0|\n", CountIn("recent_messages"));
    EXPECT_EQ("0|\n", CountIn("recent_records"));
}

TEST_F(Blocks, AreVerifiedWithTheirOwnChunk) {
    Open();
    for (int i = 0; i < kSlicesOfAChunk + 1; ++i) AppendShown(NextSlice());
    EXPECT_EQ("", Close());
    kzjournal::Reader reader(path);
    EXPECT_EQ(kSlicesOfAChunk + 1, reader.LastSlice()->id);
    // No chunk has it, so that the slices of all are verified.
    reader.ForEachPoint("nothing", {}, [](const kzjournal::SeriesPoint&) { ADD_FAILURE(); });
}

TEST_F(Blocks, GiveOneSliceAlone) {
    Open();
    std::vector<MadeSlice> expected;
    for (int i = 0; i < 20; ++i) AppendShown(expected.emplace_back(NextSlice()));
    EXPECT_EQ("", Close());
    kzjournal::Reader reader(path);
    for (const int id : {20, 1, 11, 12, 3})
        ExpectSame(expected[static_cast<std::size_t>(id) - 1],
                   reader.LastSlice({0, 1.0 * id}).value());
}

TEST_F(Blocks, AreReadWhileChunksMove) {
    Open();
    kzjournal::Reader early(path);
    for (int i = 0; i < 3 * kSlicesOfAChunk; ++i) {
        AppendShown(NextSlice());
        const bool looks = i % 50 == 7;
        EXPECT_EQ(i + 1, looks ? early.LastSlice()->id : i + 1);
    }
    int read = 0;
    early.ForEachSlice({}, [&](const kzjournal::Slice& slice) {
        ++read;
        EXPECT_EQ("", read == 10 ? Close() : "");
        EXPECT_EQ(read, slice.id);
    });
    EXPECT_EQ(3 * kSlicesOfAChunk, read);
}

TEST_F(Blocks, OfAKindTakeLittleRoom) {
    Open();
    for (int i = 0; i < kSlicesOfAChunk; ++i)
        AppendShown(slices.NextSlice(
            {{"login.time", Types::Timer, {}}, {std::string(20000, 'n'), Types::Counter, {}}}));
    EXPECT_EQ("", Close());
    EXPECT_EQ("1|\n", Rows("SELECT sum(length(block)) < 100000 FROM message_blocks"));
}

/// The longest messages that are taken, between short ones.
TEST_F(Blocks, HaveTheLongestMessages) {
    kzjournal::BulkWriter bulk(path, run);
    std::vector<std::string> expected;
    for (const std::string& text : {std::string("short"), RandomBytes(kMaxMessageBytes),
                                    std::string(kMaxMessageBytes, 'x'), std::string("short")}) {
        MadeSlice slice = slices.NextSlice({});
        slice.message = RWCString(text.data(), text.size());
        expected.push_back(text);
        bulk.Append(slice.View());
    }
    bulk.Close(1.7e9 + 4, 0);
    EXPECT_EQ("4|\n", CountIn("message_blocks"));
    std::vector<std::string> read;
    kzjournal::Reader(path).ForEachSlice(
        {}, [&](const kzjournal::Slice& slice) { read.push_back(slice.message); });
    EXPECT_TRUE(read == expected);
}

class DamagedBlocks : public Blocks {
protected:
    void SetUp() override {
        Open();
        for (int i = 0; i < 3; ++i) AppendShown(NextSlice());
        ASSERT_EQ("", Close());
    }
    void ExpectRefused(const std::string& change) {
        const std::string whole = std::exchange(path, folder.Path("copy.kzj"));
        std::filesystem::copy_file(whole, path, std::filesystem::copy_options::overwrite_existing);
        Execute(change);
        try {
            SliceIds();
            ADD_FAILURE() << "not noticed: " << change;
        } catch (const kzjournal::Error& error) {
            // Of the first slice that cannot be read.
            EXPECT_THAT(error.what(),
                        testing::MatchesRegex("cannot read .*: slice [12] is damaged"));
        }
        path = whole;
    }
    void ExpectRefusedIn(const std::string& table, const std::string& block) {
        ExpectRefused("UPDATE " + table + " SET block = x'" + Hexadecimal(block) + "'");
    }
};

TEST_F(DamagedBlocks, AreRefused) {
    for (const std::string table : {"message_blocks", "distribution_blocks"}) {
        SCOPED_TRACE(table);
        ExpectRefused("DELETE FROM " + table);
        ExpectRefused("UPDATE " + table + " SET run_number = 1");
        ExpectRefused("UPDATE " + table + " SET chunk = 2");
        ExpectRefused("UPDATE " + table + " SET block = x''");
        ExpectRefused("UPDATE " + table + " SET block = 7");
        ExpectRefused("UPDATE " + table + " SET block = x'02' || substr(block, 2)");
        ExpectRefused("UPDATE " + table + " SET block = substr(block, 1, length(block) - 1)");
        ExpectRefused("UPDATE " + table + " SET block = block || x'00'");
        ExpectRefused("UPDATE " + table + " SET block = x'00' || block");
        ExpectRefused("UPDATE " + table + " SET block = zeroblob(67000000)");
        ExpectRefused("UPDATE " + table + " SET block = zeroblob(70000000)");
    }
}

TEST_F(DamagedBlocks, ThatClaimTooMuchAreRefused) {
    const std::string marks("\1\3abc", 5);
    for (const std::string table : {"message_blocks", "distribution_blocks"}) {
        SCOPED_TRACE(table);
        ExpectRefusedIn(table, "\1" + Frame(marks, false));
        ExpectRefusedIn(table, "\1" + Frame(marks) + Frame(marks));
        ExpectRefusedIn(table, "\1" + Frame(std::string(kMaxMessageBytes, '\0')));
        ExpectRefusedIn(table, "\1" + Frame(std::string(2 * kMaxMessageBytes, '\0')));
        // Lengths and ids beyond what is there.
        ExpectRefusedIn(table, std::string("\0\1\xff\xff\xff\xff\xff\xff\xff\xff\x7f", 11));
        ExpectRefusedIn(table, std::string("\0\1\1\xff\xff\xff\xff\xff\xff\xff\xff\x7f", 12));
        ExpectRefusedIn(table, std::string("\0\xff\xff\xff\xff\xff\xff\xff\xff\x7f\1\0", 12));
        ExpectRefusedIn(table, std::string("\0\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\1", 12));
        ExpectRefusedIn(table, std::string("\0\1\0", 3));
        ExpectRefusedIn(table, std::string("\0\0\0\0\0", 5));
    }
}

TEST_F(DamagedBlocks, WithEntriesTwiceAreRefused) {
    ExpectRefusedIn("message_blocks", std::string("\0\1\1a\0\1b", 7));
    ExpectRefusedIn("distribution_blocks", std::string("\0\1\1\0\0\0\0", 7));
    ExpectRefused("UPDATE message_blocks SET first_slice_id = 2");
}

}  // namespace
