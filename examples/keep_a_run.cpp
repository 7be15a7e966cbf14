// A host that keeps its run in a journal: three lines do it, marked below.

#include <kzjournalreader.h>
#include <kzjournalwriter.h>
#include <kzstatisticsgenerator.h>
#include <ryp/clock.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

constexpr double kSliceSeconds = 0.5;

/// Tells what went wrong, where anything did. The load goes on.
void Tell(const std::string& complaint) {
    if (!complaint.empty()) std::fprintf(stderr, "%s\n", complaint.c_str());
}

class Host : public CKZStatGenMain {
public:
    explicit Host(const std::string& path) : CKZStatGenMain("my-load") {
        const double now = RyPSysTime();
        Tell(
            m_journal.Open(path, kzjournal::RunOfThisProcess("my-load", now, kSliceSeconds)));  // 1
        Start(now, kSliceSeconds);
    }
    ~Host() override { Tell(m_journal.Close()); }  // 3

    void SendClientDictionary(CKZStatGenMeasurementDictionary*, int, double) override {}
    void SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double) override {}
    void SendSliceValues(const CKZStatSliceValues& slice) override {
        Tell(m_journal.Append(slice));  // 2
    }
    int SendDictionaryString(RWCString&, double, const char*) override { return 1; }

private:
    kzjournal::Writer m_journal;
};

/// One slice of load. This host runs no loops: it packs its only slice itself.
void LoadForOneSlice(Host& host) {
    CKZStatGenClient client(&host, 1);
    for (const double time : {10, 30, 50})
        client.AddLast("login.time", time, CKZStatPointTypeEnum::Timer);
    RyPSleep(client.GetCurrentEndTime() - RyPSysTime());
    client.GetNewDictionary();
    host.SendSlice(host.WaitForSlice());
}

}  // namespace

int main() {
    const std::string name = "keep_a_run-" + std::to_string(getpid()) + ".kzj";
    const std::string path = (std::filesystem::temp_directory_path() / name).string();
    std::filesystem::remove(path);
    {
        Host host(path);
        LoadForOneSlice(host);
    }
    kzjournal::Reader journal(path);
    for (const CKZStatMessageRecord& record : journal.Summary())
        std::printf("%s: %g values, mean %g\n", record.name.data(), record.totals.count,
                    record.totals.Average());
    std::filesystem::remove(path);
    return 0;
}
