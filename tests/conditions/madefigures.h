#ifndef KZ_TESTS_MADEFIGURES_H
#define KZ_TESTS_MADEFIGURES_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "conditions/figures.h"

/// The figures of a run, as they are told. Compatible.
class MadeFigures : public kzconditions::Figures {
public:
    using Values = std::map<std::string, double>;

    /// A name in milliseconds, with its statistics.
    MadeFigures& Timer(const std::string& name, const Values& values, bool hasDistribution = true) {
        m_names[name] = {{CKZStatPointTypeEnum::Timer, "ms", hasDistribution}, values};
        return *this;
    }
    /// A name without a unit and a distribution.
    MadeFigures& Counter(const std::string& name, const Values& values) {
        m_names[name] = {{CKZStatPointTypeEnum::Counter, "", false}, values};
        return *this;
    }
    MadeFigures& Measured(const std::string& name, const std::string& unit, const Values& values) {
        m_names[name] = {{CKZStatPointTypeEnum::Measurement, unit, true}, values};
        return *this;
    }
    MadeFigures& Transaction(const std::string& name, const Values& values) {
        m_names[name] = {{CKZStatPointTypeEnum::TransactionTimer, "ms", true}, values};
        return *this;
    }

    std::string Title() const override { return "the run"; }
    std::vector<std::string> Names() const override {
        std::vector<std::string> names;
        for (const auto& [name, made] : m_names) names.push_back(name);
        return names;
    }
    std::optional<Name> Find(const std::string& name) const override {
        const auto found = m_names.find(name);
        return found == m_names.end() ? std::nullopt : std::optional(found->second.facts);
    }
    std::optional<double> ValueOf(const std::string& name,
                                  const std::string& statistic) const override {
        const auto found = m_names.find(name);
        if (found == m_names.end()) return std::nullopt;
        const auto value = found->second.values.find(statistic);
        return value == found->second.values.end() ? std::nullopt : std::optional(value->second);
    }

private:
    struct Made {
        Name facts;
        Values values;
    };
    std::map<std::string, Made> m_names;
};

#endif
