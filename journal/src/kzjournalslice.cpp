#include "kzjournalslice.h"

#include <string_view>

#include "kzjournalerror.h"

namespace kzjournal {
namespace {

[[noreturn]] void RefuseDistribution(const Slice& slice, std::size_t position) {
    throw Error("slice " + std::to_string(slice.id) + " is damaged: the distribution of " +
                std::string(slice.records.at(position).name.view()) + " cannot be decoded");
}

}  // namespace

bool Slice::ReadDistribution(std::size_t position, CKZStatDistribution& distribution) const {
    const std::string_view form = distributions.FormOf(position);
    if (form.empty()) return false;
    if (!distribution.Decode(form)) RefuseDistribution(*this, position);
    return true;
}

bool Slice::AddDistributionTo(CKZStatDistribution& distribution, std::size_t position) const {
    const std::string_view form = distributions.FormOf(position);
    if (form.empty()) return false;
    if (!distribution.AddEncoded(form)) RefuseDistribution(*this, position);
    return true;
}

void Slice::AddDistributionTo(CKZStatDistributionSum& sum, std::size_t position) const {
    if (!sum.AddEncoded(records.at(position).lasts, distributions.FormOf(position)))
        RefuseDistribution(*this, position);
}

}  // namespace kzjournal
