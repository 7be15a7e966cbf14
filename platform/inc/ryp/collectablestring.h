#ifndef RYP_COLLECTABLESTRING_H
#define RYP_COLLECTABLESTRING_H

#include <cstddef>
#include <limits>

#include "kzplatform_export.h"
#include "rw/collect.h"

/// A text that a collection can hold; hashes and compares by its bytes.
/// Compatible: one thread at a time per object.
class KZPLATFORM_EXPORT CKZCollectableString : public RWCollectable {
public:
    /// With `copies` the object keeps a copy of `text`; without, it borrows `text`, which must
    /// then outlive it (a look-up key allocates nothing). A null pointer is the empty text.
    CKZCollectableString(const char* text, bool copies);
    ~CKZCollectableString() override;
    CKZCollectableString(const CKZCollectableString&) = delete;
    CKZCollectableString& operator=(const CKZCollectableString&) = delete;

    /// The text with its NUL; owned by this object or, when borrowed, by whoever lent it.
    const char* data() const { return m_text; }
    std::size_t length() const { return m_length; }

    /// Byte by byte. REQUIRES: `other` is a CKZCollectableString.
    int compareTo(const RWCollectable* other) const override;
    unsigned hash() const override;
    /// REQUIRES: `other` is a CKZCollectableString.
    bool isEqual(const RWCollectable* other) const override;

private:
    const char* m_text;
    // Together in one word: there is one of these for every name of every client.
    std::size_t m_length : std::numeric_limits<std::size_t>::digits - 1;
    std::size_t m_owned : 1;
};

#endif
