#ifndef KZSTATPROGRAM_BUILTPAGE_H
#define KZSTATPROGRAM_BUILTPAGE_H

#include <string_view>

namespace kzstatprogram {

/// A page, built into one text, before and after the place of the data.
struct BuiltPage {
    std::string_view head;
    std::string_view tail;
};

extern const BuiltPage kRunPage;
extern const BuiltPage kComparisonPage;

}  // namespace kzstatprogram

#endif
