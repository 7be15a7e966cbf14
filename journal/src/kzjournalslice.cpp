#include "kzjournalslice.h"

#include <string_view>

#include "kzjournalerror.h"

namespace kzjournal {

bool Slice::ReadDistribution(std::size_t position, CKZStatDistribution& distribution) const {
    const std::string_view form = distributions.FormOf(position);
    if (form.empty()) return false;
    if (!distribution.Decode(form))
        throw Error("slice " + std::to_string(id) + " is damaged: the distribution of " +
                    std::string(records.at(position).name.view()) + " cannot be decoded");
    return true;
}

}  // namespace kzjournal
