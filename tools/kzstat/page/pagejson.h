#ifndef KZSTATPROGRAM_PAGEJSON_H
#define KZSTATPROGRAM_PAGEJSON_H

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "figures/runhistory.h"
#include "figures/statistics.h"
#include "page/builtpage.h"

namespace kzstatprogram {

/// What a page has of a run; by default nothing.
struct PageState {
    std::size_t firstBucketMissing = 0;  ///< if 0, nothing else counts
    int lastSliceId = 0;
};

/// All of a run that the page shows and does not have yet. Courses begin with the first bucket that
/// is missing: the page puts them in place of what it has from there on. So do heat maps with
/// columns. Names without new values come without heat map and cumulative distribution.
std::string PageJson(const RunHistory& history, const PageState& page = {});

/// One of the parts in which a page gets the same, so that none is large. The last one has all but
/// the names that came before.
struct PagePart {
    int number = 0;
    std::string json;
    std::string lastName;  ///< where the next part goes on
    bool isLast = false;
};

/// The part that follows `before`, or the first one.
PagePart NextPagePart(const RunHistory& history, const PageState& page,
                      const std::optional<PagePart>& before);

/// What is drawn of a run over other runs: all but the figures and the heat maps. A course has the
/// 95th percentile of values, or their mean without distributions.
std::string CurvesJson(const RunHistory& history);

/// Names with their figures.
nlohmann::ordered_json NamesJson(const std::vector<Statistics>& names);

/// A page with data in it, which then needs nothing else.
std::string PageWith(const BuiltPage& page, const std::string& json);
std::string PageWith(const std::string& json);

/// The page without data: it asks the server that it came from.
std::string PageWithoutData();

}  // namespace kzstatprogram

#endif
