// instructions OPERATION COUNT: does the operation so many times. Valgrind counts the instructions
// of two runs that differ in their counts, and what lies between them is the cost of the operation.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "kzstatdistribution.h"
#include "kzstatgenmeasurementdictionary.h"
#include "kzstatisticsgenerator.h"
#include "rw/cstring.h"
#include "ryp/testclock.h"
#include "support/silenthost.h"
#include "support/workload.h"

namespace {

constexpr double kEndlessSlice = 1e6;
constexpr int kRounds = 10;

/// One value by name, its share of the flushes included. On a clock that stands still, since what
/// the real one takes depends on how much time passes.
void AddValuesTo(SilentHost& host, int count) {
    const RyPTestClock clock(0);
    host.Start(0, kEndlessSlice);
    std::deque<CKZStatGenClient> clients;
    for (int id = 0; id < kFewClients; ++id) clients.emplace_back(&host, id);
    const std::vector<Report> reports = MakeReports(UsualNames(), 0, kFewClients, kRounds);
    for (int i = 0; i < count; ++i) {
        const Report& report = reports[static_cast<std::size_t>(i) % reports.size()];
        clients[static_cast<std::size_t>(report.client)].AddLast(report.name, report.value,
                                                                 CKZStatPointTypeEnum::Measurement);
    }
}

void AddValues(int count) {
    SilentHost host;
    AddValuesTo(host, count);
}

/// The same with the distribution of every name.
void AddCollectedValues(int count) {
    SilentHost host;
    host.CollectDistributions(CKZStatDistributionChoice::Usual());
    AddValuesTo(host, count);
}

void Fill(CKZStatGenMeasurementDictionary& dictionary) {
    for (const std::string& name : UsualNames())
        dictionary.AddLast(name.c_str(), 1234.5678, CKZStatPointTypeEnum::Measurement);
}

/// One pair of name and measurement, whose name the target knows.
void MergePairs(int count) {
    CKZStatGenMeasurementDictionary target;
    CKZStatGenMeasurementDictionary source;
    Fill(target);
    Fill(source);
    for (int pairs = 0; pairs < count; pairs += kUsualNames)
        target.AddValuesOfDict(&source, AddForDump);
}

/// One value into a distribution, whose powers of two had values before.
void AddToDistribution(int count) {
    CKZStatDistribution distribution;
    for (int i = 0; i < count; ++i) distribution.Add(100 + i % 64);
}

/// One record of the text.
void DumpRecords(int count) {
    CKZStatGenMeasurementDictionary dictionary;
    Fill(dictionary);
    RWCString text;
    for (int records = 0; records < count; records += kUsualNames) dictionary.DumpDict(text);
}

struct Operation {
    const char* name;
    void (*run)(int count);
};

constexpr Operation kOperations[] = {{"AddLast", AddValues},
                                     {"AddLast with distributions", AddCollectedValues},
                                     {"Distribution::Add", AddToDistribution},
                                     {"merged pair", MergePairs},
                                     {"dumped record", DumpRecords}};

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3)
        for (const Operation& operation : kOperations)
            if (std::strcmp(argv[1], operation.name) == 0) {
                operation.run(std::atoi(argv[2]));
                return 0;
            }
    std::fputs(
        "usage: instructions "
        "'AddLast'|'AddLast with distributions'|'Distribution::Add'|'merged pair'|'dumped record' "
        "COUNT\n",
        stderr);
    return 2;
}
