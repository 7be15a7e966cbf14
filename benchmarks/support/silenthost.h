#ifndef KZ_BENCHMARKS_SILENTHOST_H
#define KZ_BENCHMARKS_SILENTHOST_H

#include "kzstatisticsgenerator.h"

/// A host whose hooks cost nothing but their calls.
class SilentHost : public CKZStatGenMain {
public:
    SilentHost() : CKZStatGenMain("bench") {}
    void SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double) override {}
    void SendClientDictionary(CKZStatGenMeasurementDictionary*, int, double) override {}
    int SendDictionaryString(RWCString&, double, const char*) override { return 1; }

    // What the two loops do, by hand.

    CKZStatGenSlice* SendNextSlice() {
        CKZStatGenSlice* const slice = WaitForSlice();
        SendSlice(slice);
        return slice;
    }
    void FreeSlice(CKZStatGenSlice* slice) {
        if (slice->GetCountZ0() > 0) slice->ReleaseDicts();
        RemoveSlice(slice);
    }
};

#endif
