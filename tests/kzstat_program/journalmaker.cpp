// journalmaker PATH GENERATOR START_TIME SLICE_LENGTH [CONDITION...]: makes a journal with these
// conditions as standard input says, and answers each "slice" with its id once it is kept. Lines of
// fields with tabs between them:
//
//     value NAME TYPE NUMBER ...    reported in the slice that is ended next
//     slice                         ends a slice and keeps it
//     lose                          ends a slice that is not kept
//     measured SECONDS              what the slice that is ended next took the process
//     load BEGIN [END]              of which the journal learns with the next slice or at the end
//     distributions [NAME ...]      slices show the distributions of their values from now on,
//     those
//                                   of all names or of these
//     end                           ends the run
//
// Without an end the run is left as by a process that was killed.

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kzjournalwriter.h"
#include "ryp/testclock.h"
#include "support/slicemaker.h"

namespace {

std::vector<std::string> FieldsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> fields;
    for (std::string field; std::getline(stream, field, '\t');) fields.push_back(field);
    return fields;
}

Reported ValuesOf(const std::vector<std::string>& fields) {
    Reported reported{fields.at(1), CKZStatPointTypeEnum::NotSet, {}};
    CKZStatPointTypeEnum::GetEnumTypeFromString(fields.at(2).c_str(), reported.type);
    for (std::size_t i = 3; i < fields.size(); ++i)
        reported.values.push_back(std::strtod(fields[i].c_str(), nullptr));
    return reported;
}

kzjournal::LoadSpan LoadOf(const std::vector<std::string>& fields) {
    kzjournal::LoadSpan load{std::strtod(fields.at(1).c_str(), nullptr), {}};
    if (fields.size() > 2) load.end = std::strtod(fields[2].c_str(), nullptr);
    return load;
}

void FailIf(const std::optional<kzjournal::Error>& error) {
    if (!error) return;
    std::cerr << error->what() << '\n';
    _exit(1);
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 5) {
        std::cerr << "journalmaker PATH GENERATOR START_TIME SLICE_LENGTH [CONDITION...]\n";
        return 2;
    }
    const std::string generator = arguments[2];
    const double startTime = std::strtod(arguments[3], nullptr);
    const double sliceLength = std::strtod(arguments[4], nullptr);
    const RyPTestClock clock(startTime);  // stands still, so that a slow disk is waited for
    kzjournal::Writer journal;
    FailIf(journal.Open(arguments[1],
                        kzjournal::RunOfThisProcess(generator, startTime, sliceLength),
                        std::vector<std::string>(arguments + 5, arguments + count)));
    SliceMaker slices(generator, sliceLength, startTime);
    std::vector<Reported> reported;
    std::optional<CKZStatSliceCost> cost;
    std::optional<std::set<std::string>> namesWithDistributions;  // all if empty
    const auto isShown = [&](const CKZStatMessageRecord& record) {
        return namesWithDistributions &&
               (namesWithDistributions->empty() ||
                namesWithDistributions->count(std::string(record.name.view())) > 0);
    };
    for (std::string line; std::getline(std::cin, line);) {
        const std::vector<std::string> fields = FieldsOf(line);
        if (fields.at(0) == "value") reported.push_back(ValuesOf(fields));
        if (fields.at(0) == "slice") {
            MadeSlice slice = slices.NextSlice(reported);
            slice.facts.cost = std::exchange(cost, std::nullopt);
            std::vector<const CKZStatDistribution*> shown;
            for (const CKZStatDistribution& each : slice.distributions)
                shown.push_back(isShown(slice.records[shown.size()]) ? &each : nullptr);
            FailIf(journal.Append({slice.facts, slice.message, slice.records, shown}).problem);
            reported.clear();
            std::cout << slices.SliceId() << std::endl;
        }
        if (fields.at(0) == "lose") slices.NextSlice(std::exchange(reported, {}));
        if (fields.at(0) == "measured")
            cost.emplace().measured = std::strtod(fields.at(1).c_str(), nullptr);
        if (fields.at(0) == "load") journal.SetLoad(LoadOf(fields));
        if (fields.at(0) == "distributions")
            namesWithDistributions.emplace(fields.begin() + 1, fields.end());
        if (fields.at(0) == "end") FailIf(journal.Close());
    }
    _exit(0);
}
