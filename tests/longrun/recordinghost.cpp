#include "recordinghost.h"

#include <algorithm>

void RecordingHost::SendClientDictionary(CKZStatGenMeasurementDictionary* perClient, int clientId,
                                         double sliceEnd) {
    const std::size_t names = perClient->entries();
    if (m_delivery.totals != 0 || m_delivery.texts != 0) m_delivery.inOrder = false;
    m_delivery.leastNames =
        m_delivery.clientIds.empty() ? names : std::min(m_delivery.leastNames, names);
    m_delivery.clientIds.push_back(clientId);
    m_delivery.clientEnds.push_back(sliceEnd);
}

void RecordingHost::SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double elapsed) {
    if (m_delivery.texts != 0) m_delivery.inOrder = false;
    m_delivery.totals += 1;
    m_delivery.totalElapsed = elapsed;
}

int RecordingHost::SendDictionaryString(RWCString& text, double elapsed, const char*) {
    if (m_delivery.totals == 0) m_delivery.inOrder = false;
    m_delivery.texts += 1;
    m_delivery.textElapsed = elapsed;
    m_delivery.text = text;
    return 1;
}

void RecordingHost::ClearDelivery() {
    // The vectors keep their room: the memory of this program must not move with its checks.
    m_delivery.clientIds.clear();
    m_delivery.clientEnds.clear();
    m_delivery.leastNames = 0;
    m_delivery.totals = 0;
    m_delivery.texts = 0;
    m_delivery.inOrder = true;
}
