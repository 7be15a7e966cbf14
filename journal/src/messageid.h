#ifndef KZJOURNALMESSAGEID_H
#define KZJOURNALMESSAGEID_H

#include <string_view>

namespace kzjournal {

/// Whether the header of the message has another slice id. False for a text without a header.
bool IsOfAnotherSlice(std::string_view message, int sliceId);

}  // namespace kzjournal

#endif
