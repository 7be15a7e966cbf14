// What a journal costs: the hook of a slice, with the disk's own flush beside it, and reading the
// run of a day.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "kzjournalbulkwriter.h"
#include "kzjournalreader.h"
#include "kzjournalwriter.h"
#include "ryp/clock.h"
#include "support/slicemaker.h"

namespace {

using Types = CKZStatPointTypeEnum;

constexpr int kNamesPerSlice = 100;
constexpr int kSlicesOfADay = 86400;
constexpr int kNamesOfADay = 50;

/// In the folder of JOURNALBENCH_FOLDER, so that any disk can be measured, or in the present
/// one. Gone with its companions when this is destroyed.
class BenchmarkFile {
public:
    explicit BenchmarkFile(const char* name) {
        const char* const folder = std::getenv("JOURNALBENCH_FOLDER");
        m_path = std::string(folder == nullptr ? "." : folder) + "/" + name;
        Remove();
    }
    ~BenchmarkFile() { Remove(); }
    BenchmarkFile(const BenchmarkFile&) = delete;
    BenchmarkFile& operator=(const BenchmarkFile&) = delete;

    const std::string& Path() const { return m_path; }

private:
    void Remove() {
        for (const char* const end : {"", "-wal", "-shm"}) std::filesystem::remove(m_path + end);
    }

