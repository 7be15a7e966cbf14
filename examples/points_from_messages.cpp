// From message text to points: two generators each send the message of one slice; their records
// become points, the points of one name are merged, and each prints its current value.

#include <kzstatisticsgenerator.h>
#include <kzstatmessage.h>
#include <kzstatpointbuilder.h>
#include <ryp/clock.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

using Types = CKZStatPointTypeEnum;

constexpr double kSliceSeconds = 0.05;

/// Keeps the text of the last message. Owned by the thread that made it: it runs no loops.
class Sender : public CKZStatGenMain {
public:
    explicit Sender(const char* name) : CKZStatGenMain(name) {}
    void SendClientDictionary(CKZStatGenMeasurementDictionary*, int, double) override {}
    void SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double) override {}
    int SendDictionaryString(RWCString& text, double, const char*) override {
        lastText = text;
        return 1;
    }
    RWCString lastText;
};

/// The message of one slice in which one client logged in that often and took that long.
RWCString MessageOfOneSlice(const char* generatorName, const std::vector<double>& loginTimes) {
    Sender sender(generatorName);
    sender.Start(RyPSysTime(), kSliceSeconds);
    {
        CKZStatGenClient client(&sender, 1);
        for (const double time : loginTimes) {
            client.AddLast("login.time", time, Types::Timer);
            client.AddLast("logins", 1, Types::Counter);
        }
        client.AddLast("clients", static_cast<double>(loginTimes.size()), Types::LoadSize);
        RyPSleep(client.GetCurrentEndTime() - RyPSysTime());
        client.GetNewDictionary();
        sender.SendSlice(sender.WaitForSlice());
    }
    return sender.lastText;
}

bool Read(const RWCString& text, CKZStatMessage& message) {
    std::size_t fault = 0;
    if (message.Read(text, CKZStatMessage::FullRecords, fault)) return true;
    std::fprintf(stderr, "the message is damaged at byte %zu\n", fault);
    return false;
}

std::unique_ptr<CKZStatPoint> PointOf(const CKZStatMessage& message,
                                      const CKZStatMessageRecord& record) {
    return std::unique_ptr<CKZStatPoint>(
        CKZStatPointBuilder::BuildPoint(record.type, record.GetItem(message.GetElapsed())));
}

}  // namespace

int main() {
    CKZStatMessage first;
    CKZStatMessage second;
    if (!Read(MessageOfOneSlice("first", {10, 30}), first)) return 1;
    if (!Read(MessageOfOneSlice("second", {50, 70, 90}), second)) return 1;

    for (const CKZStatMessageRecord& record : first.GetRecords()) {
        const std::unique_ptr<CKZStatPoint> point = PointOf(first, record);
        const CKZStatMessageRecord* const other = second.FindRecord(record.name.data());
        if (point == nullptr || other == nullptr) return 1;
        *point + *PointOf(second, *other);
        std::printf("%s (%s): %g now, from %g to %g, %g values\n", record.name.data(),
                    Types::GetStringFromEnumType(record.type),
                    point->GetValueByType(StatCurrentValue), point->GetMin(), point->GetMax(),
                    point->GetCount());
    }
    return 0;
}
