#ifndef KZSTATPROGRAM_PAGEJSON_H
#define KZSTATPROGRAM_PAGEJSON_H

#include <cstddef>
#include <optional>
#include <string>

#include "figures/runhistory.h"

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

/// The page with data in it, which then needs nothing else.
std::string PageWith(const std::string& json);

/// The page without data: it asks the server that it came from.
std::string PageWithoutData();

}  // namespace kzstatprogram

#endif
