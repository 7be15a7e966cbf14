#include "messageid.h"

#include <charconv>
#include <cstddef>

#include "kzstatmessage.h"

namespace kzjournal {
namespace {

constexpr int kFieldsBeforeId = 3;  // generator, slice length, elapsed

}  // namespace

bool IsOfAnotherSlice(std::string_view message, int sliceId) {
    for (int i = 0; i < kFieldsBeforeId; ++i) {
        const std::size_t end = message.find(CKZStatMessageWriter::kFieldEnd);
        if (end == std::string_view::npos) return false;
        message.remove_prefix(end + 1);
    }
    long long id = 0;
    const char* const textEnd = message.data() + message.size();
    const auto [idEnd, error] = std::from_chars(message.data(), textEnd, id);
    const bool isHeader =
        error == std::errc() && idEnd != textEnd && *idEnd == CKZStatMessageWriter::kFieldEnd;
    return isHeader && id != sliceId;
}

}  // namespace kzjournal
