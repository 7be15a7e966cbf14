#ifndef KZSTATPROGRAM_PAGEJSON_H
#define KZSTATPROGRAM_PAGEJSON_H

#include <cstddef>
#include <string>

#include "figures/runhistory.h"

namespace kzstatprogram {

/// All of a run that the page shows: facts, figures and courses, the latter from the bucket `from`
/// on. The page puts them in place of what it has from there on.
std::string PageJson(const RunHistory& history, std::size_t from = 0);

/// The page with data in it, which then needs nothing else.
std::string PageWith(const std::string& json);

/// The page without data: it asks the server that it came from.
std::string PageWithoutData();

}  // namespace kzstatprogram

#endif
