#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "kzstatmessage.h"

// Any bytes, in both forms: nothing is read past the input, a refused text leaves the message as
// it was, and an accepted one is accounted for to the last field.

namespace {

constexpr char kFieldEnd = '\x01';
constexpr std::ptrdiff_t kHeaderFields = 4;

void Check(bool holds) {
    if (!holds) std::abort();
}

RWCString Written(const CKZStatMessage& message) {
    RWCString text;
    CKZStatMessageWriter writer(text);
    writer.WriteHeader(message.GetGeneratorName(), message.GetSliceLength(), message.GetElapsed(),
                       message.GetSliceId());
    for (const CKZStatMessageRecord& record : message.GetRecords())
        writer.WriteRecord(record.name.view(), record.type, record.totals, record.lasts);
    return text;
}

/// What was read is written so that it can be read, and is the same from then on: the text has
/// three decimals then. Averages aside, which come from sums that were rounded.
void WriteAndRead(const CKZStatMessage& message) {
    const RWCString text = Written(message);
    CKZStatMessage again;
    std::size_t fault = 0;
    Check(again.Read(text, CKZStatMessage::FullRecords, fault));
    Check(again.GetSliceId() == message.GetSliceId());
    Check(again.GetRecords().size() == message.GetRecords().size());
    const RWCString second = Written(again);
    CKZStatMessage third;
    Check(third.Read(second, CKZStatMessage::FullRecords, fault));
    Check(Written(third) == second);
}

void ReadAs(CKZStatMessage::RecordForm form, std::ptrdiff_t fieldsPerRecord, const char* text,
            std::size_t length) {
    CKZStatMessage message;
    std::size_t fault = 0;
    Check(
        message.Read("kept\x01"
                     "1.000\x01"
                     "2.000\x01"
                     "3\x01",
                     19, form, fault));

    if (!message.Read(text, length, form, fault)) {
        Check(fault <= length);
        Check(message.GetGeneratorName() == "kept" && message.GetSliceId() == 3);
        return;
    }
    const auto records = static_cast<std::ptrdiff_t>(message.GetRecords().size());
    Check(std::count(text, text + length, kFieldEnd) == kHeaderFields + fieldsPerRecord * records);
    for (const CKZStatMessageRecord& record : message.GetRecords()) {
        Check(message.FindRecord(record.name.view()) != nullptr);
        record.GetItem(message.GetElapsed());
    }
    if (form == CKZStatMessage::FullRecords) WriteAndRead(message);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A copy of exactly this size, so that the address sanitizer sees a read of the next byte.
    const auto text = std::make_unique<char[]>(size);
    if (size > 0) std::memcpy(text.get(), data, size);
    ReadAs(CKZStatMessage::FullRecords, 14, text.get(), size);
    ReadAs(CKZStatMessage::LastsRecords, 7, text.get(), size);
    return 0;
}
