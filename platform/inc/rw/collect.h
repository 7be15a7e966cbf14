#ifndef KZ_RW_COLLECT_H
#define KZ_RW_COLLECT_H

#include "kzplatform_export.h"

using RWClassID = unsigned short;
using RWspace = unsigned long;

/// Persistence streams, never defined: the base operations that take them store nothing.
class RWFile;
class RWvistream;
class RWvostream;

/// The base class of everything that a collection can hold. The order of the virtual operations is
/// part of the binary interface: derived classes in other libraries rely on it. Compatible: one
/// thread at a time per object.
class KZPLATFORM_EXPORT RWCollectable {
public:
    /// What `isA` returns for a class without an identifier of its own.
    static constexpr RWClassID kClassId = 1;

    RWCollectable() = default;
    RWCollectable(const RWCollectable&) = default;
    RWCollectable& operator=(const RWCollectable&) = default;

    /// A new object of this class and a copy of this object; owned by the caller. A class that
    /// does not override them returns a plain `RWCollectable`.
    virtual RWCollectable* newSpecies() const;
    virtual RWCollectable* copy() const;
    virtual RWClassID isA() const;
    virtual RWCollectable* self();
    virtual const RWCollectable* self() const;
    virtual ~RWCollectable();
    /// Bytes that `saveGuts` writes: 0 here.
    virtual RWspace binaryStoreSize() const;
    /// Below 0, 0 or above 0 as this object sorts before, with or after `other`; by address here.
    virtual int compareTo(const RWCollectable* other) const;
    /// Objects that are equal have equal hashes; by address here.
    virtual unsigned hash() const;
    /// True for the same object here.
    virtual bool isEqual(const RWCollectable* other) const;
    /// These four do nothing here.
    virtual void restoreGuts(RWFile& file);
    virtual void restoreGuts(RWvistream& stream);
    virtual void saveGuts(RWFile& file) const;
    virtual void saveGuts(RWvostream& stream) const;
};

#endif
