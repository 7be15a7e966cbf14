// From messages to points: two runs each send the message of one slice; the messages are
// merged name by name, and each merged record becomes a point, which knows what its kind shows.

#include <kzstatmerge.h>
#include <kzstatmessage.h>
#include <kzstatpointbuilder.h>
#include <kzstatrun.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

using Types = CKZStatPointTypeEnum;

constexpr double kSliceSeconds = 0.5;

/// The message of one slice in which one client logged in that often and took that long. Tells what
/// went wrong, where anything did.
RWCString MessageOfOneSlice(const char* runName, const std::vector<double>& loginTimes) {
    RWCString text;  // before the run, whose listener writes it
    CKZStatRun run(runName, kSliceSeconds);
    run.OnSlice([&text](const CKZStatSliceValues& slice) {
        if (slice.GetSliceId() == 1) text = slice.GetMessage();
    });
    CKZStatRunClient client = run.NewClient(1);
    for (const double time : loginTimes) {
        client.AddLast("login.time", time, Types::Timer);
        client.AddLast("logins", 1, Types::Counter);
    }
    client.AddLast("clients", static_cast<double>(loginTimes.size()), Types::LoadSize);
    for (const RWCString& line : run.Finish().complaints) std::fprintf(stderr, "%s\n", line.data());
    return text;
}

/// Adds the records of the message. False where it is damaged.
bool AddMessage(const RWCString& text, CKZStatMerge& merge) {
    CKZStatMessage message;
    std::size_t fault = 0;
    if (!message.Read(text, CKZStatMessage::FullRecords, fault)) {
        std::fprintf(stderr, "the message is damaged at byte %zu\n", fault);
        return false;
    }
    merge.Add(message);
    return true;
}

void Print(const CKZStatMessageRecord& record) {
    const std::unique_ptr<CKZStatPoint> point(
        CKZStatPointBuilder::BuildPoint(record.type, record.GetItem(kSliceSeconds)));
    if (point == nullptr) return;
    std::printf("%s (%s): %g now, from %g to %g, %g values\n", record.name.data(),
                Types::GetStringFromEnumType(record.type), point->GetValueByType(StatCurrentValue),
                point->GetMin(), point->GetMax(), point->GetCount());
}

}  // namespace

int main() {
    CKZStatMerge merge;
    if (!AddMessage(MessageOfOneSlice("first", {10, 30}), merge)) return 1;
    if (!AddMessage(MessageOfOneSlice("second", {50, 70, 90}), merge)) return 1;

    for (const CKZStatMerge::Conflict& conflict : merge.GetConflicts())
        std::fprintf(stderr, "%s came with two types\n", conflict.name.data());
    for (const CKZStatMessageRecord& record : merge.GetRecords()) Print(record);
    return 0;
}
