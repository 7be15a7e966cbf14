#ifndef KZJOURNALERROR_H
#define KZJOURNALERROR_H

#include <stdexcept>

#include "kzjournal_export.h"

namespace kzjournal {

/// A fault, of a journal or of what works on journals; its text is a line for the user. Whatever
/// cannot give its result throws it. What a load depends on never throws: it returns
/// `std::optional<Error>`, without a value if all went well. Compatible.
class KZJOURNAL_EXPORT Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Error() override;
};

}  // namespace kzjournal

#endif
