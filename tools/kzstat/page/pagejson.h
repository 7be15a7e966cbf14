#ifndef KZSTATPROGRAM_PAGEJSON_H
#define KZSTATPROGRAM_PAGEJSON_H

#include <cstddef>
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

/// The page with data in it, which then needs nothing else.
std::string PageWith(const std::string& json);

/// The page without data: it asks the server that it came from.
std::string PageWithoutData();

}  // namespace kzstatprogram

#endif