    std::string m_path;
};

std::vector<Reported> ReportedBy(int names, int slice) {
    std::vector<Reported> reported;
    for (int name = 0; name < names; ++name) {
        std::vector<double> values;
        for (int i = 0; i < 5; ++i)
            values.push_back(10 + (slice * 31 + name * 7 + i * 13) % 97 / 9.0);
        reported.push_back({"transaction." + std::to_string(name), Types::Timer, values});
    }
    return reported;
}

kzjournal::Run RunOfTheBenchmark() {
    return kzjournal::RunOfThisProcess("load", 1.7e9, 1);
}

void ThrowIf(const std::optional<kzjournal::Error>& error) {
    if (error) throw *error;
}

double SecondsOf(const std::function<void()>& operation) {
    const long long begin = RyPMonotonicNanoseconds();
    operation();
    return static_cast<double>(RyPMonotonicNanoseconds() - begin) / 1e9;
}

/// Shows what one call costs. The time that the benchmark itself shows is the mean.
void ReportPercentiles(benchmark::State& state, std::vector<double> seconds) {
    std::sort(seconds.begin(), seconds.end());
    const auto percentile = [&](std::size_t percent) {
        return 1e3 * seconds[(seconds.size() - 1) * percent / 100];
    };
    state.counters["median_ms"] = percentile(50);
    state.counters["p99_ms"] = percentile(99);
    state.counters["max_ms"] = percentile(100);
}

/// The times that the names of a slice took: around 100 ms, with a long tail.
std::vector<CKZStatDistribution> DistributionsOf(int names, int values, std::mt19937& random) {
    std::lognormal_distribution<double> times(4.6, 0.5);
    std::vector<CKZStatDistribution> distributions(static_cast<std::size_t>(names));
    for (CKZStatDistribution& each : distributions)
        for (int i = 0; i < values; ++i) each.Add(times(random));
    return distributions;
}

/// The hook of a slice of 100 names, from call to return. The argument is how many values each
/// distribution has; none are shown for 0.
void BM_Writer_Append(benchmark::State& state) {
    const BenchmarkFile file("journalbench.kzj");
    kzjournal::Writer writer;
    ThrowIf(writer.Open(file.Path(), RunOfTheBenchmark()));
    SliceMaker slices;
    std::mt19937 random(1);
    const int values = static_cast<int>(state.range(0));
    std::vector<double> seconds;
    for (auto _ : state) {
        const MadeSlice slice = slices.NextSlice(ReportedBy(kNamesPerSlice, slices.SliceId()));
        const auto distributions = DistributionsOf(kNamesPerSlice, values, random);
        std::vector<const CKZStatDistribution*> shown;
        for (const CKZStatDistribution& each : distributions)
            shown.push_back(values > 0 ? &each : nullptr);
        seconds.push_back(SecondsOf([&] {
            const CKZStatSliceValues view(slice.facts, slice.message, slice.records, shown);
            ThrowIf(writer.Append(view).problem);
        }));
        state.SetIterationTime(seconds.back());
    }
    ThrowIf(writer.Close());
    state.counters["bytes_per_slice"] =
        static_cast<double>(std::filesystem::file_size(file.Path())) /
        static_cast<double>(seconds.size());
    ReportPercentiles(state, seconds);
}
BENCHMARK(BM_Writer_Append)
    ->Arg(0)
    ->Arg(100)
    ->Arg(1000)
    ->UseManualTime()
    ->Iterations(1000)
    ->Unit(benchmark::kMillisecond);

/// What the disk alone takes to keep as many bytes as a slice of 100 names has.
void BM_Disk_WriteAndFlush(benchmark::State& state) {
    const BenchmarkFile file("journalbench.disk");
    const int disk = open(file.Path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string bytes(std::size_t{32} << 10, 'x');
    std::vector<double> seconds;
    for (auto _ : state) {
        seconds.push_back(SecondsOf([&] {
            if (write(disk, bytes.data(), bytes.size()) < 0 || fdatasync(disk) != 0)
                throw std::runtime_error("cannot write");
        }));
        state.SetIterationTime(seconds.back());
    }
    close(disk);
    ReportPercentiles(state, seconds);
}
BENCHMARK(BM_Disk_WriteAndFlush)->UseManualTime()->Iterations(1000)->Unit(benchmark::kMillisecond);

/// The run of a day in slices of a second, made once.
const std::string& RunOfADay() {
    static const BenchmarkFile file("journalbench-day.kzj");
    static const bool isMade = [] {
        kzjournal::BulkWriter writer(file.Path(), RunOfTheBenchmark());
        SliceMaker slices;
        for (int slice = 0; slice < kSlicesOfADay; ++slice)
            writer.Append(slices.NextSlice(ReportedBy(kNamesOfADay, slice)).View());
        writer.Close(1.7e9 + kSlicesOfADay, 0);
        return true;
    }();
    static_cast<void>(isMade);
    return file.Path();
}

/// Items are records.
void BM_Reader_ForEachSlice(benchmark::State& state) {
    kzjournal::Reader reader(RunOfADay());
    std::size_t records = 0;
    for (auto _ : state)
        reader.ForEachSlice({36000, 36000 + 10000}, [&](const kzjournal::Slice& slice) {
            records += slice.records.size();
        });
    state.SetItemsProcessed(static_cast<int64_t>(records));
}
BENCHMARK(BM_Reader_ForEachSlice)->Unit(benchmark::kMillisecond);

void BM_Reader_ForEachPoint(benchmark::State& state) {
    kzjournal::Reader reader(RunOfADay());
    int64_t points = 0;
    for (auto _ : state)
        reader.ForEachPoint("transaction.7", {}, [&](const kzjournal::SeriesPoint&) { ++points; });
    state.SetItemsProcessed(points);
}
BENCHMARK(BM_Reader_ForEachPoint)->Unit(benchmark::kMillisecond);

void BM_Reader_LastSlice(benchmark::State& state) {
    kzjournal::Reader reader(RunOfADay());
    for (auto _ : state) benchmark::DoNotOptimize(reader.LastSlice());
}
BENCHMARK(BM_Reader_LastSlice)->Unit(benchmark::kMillisecond);

/// Of the second half: what is not in the last slice.
void BM_Reader_Summary(benchmark::State& state) {
    kzjournal::Reader reader(RunOfADay());
    for (auto _ : state) benchmark::DoNotOptimize(reader.Summary({kSlicesOfADay / 2.0}));
}
BENCHMARK(BM_Reader_Summary)->Unit(benchmark::kMillisecond);

/// The program as a user calls it, on the run of a day.
void BM_Kzstat(benchmark::State& state, const char* arguments) {
    const std::string command =
        std::string(KZSTAT) + " " + arguments + " " + RunOfADay() + " >/dev/null";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
    state.counters["file_MB"] = static_cast<double>(std::filesystem::file_size(RunOfADay())) / 1e6;
}
BENCHMARK_CAPTURE(BM_Kzstat, show, "show")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Kzstat, show_second_half, "show --from 12h")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Kzstat, report, "report -o -")->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
