#ifndef KZSTAT_PAGE_H
#define KZSTAT_PAGE_H

#include <string_view>

namespace kzstat {

// The page of page/, built into one text, before and after the place of the data.
extern const std::string_view kPageHead;
extern const std::string_view kPageTail;

}  // namespace kzstat

#endif
