#ifndef RYP_COLLECTABLESTRING_H
#define RYP_COLLECTABLESTRING_H

#include <cstddef>
#include <limits>
#include <string_view>

#include "kzplatform_export.h"
#include "rw/collect.h"

/// A text that a collection can hold; hashes and compares by its bytes.
/// Compatible: one thread at a time per object.
class KZPLATFORM_EXPORT CKZCollectableString : public RWCollectable {
public:
    /// If `copies`, keeps a copy of `text`; otherwise borrows it (a look-up key allocates nothing),
    /// and `text` must outlive this object. A null pointer is the empty text.
    CKZCollectableString(const char* text, bool copies);
    ~CKZCollectableString() override;
    CKZCollectableString(const CKZCollectableString&) = delete;
    CKZCollectableString& operator=(const CKZCollectableString&) = delete;

    /// The text with its NUL; owned by this object, or by the caller if borrowed.
    const char* data() const { return m_text; }
    std::size_t length() const { return m_length; }

    /// Byte by byte. REQUIRES: `other` is a CKZCollectableString.
    int compareTo(const RWCollectable* other) const override;
    unsigned hash() const override;
    /// REQUIRES: `other` is a CKZCollectableString.
    bool isEqual(const RWCollectable* other) const override;

protected:
    /// Borrows `text`, which has a NUL behind it and none within.
    explicit CKZCollectableString(std::string_view text)
        : m_text(text.data()), m_length(text.size() & kMaxLength), m_owned(false) {}

private:
    /// No text is longer: it fills at most half of the address space.
    static constexpr std::size_t kMaxLength = std::numeric_limits<std::size_t>::max() >> 1;

    const char* m_text;
    // In one word, since there is one for every name of every client.
    std::size_t m_length : std::numeric_limits<std::size_t>::digits - 1;
    std::size_t m_owned : 1;
};

#endif
