#ifndef KZ_TESTS_LONGRUN_RECORDINGHOST_H
#define KZ_TESTS_LONGRUN_RECORDINGHOST_H

#include <cstddef>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "rw/cstring.h"

/// What the hooks received for one slice. Compatible: one thread at a time per object.
struct Delivery {
    std::vector<int> clientIds;      // in the order of the calls
    std::vector<double> clientEnds;  // the end time that came with each
    std::size_t leastNames = 0;      // of any client
    int totals = 0;
    double totalElapsed = 0;
    int texts = 0;
    double textElapsed = 0;
    RWCString text;
    bool inOrder = true;  // clients, then the total, then the text
};

/// A host that notes what its hooks receive and leaves the judgement to whoever packs, so that a
/// measured pack time is the library's. Owned by the thread that packs.
class RecordingHost : public CKZStatGenMain {
public:
    explicit RecordingHost(const char* name) : CKZStatGenMain(name) {}

    void SendClientDictionary(CKZStatGenMeasurementDictionary* perClient, int clientId,
                              double sliceEnd) override;
    void SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double sliceLength,
                             double elapsed) override;
    int SendDictionaryString(RWCString& text, double elapsed, const char* name) override;

    /// Of all slices packed since it was cleared.
    const Delivery& GetDelivery() const { return m_delivery; }
    void ClearDelivery();

private:
    Delivery m_delivery;
};

#endif
