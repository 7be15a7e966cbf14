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

/// What conditions ask of the run up to the end of a slice. A copy, so that the slice may go.
/// Compatible.
class RunFigures : public kzconditions::Figures {
public:
    /// `loadSeconds` is how long the load has lasted by then, for rates.
    RunFigures(const CKZStatSliceValues& slice, double loadSeconds);

    std::string Title() const override { return "the run"; }
    std::vector<std::string> Names() const override;
    std::optional<Name> Find(const std::string& name) const override;
    std::optional<double> ValueOf(const std::string& name,
                                  const std::string& statistic) const override;

private:
    struct Record {
        CKZStatPointTypeEnum::PointType type;
        CKZStatAggregate totals;
        CKZStatAggregate lasts;
        std::optional<CKZStatDistribution> distribution;
    };
    std::optional<double> RateOf(const Record& record) const;

    const double m_loadSeconds;
    std::map<std::string, Record> m_records;
};

}  // namespace kzload

#endif
