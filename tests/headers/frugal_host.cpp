// A host that uses what a header only promises until it is used: templates, macros, virtual
// operations. It is only compiled, also without exceptions and without run-time type information.

#include <kzstatgenmeasurementdictionary.h>
#include <kzstatisticsgenerator.h>
#include <kzstatmessage.h>
#include <kzstatpointbuilder.h>
#include <kzstatrun.h>
#include <kzstatstopwatch.h>
#include <rw/collint.h>
#include <ryp/collectablestring.h>
#include <ryp/log.h>
#include <ryp/testclock.h>
#include <ryp/truncate.h>

#include <memory>

namespace {

class Generator : public CKZStatGenMain {
public:
    Generator() : CKZStatGenMain("frugal") {}
    void SendClientDictionary(CKZStatGenMeasurementDictionary*, int, double) override {}
    void SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double,
                             double elapsed) override {
        RYP_LOG(RyPLogLevel::Execution, "host", "slice at ", elapsed, merged->GetCount("login"));
        RYP_TRACE("host", "slice of %d names", merged->entries());
    }
};

class Key : public RWCollectableInt {
public:
    using RWCollectableInt::RWCollectableInt;
    unsigned hash() const override { return 7; }
};

}  // namespace

int RunFrugalHost() {
    RyPTestClock clock(0);
    Generator generator;
    CKZStatGenClient client(&generator, 1);
    RWTRecursiveLock<RWMutexLock> lock;
    const RWTRecursiveLock<RWMutexLock>::LockGuard guard(lock);
    const RyPManualEvent::SetGuard* const none = nullptr;
    const std::unique_ptr<CKZStatPoint> point(
        CKZStatPointBuilder::BuildPoint(CKZStatPointTypeEnum::Timer));
    const CKZStatPointCounter counter(*point);
    const Key key(none == nullptr ? 1 : 2);
    return RyPTruncate<int>(counter.GetCount()) + key.value();
}

bool RunFrugalRun() {
    CKZStatRun run("frugal", 1.0);
    run.OnSlice([](const CKZStatSliceValues& slice) {
        RYP_LOG(RyPLogLevel::Execution, "host", "slice ", slice.GetSliceId());
    });
    run.OncePerSlice(
        [](CKZStatRunClient& own) { own.AddLast("level", 1, CKZStatPointTypeEnum::LoadSize); });
    const CKZStatRunClient client = run.NewClient(1);
    CKZStatStopwatch(client, "login").Fail("refused");
    return run.GetLoadBegin().has_value() && run.Finish().IsClean();
}
