#include "kzstatdistributionchoice.h"

#include <algorithm>
#include <vector>

CKZStatDistributionChoice CKZStatDistributionChoice::OfKinds(std::initializer_list<PointType> kinds,
                                                             std::size_t memoryLimit) {
    const auto isOneOf = [kinds = std::vector<PointType>(kinds)](std::string_view, PointType type) {
        return std::find(kinds.begin(), kinds.end(), type) != kinds.end();
    };
    return {isOneOf, memoryLimit};
}

CKZStatDistributionChoice CKZStatDistributionChoice::Usual() {
    using Types = CKZStatPointTypeEnum;
    return OfKinds({Types::Timer, Types::TransactionTimer, Types::Measurement});
}
