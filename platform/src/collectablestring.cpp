#include "ryp/collectablestring.h"

#include <cstring>
#include <string_view>

#include "ryp/texthash.h"

namespace {

std::string_view TextOf(const RWCollectable* object) {
    const auto* string = static_cast<const CKZCollectableString*>(object);
    return {string->data(), string->length()};
}

const char* CopyOf(const char* text, std::size_t length) {
    char* const copy = new char[length + 1];
    std::memcpy(copy, text, length + 1);
    return copy;
}

}  // namespace

CKZCollectableString::CKZCollectableString(const char* text, bool copies)
    : m_text(text == nullptr ? "" : text),
      m_length(std::strlen(m_text) & kMaxLength),
      m_owned(copies) {
    if (m_owned) m_text = CopyOf(m_text, m_length);
}

CKZCollectableString::~CKZCollectableString() {
    if (m_owned) delete[] m_text;
}

int CKZCollectableString::compareTo(const RWCollectable* other) const {
    return TextOf(this).compare(TextOf(other));
}

unsigned CKZCollectableString::hash() const {
    return RyPTextHash::Of(TextOf(this));
}

bool CKZCollectableString::isEqual(const RWCollectable* other) const {
    return TextOf(this) == TextOf(other);
}
