#ifndef KZSTATPROGRAM_FIGURESOFSTATISTICS_H
#define KZSTATPROGRAM_FIGURESOFSTATISTICS_H

#include <string>
#include <unordered_map>
#include <vector>

#include "conditions/figures.h"
#include "figures/statistics.h"

namespace kzstatprogram {

/// What conditions ask of statistics. Shows them where they are. Compatible.
class FiguresOfStatistics : public kzconditions::Figures {
public:
    /// `statistics` must outlive this. `title` is what messages call the run.
    FiguresOfStatistics(std::string title, const std::vector<Statistics>& statistics);

    std::string Title() const override { return m_title; }
    std::vector<std::string> Names() const override;
    std::optional<Name> Find(const std::string& name) const override;
    std::optional<double> ValueOf(const std::string& name,
                                  const std::string& statistic) const override;

private:
    const Statistics* RowOf(const std::string& name) const;

    const std::string m_title;
    std::unordered_map<std::string, const Statistics*> m_rows;
};

}  // namespace kzstatprogram

#endif
