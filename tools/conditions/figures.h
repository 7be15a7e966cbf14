#ifndef KZCONDITIONS_FIGURES_H
#define KZCONDITIONS_FIGURES_H

#include <optional>
#include <string>
#include <vector>

#include "kzstatpointtypeenum.h"

namespace kzconditions {

/// What conditions ask of a run, over the time for which it is judged. Compatible.
class Figures {
public:
    Figures() = default;
    virtual ~Figures() = default;
    Figures(const Figures&) = delete;
    Figures& operator=(const Figures&) = delete;

    struct Name {
        CKZStatPointTypeEnum::PointType type;
        std::string unit;  ///< of its values; empty where it is unknown
        bool hasDistribution;
    };

    /// What messages call the run: "the second run".
    virtual std::string Title() const = 0;
    /// In any order.
    virtual std::vector<std::string> Names() const = 0;
    /// Nothing if the run does not have the name.
    virtual std::optional<Name> Find(const std::string& name) const = 0;
    /// Any statistic but a share. Nothing if the name does not have it, or no value of it.
    virtual std::optional<double> ValueOf(const std::string& name,
                                          const std::string& statistic) const = 0;
};

}  // namespace kzconditions

#endif
