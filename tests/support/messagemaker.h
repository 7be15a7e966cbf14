#ifndef KZ_TESTS_MESSAGEMAKER_H
#define KZ_TESTS_MESSAGEMAKER_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kzstatgenmeasurement.h"
#include "rw/cstring.h"
#include "ryp/numbertext.h"

/// Values reported under one name in one slice.
struct Reported {
    std::string name;
    CKZStatPointTypeEnum::PointType type;
    std::vector<double> values;
};

/// Makes the messages that a generator would send, slice by slice, without its threads and clock.
class MessageMaker {
public:
    explicit MessageMaker(std::string generator = "load", double sliceLength = 1)
        : m_generator(std::move(generator)), m_sliceLength(sliceLength) {}

    std::string NextSlice(const std::vector<Reported>& reported) {
        ++m_sliceId;
        for (const auto& [name, measurement] : m_measurements) measurement->ResetLasts();
        for (const Reported& each : reported) {
            auto& measurement = m_measurements[each.name];
            if (!measurement) measurement = std::make_unique<CKZStatGenMeasurement>(each.type);
            for (const double value : each.values) measurement->AddLast(value);
        }
        return Text();
    }

    int SliceId() const { return m_sliceId; }

private:
    std::string Text() {
        RWCString text(m_generator.c_str());
        Append(text, m_sliceLength);
        Append(text, m_sliceLength * m_sliceId);
        text += kFieldEnd;
        text += std::to_string(m_sliceId).c_str();
        text += kFieldEnd;
        for (const auto& [name, measurement] : m_measurements)
            measurement->AppendDump(text, name.c_str());
        return std::string(text.data(), text.length());
    }

    static void Append(RWCString& text, double seconds) {
        RWCString number;
        RyPDoubleToString(seconds, number, 3);
        text += kFieldEnd;
        text += number;
    }

    static constexpr char kFieldEnd = '\x01';

    const std::string m_generator;
    const double m_sliceLength;
    int m_sliceId = 0;
    std::map<std::string, std::unique_ptr<CKZStatGenMeasurement>> m_measurements;
};

#endif
