#include "rw/collint.h"

namespace {
int ValueOf(const RWCollectable* object) {
    return static_cast<const RWCollectableInt*>(object)->value();
}
}  // namespace

RWCollectableInt::~RWCollectableInt() = default;

int RWCollectableInt::compareTo(const RWCollectable* other) const {
    const int otherValue = ValueOf(other);
    if (m_value == otherValue) return 0;
    return m_value < otherValue ? -1 : 1;
}

unsigned RWCollectableInt::hash() const {
    return static_cast<unsigned>(m_value);
}

bool RWCollectableInt::isEqual(const RWCollectable* other) const {
    return m_value == ValueOf(other);
}
