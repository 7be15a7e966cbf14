#ifndef KZLOAD_RUNFIGURES_H
#define KZLOAD_RUNFIGURES_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "conditions/figures.h"
#include "kzstatdistribution.h"
#include "kzstatslicevalues.h"

namespace kzload {

/// What conditions ask of the slices of the load, added up so far. A name that no longer has the
/// distributions of all its values has no percentiles. Compatible.
class RunFigures : public kzconditions::Figures {
public:
    /// `loadSeconds` is how much of the slice lies in the load, for rates. Levels, and what is said
    /// of the last slice, are of slices under load alone.
    void Add(const CKZStatSliceValues& slice, double loadSeconds, bool isUnderLoad);

    std::string Title() const override { return "the run"; }
    std::vector<std::string> Names() const override;
    std::optional<Name> Find(const std::string& name) const override;
    std::optional<double> ValueOf(const std::string& name,
                                  const std::string& statistic) const override;

private:
    struct Record {
        CKZStatPointTypeEnum::PointType type = CKZStatPointTypeEnum::NotSet;
        CKZStatAggregate totals;
        CKZStatAggregate lasts;  // of the last slice under load
        std::optional<CKZStatDistribution> distribution = CKZStatDistribution();
    };
    std::optional<double> RateOf(const Record& record) const;

    double m_loadSeconds = 0;
    std::map<std::string, Record> m_records;
};

}  // namespace kzload

#endif
