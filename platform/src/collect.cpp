#include "rw/collect.h"

#include <functional>

RWCollectable* RWCollectable::newSpecies() const {
    return new RWCollectable;
}
RWCollectable* RWCollectable::copy() const {
    return new RWCollectable(*this);
}
RWClassID RWCollectable::isA() const {
    return kClassId;
}
RWCollectable* RWCollectable::self() {
    return this;
}
const RWCollectable* RWCollectable::self() const {
    return this;
}
RWCollectable::~RWCollectable() = default;
RWspace RWCollectable::binaryStoreSize() const {
    return 0;
}

int RWCollectable::compareTo(const RWCollectable* other) const {
    if (this == other) return 0;
    return std::less<const RWCollectable*>()(this, other) ? -1 : 1;
}

unsigned RWCollectable::hash() const {
    return static_cast<unsigned>(std::hash<const RWCollectable*>()(this));
}

bool RWCollectable::isEqual(const RWCollectable* other) const {
    return this == other;
}
void RWCollectable::restoreGuts(RWFile&) {}
void RWCollectable::restoreGuts(RWvistream&) {}
void RWCollectable::saveGuts(RWFile&) const {}
void RWCollectable::saveGuts(RWvostream&) const {}
