#include "conditions/saturation.h"

#include <gmock/gmock.h>

#include <cmath>
#include <vector>

#include "conditions/generatorcosts.h"

namespace {

using kzconditions::ProcessorShare;
using kzconditions::WhySaturated;
using testing::HasSubstr;

struct Sign {
    double CKZStatSliceCost::*number;
    double notYet;
    double saturated;
    const char* reason;
};

TEST(Saturation, OfASliceHasSeveralSigns) {
    const std::vector<Sign> signs = {
        {&CKZStatSliceCost::processorTime, 3.19, 3.2, "it used 80 % of the processors"},
        {&CKZStatSliceCost::busiestThread, 0.94, 0.95, "one of its threads used 95 %"},
        {&CKZStatSliceCost::longestWait, 0.19, 0.2, "waited for a processor for 20 % of the time"},
        {&CKZStatSliceCost::startLateness, 0.049, 0.05, "what it had scheduled began 0.050 s late"},
        {&CKZStatSliceCost::timerLateness, 0.049, 0.05, "its timer woke 0.050 s late"},
        {&CKZStatSliceCost::packTime, 1, 1.5, "packing and storing a slice took 1.50 s"},
        {&CKZStatSliceCost::listenerTime, 1, 1.5, "packing and storing a slice took 1.50 s"}};
    for (const Sign& sign : signs) {
        SCOPED_TRACE(sign.reason);
        CKZStatSliceCost cost = IdleCost();
        cost.*sign.number = sign.notYet;
        EXPECT_EQ("", WhySaturated(cost, 1));
        cost.*sign.number = sign.saturated;
        EXPECT_THAT(WhySaturated(cost, 1), HasSubstr(sign.reason));
        cost.measured = 0.49;
        EXPECT_EQ("", WhySaturated(cost, 1));
    }
}

TEST(Saturation, IsNotToldByWhatIsUnknown) {
    EXPECT_EQ("", WhySaturated(CKZStatSliceCost(), 1));
    EXPECT_FALSE(ProcessorShare(CKZStatSliceCost(), 1));
    CKZStatSliceCost cost = BusyCost();
    cost.processors = std::nan("");
    EXPECT_EQ("", WhySaturated(cost, 1));
}

}  // namespace
