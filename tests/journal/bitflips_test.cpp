// A bit that changed anywhere in a file is noticed, or changes nothing that is read. KZ_BIT_FLIPS
// is how many flips are tried, 400 by default.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <utility>

#include "journal/journalfixture.h"

namespace {

constexpr int kFlips = 400;
constexpr int kSlices = 300;  // more than what moves together

/// All numbers to the bit.
class Dump {
public:
    Dump& operator<<(const std::string& text) {
        m_text += std::to_string(text.size()) + ":" + text + "\n";
        return *this;
    }
    Dump& operator<<(double number) {
        char text[40];
        std::snprintf(text, sizeof text, "%a ", number);
        m_text += text;
        return *this;
    }
    Dump& operator<<(const CKZStatAggregate& aggregate) {
        return *this << aggregate.minimum << aggregate.maximum << aggregate.count << aggregate.sum
                     << aggregate.sumSqr;
    }
    Dump& operator<<(const CKZStatMessageRecord& record) {
        return *this << std::string(record.name.view()) << static_cast<double>(record.type)
                     << record.totals << record.lasts;
    }

    const std::string& Text() const { return m_text; }

private:
    std::string m_text;
};

class BitFlips : public JournalTest {
protected:
    void SetUp() override {
        ASSERT_FALSE(writer.Open(path, run, {"login.time p95 < 1s", "logins count > 3"}));
        for (int i = 0; i < kSlices; ++i) {
            MadeSlice slice = slices.NextSlice(
                {{"login.time", Types::Timer, {1.0 * i, 2}}, {"logins", Types::Counter, {1}}});
            slice.facts.cost = {1, 0.5, 4, 1.0 * i, 1e-4, 2e-3, 1e-3};
            if (i % 100 == 0) slice.facts.notes.push_back({1.0 * i, "note"});
            const std::vector<const CKZStatDistribution*> shown = {&slice.distributions[0],
                                                                   nullptr};
            const CKZStatSliceValues view(slice.facts, slice.message, slice.records, shown);
            ASSERT_EQ("", TextOf(writer.Append(view).problem));
        }
        ASSERT_EQ("", Close());
    }

    /// What the slices of each group add up to: damage may lead to other sums, which add up to the
    /// same.
    static void DumpSums(kzjournal::Reader& reader, Dump& dump) {
        const auto groupOf = [](double elapsed) { return std::llround(elapsed) / 130; };
        std::map<std::pair<long long, std::string>,
                 std::pair<CKZStatAggregate, CKZStatDistribution>>
            sums;
        reader.ForEachSum({}, groupOf, [&](const kzjournal::Slice& sum) {
            for (std::size_t i = 0; i < sum.records.size(); ++i) {
                const CKZStatMessageRecord& record = sum.records[i];
                auto& [lasts, values] =
                    sums[{groupOf(sum.elapsed), std::string(record.name.view())}];
                lasts.Add(record.lasts);
                CKZStatDistribution distribution;
                if (sum.ReadDistribution(i, distribution)) values.Add(distribution);
            }
        });
        for (const auto& [key, sum] : sums)
            dump << static_cast<double>(key.first) << key.second << sum.first
                 << static_cast<double>(sum.second.GetCount()) << sum.second.Quantile(0.5);
    }
    static std::string Read(const std::string& file) {
        kzjournal::Reader reader(file);
        Dump dump;
        const kzjournal::Run& facts = reader.Facts();
        dump << facts.id << facts.generator << facts.testName << facts.host << facts.commandLine
             << facts.startTime << facts.sliceLength << facts.loadBegin.value_or(-1)
             << facts.loadEnd.value_or(-1);
        const kzjournal::Completeness completeness = reader.GetCompleteness();
        dump << static_cast<double>(completeness.state) << static_cast<double>(completeness.slices)
             << static_cast<double>(completeness.expectedSlices);
        dump << static_cast<double>(reader.Sources().size());
        dump << static_cast<double>(reader.CountSlices({20, 70}));
        for (const auto& record : reader.Summary()) dump << record;
        for (const auto& record : reader.Summary({10, 290})) dump << record;
        for (const char* const name : {"login.time", "logins"})
            reader.ForEachPoint(name, {5, 280}, [&](const kzjournal::SeriesPoint& point) {
                dump << 1.0 * point.sliceId << point.elapsed << point.lasts;
            });
        reader.ForEachSliceAfter(0, [&](const kzjournal::Slice& slice) {
            dump << 1.0 * slice.id << slice.elapsed << slice.endTime << slice.message;
            for (const auto& record : slice.records) dump << record;
            dump << std::string(slice.distributions.FormOf(0))
                 << std::string(slice.distributions.FormOf(1));
            dump << slice.cost->measured << slice.cost->involuntarySwitches;
        });
        reader.ForEachCost({}, [&](const kzjournal::SliceCost& slice) {
            dump << 1.0 * slice.sliceId << slice.elapsed << slice.cost.processorTime
                 << slice.cost.involuntarySwitches << slice.cost.startLateness;
        });
        for (const kzjournal::Note& note : reader.Notes()) dump << note.time << note.text;
        for (const std::string& condition : reader.Conditions()) dump << condition;
        DumpSums(reader, dump);
        reader.CheckSums();
        dump << 1.0 * reader.LastSliceId() << reader.LastSlice({0, 100})->message;
        for (const kzjournal::Name& name : reader.Names())
            dump << name.name << static_cast<double>(name.type);
        for (const auto& each : reader.SummaryWithDistributions({10, 290}))
            dump << each.record << (each.distribution ? each.distribution->Quantile(0.9) : -1);
        return dump.Text();
    }
};

TEST_F(BitFlips, AreNoticedOrChangeNothingThatIsRead) {
    const char* const wish = std::getenv("KZ_BIT_FLIPS");
    const int flips = wish == nullptr ? kFlips : std::atoi(wish);
    const std::string expected = Read(path);
    std::ifstream file(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), {});
    const std::string flipped = folder.Path("flipped.kzj");
    std::mt19937_64 random(20261122);
    int noticed = 0;
    for (int i = 0; i < flips; ++i) {
        const std::size_t bit = random() % (bytes.size() * 8);
        const auto mask = static_cast<char>(1 << (bit % 8));
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ mask);
        std::ofstream(flipped, std::ios::binary) << bytes;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ mask);
        try {
            EXPECT_TRUE(Read(flipped) == expected) << "bit " << bit << " changed what is read";
        } catch (const kzjournal::Error&) {
            ++noticed;
        }
        for (const char* const end : {"-wal", "-shm"}) std::filesystem::remove(flipped + end);
    }
    RecordProperty("noticed", noticed);
    std::printf("%d of %d flips were noticed, the others changed nothing\n", noticed, flips);
    EXPECT_GT(noticed, 0);
}

}  // namespace
