#ifndef KZ_TESTS_SLICEMAKER_H
#define KZ_TESTS_SLICEMAKER_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kzstatdistribution.h"
#include "kzstatgenmeasurement.h"
#include "kzstatmessage.h"
#include "kzstatslicevalues.h"
#include "rw/cstring.h"

/// Values reported under one name in one slice.
struct Reported {
    std::string name;
    CKZStatPointTypeEnum::PointType type;
    std::vector<double> values;
};

/// A slice that owns what its view shows.
struct MadeSlice {
    CKZStatSliceFacts facts;
    RWCString message;
    std::vector<CKZStatMessageRecord> records;
    std::vector<CKZStatDistribution> distributions = {};  // none, or one for each record

    CKZStatSliceValues View() const { return CKZStatSliceValues(facts, message, records); }
    std::string Text() const { return std::string(message.view()); }
};

/// Makes the slices that a generator would send, without its threads and clock.
class SliceMaker {
public:
    explicit SliceMaker(std::string generator = "load", double sliceLength = 1,
                        double startTime = 1000)
        : m_generator(std::move(generator)), m_sliceLength(sliceLength), m_startTime(startTime) {}

    MadeSlice NextSlice(const std::vector<Reported>& reported) {
        ++m_sliceId;
        for (const auto& [name, measurement] : m_measurements) measurement->ResetLasts();
        m_lasts.clear();
        for (const Reported& each : reported) {
            auto& measurement = m_measurements[each.name];
            if (!measurement) measurement = std::make_unique<CKZStatGenMeasurement>(each.type);
            for (const double value : each.values) {
                measurement->AddLast(value);
                m_lasts[each.name].Add(value);
            }
        }
        return Made();
    }

    int SliceId() const { return m_sliceId; }

private:
    MadeSlice Made() {
        const double elapsed = m_sliceLength * m_sliceId;
        MadeSlice slice{
            {m_generator.c_str(), m_sliceLength, m_sliceId, elapsed, m_startTime + elapsed},
            {},
            {},
            {}};
        CKZStatMessageWriter writer(slice.message);
        writer.WriteHeader(slice.facts.generatorName, m_sliceLength, elapsed, m_sliceId);
        for (const auto& [name, measurement] : m_measurements) {
            writer.WriteRecord(name, measurement->GetType(), measurement->GetTotals(),
                               measurement->GetLasts());
            slice.records.push_back({RWCString(name.data(), name.size()), measurement->GetType(),
                                     measurement->GetTotals(), measurement->GetLasts()});
            slice.distributions.push_back(m_lasts[name]);
        }
        return slice;
    }

    const std::string m_generator;
    const double m_sliceLength;
    const double m_startTime;
    int m_sliceId = 0;
    std::map<std::string, std::unique_ptr<CKZStatGenMeasurement>> m_measurements;
    std::map<std::string, CKZStatDistribution> m_lasts;  // of the present slice
};

#endif
