#ifndef KZ_RW_COLLINT_H
#define KZ_RW_COLLINT_H

#include "kzplatform_export.h"
#include "rw/collect.h"

/// An integer that a collection can hold; hashes and compares by its value.
/// Compatible: one thread at a time per object.
class KZPLATFORM_EXPORT RWCollectableInt : public RWCollectable {
public:
    explicit RWCollectableInt(int value = 0) : m_value(value) {}
    ~RWCollectableInt() override;

    int value() const { return m_value; }
    int value(int newValue) { return m_value = newValue; }

    /// REQUIRES: `other` is an RWCollectableInt.
    int compareTo(const RWCollectable* other) const override;
    unsigned hash() const override;
    /// REQUIRES: `other` is an RWCollectableInt.
    bool isEqual(const RWCollectable* other) const override;

private:
    int m_value;
};

#endif
