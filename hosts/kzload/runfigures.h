#ifndef KZLOAD_RUNFIGURES_H
#define KZLOAD_RUNFIGURES_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "conditions/figures.h"
#include "kzstatdistribution.h"
#include "kzstatmessage.h"
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
    struct Sum {
        CKZStatMessageRecord record;  // the lasts are of the last slice under load
        std::optional<CKZStatDistribution> distribution = CKZStatDistribution();
    };

    double m_loadSeconds = 0;
    std::map<std::string, Sum> m_sums;  // by name
};

}  // namespace kzload

#endif
