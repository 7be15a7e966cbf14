#include "rw/hashdict.h"

#include <algorithm>

namespace {

constexpr std::size_t kFirstEntries = 4;

}  // namespace

RWHashDictionary::RWHashDictionary(std::size_t buckets)
    : m_initialBuckets(std::max<std::size_t>(buckets, 1)) {}

RWHashDictionary::~RWHashDictionary() = default;

RWHashDictionary::Index RWHashDictionary::Find(const RWCollectable* key) const {
    return m_entries.empty() ? kNone : Find(key, key->hash());
}

RWHashDictionary::Index RWHashDictionary::Find(const RWCollectable* key, unsigned hash) const {
    return FindEntry(hash, [key](const RWCollectable* known) { return known->isEqual(key); });
}

void RWHashDictionary::GrowTo(std::size_t buckets) {
    m_buckets.assign(buckets, kNone);
    for (Index index = 0; index < m_entries.size(); ++index) {
        Entry& entry = m_entries[index];
        Index& head = BucketOf(entry.hash);
        entry.next = head;
        head = index;
    }
}

void RWHashDictionary::Reserve(std::size_t count) {
    m_entries.reserve(count);
    // Twice as many, so that few entries share a bucket.
    if (2 * count > m_buckets.size()) GrowTo(2 * count);
}

void RWHashDictionary::InsertNew(RWCollectable* key, RWCollectable* value, unsigned hash) {
    if (m_buckets.empty()) {
        GrowTo(m_initialBuckets);
    } else if (m_entries.size() >= m_buckets.size() / 2) {
        GrowTo(m_buckets.size() * 2);
    }
    // By half and not to the double: there are as many of these as there are names and clients.
    if (m_entries.size() == m_entries.capacity())
        m_entries.reserve(std::max<std::size_t>(kFirstEntries, m_entries.size() * 3 / 2));
    Index& head = BucketOf(hash);
    m_entries.push_back({key, value, hash, head});
    head = static_cast<Index>(m_entries.size() - 1);
}

RWCollectable* RWHashDictionary::insertKeyAndValue(RWCollectable* key, RWCollectable* value) {
    const unsigned hash = key->hash();
    if (Find(key, hash) != kNone) return nullptr;
    InsertNew(key, value, hash);
    m_mayHoldOthers = true;
    NoteChange();
    NoteHandedOut();
    return key;
}

RWCollectable* RWHashDictionary::findValue(const RWCollectable* key) const {
    const Index index = Find(key);
    if (index == kNone) return nullptr;
    NoteHandedOut();
    return m_entries[index].value;
}

RWCollectable* RWHashDictionary::findKeyAndValue(const RWCollectable* key,
                                                 RWCollectable*& value) const {
    const Index index = Find(key);
    if (index == kNone) return nullptr;
    NoteHandedOut();
    value = m_entries[index].value;
    return m_entries[index].key;
}

void RWHashDictionary::Unlink(Index index) {
    const Entry& entry = m_entries[index];
    Index* link = &BucketOf(entry.hash);
    while (*link != index) link = &m_entries[*link].next;
    *link = entry.next;
}

RWHashDictionary::Entry RWHashDictionary::TakeOut(Index index) {
    Unlink(index);
    const Entry taken = m_entries[index];
    const Index last = static_cast<Index>(m_entries.size() - 1);
    if (index != last) {
        Unlink(last);
        m_entries[index] = m_entries[last];
        Index& head = BucketOf(m_entries[index].hash);
        m_entries[index].next = head;
        head = index;
    }
    m_entries.pop_back();
    NoteChange();
    return taken;
}

RWCollectable* RWHashDictionary::remove(const RWCollectable* key) {
    const Index index = Find(key);
    return index == kNone ? nullptr : TakeOut(index).key;
}

void RWHashDictionary::removeAndDestroy(const RWCollectable* key) {
    const Index index = Find(key);
    if (index == kNone) return;
    const Entry taken = TakeOut(index);
    delete taken.key;
    delete taken.value;
}

void RWHashDictionary::clear() {
    NoteChange();
    m_entries.clear();
    m_buckets.clear();
}

void RWHashDictionary::clearAndDestroy() {
    NoteChange();
    std::vector<Entry> taken;
    taken.swap(m_entries);
    m_buckets.clear();
    for (const Entry& entry : taken) {
        delete entry.key;
        delete entry.value;
    }
}

void RWHashDictionary::applyToKeyAndValue(RWapplyKeyAndValue function, void* context) {
    NoteHandedOut();
    for (Entry& entry : m_entries) {
        RWCollectable* value = entry.value;
        function(entry.key, value, context);
        if (value == entry.value) continue;
        entry.value = value;
        m_mayHoldOthers = true;
        NoteChange();
    }
}

RWHashDictionaryIterator::RWHashDictionaryIterator(const RWHashDictionary& dictionary)
    : m_dictionary(dictionary) {}

const RWHashDictionary::Entry* RWHashDictionaryIterator::Current() const {
    if (m_position == 0 || m_position > m_dictionary.m_entries.size()) return nullptr;
    return &m_dictionary.m_entries[m_position - 1];
}

RWCollectable* RWHashDictionaryIterator::operator()() {
    if (m_position <= m_dictionary.m_entries.size()) ++m_position;
    return key();
}

RWCollectable* RWHashDictionaryIterator::key() const {
    const auto* entry = Current();
    return entry == nullptr ? nullptr : entry->key;
}

RWCollectable* RWHashDictionaryIterator::value() const {
    const auto* entry = Current();
    if (entry == nullptr) return nullptr;
    m_dictionary.NoteHandedOut();
    return entry->value;
}

void RWHashDictionaryIterator::reset() {
    m_position = 0;
}
