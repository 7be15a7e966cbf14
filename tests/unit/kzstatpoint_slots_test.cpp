#include <gtest/gtest.h>

#include <string>

#include "kzstatpoint.h"
#include "support/points.h"
#include "support/virtual_slots.h"

// The order of the virtual operations, point after collectable: hosts are compiled against it.

#if defined(__x86_64__)

namespace {

using Types = CKZStatPointTypeEnum;

class Recorder : public SlotRecorder<CKZStatPoint> {
public:
    CKZStatPoint& operator+(const CKZStatPoint&) override { return *Ran("operator+", this); }
    CKZStatPoint& operator&(const CKZStatPoint&) override { return *Ran("operator&", this); }
    CKZStatPoint& operator/(int n) override { return *Ran("operator/ " + std::to_string(n), this); }
    CKZStatPoint* Clone() override { return Ran("Clone", nullptr); }
    CKZStatPoint* CloneFakeForTotal(double time) override {
        return Ran("CloneFakeForTotal " + std::to_string(static_cast<int>(time)), nullptr);
    }
    double GetCurrentValue() override { return Ran("GetCurrentValue", 2.5); }
    StatisticsDataType GetCurrentValueIndex() override {
        return Ran("GetCurrentValueIndex", StatSum);
    }
    int GetMask() override { return Ran("GetMask", 6); }
    void GetType(PointType& type) override { type = Ran("GetType into", Types::Counter); }
    PointType GetType() override { return Ran("GetType", Types::LoadSize); }
    void AddValues(MeasurementArrayItem item) override {
        s_ran = "AddValues " + std::to_string(static_cast<int>(item.lastStdev));
    }
    const char* nameOf() const override { return Ran("nameOf", "name"); }
};

TEST(StatPointSlots, BeginWithThoseOfTheCollectable) {
    const Recorder other;
    ExpectSlotsOfACollectable<Recorder>(&other);
}

TEST(StatPointSlots, GoOnInTheOrderThatCompiledCallersRelyOn) {
    const Recorder other;
    Types::PointType type = Types::NotSet;
    EXPECT_EQ((RanThroughSlot<Recorder, CKZStatPoint*>(15, &other)), "operator+");
    EXPECT_EQ((RanThroughSlot<Recorder, CKZStatPoint*>(16, &other)), "operator&");
    EXPECT_EQ((RanThroughSlot<Recorder, CKZStatPoint*>(17, 3)), "operator/ 3");
    EXPECT_EQ((RanThroughSlot<Recorder, CKZStatPoint*>(18)), "Clone");
    EXPECT_EQ((RanThroughSlot<Recorder, CKZStatPoint*>(19, 20.0)), "CloneFakeForTotal 20");
    EXPECT_EQ((RanThroughSlot<Recorder, double>(20)), "GetCurrentValue");
    EXPECT_EQ((RanThroughSlot<Recorder, int>(21)), "GetCurrentValueIndex");
    EXPECT_EQ((RanThroughSlot<Recorder, int>(22)), "GetMask");
    EXPECT_EQ((RanThroughSlot<Recorder, void>(23, &type)), "GetType into");
    EXPECT_EQ(type, Types::Counter);
    EXPECT_EQ((RanThroughSlot<Recorder, int>(24)), "GetType");
    EXPECT_EQ((RanThroughSlot<Recorder, void>(25, kNumberedRecord)), "AddValues 13");
    EXPECT_EQ((RanThroughSlot<Recorder, const char*>(26)), "nameOf");
}

TEST(StatPointSlots, HoldTheDestructorsAtFiveAndSix) {
    ExpectDestructorSlots<Recorder>();
}

}  // namespace

#endif  // __x86_64__
