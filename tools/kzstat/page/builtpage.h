#ifndef KZSTATPROGRAM_BUILTPAGE_H
#define KZSTATPROGRAM_BUILTPAGE_H

#include <string_view>

namespace kzstatprogram {

// The page, built into one text, before and after the place of the data.
extern const std::string_view kPageHead;
extern const std::string_view kPageTail;

}  // namespace kzstatprogram

#endif
