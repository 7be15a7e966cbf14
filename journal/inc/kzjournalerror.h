#ifndef KZJOURNALERROR_H
#define KZJOURNALERROR_H

#include <stdexcept>

#include "kzjournal_export.h"

namespace kzjournal {

/// A fault of a journal or of a program that works on journals; its text is a line for the user.
/// Operations throw it, except those that a load depends on: these never throw but return
/// a `std::optional<Error>`, alone or in a result, without a value on success. Compatible.
class KZJOURNAL_EXPORT Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Error() override;
};

}  // namespace kzjournal

#endif
