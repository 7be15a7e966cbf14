#include "kzjournalerror.h"

namespace kzjournal {

Error::~Error() = default;

}  // namespace kzjournal
