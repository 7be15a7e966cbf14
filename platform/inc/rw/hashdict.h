#ifndef KZ_RW_HASHDICT_H
#define KZ_RW_HASHDICT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kzplatform_export.h"
#include "rw/collect.h"

/// Called with each key, its value (which it may replace) and the caller's own pointer.
using RWapplyKeyAndValue = void (*)(RWCollectable* key, RWCollectable*& value, void* context);

/// A dictionary from keys to values, each key once. Keys are compared by `hash` and `isEqual` and
/// must not change while they are in the dictionary. The dictionary owns neither keys nor values;
/// only the operations that say so delete them.
///
/// Entries are visited in the order of insertion until one is removed; a removal puts the last
/// entry in its place. The bucket table starts at the given size and grows with the entries, so a
/// look-up costs the same however many there are.
///
/// Compatible: a thread that changes a dictionary must be the only one that uses it; any number of
/// threads may read it concurrently.
class KZPLATFORM_EXPORT RWHashDictionary : public RWCollectable {
public:
    static constexpr std::size_t kDefaultBuckets = 64;

    /// `buckets` is the size of the table at its first entry; 0 is taken as 1.
    explicit RWHashDictionary(std::size_t buckets = kDefaultBuckets);
    /// Deletes neither keys nor values.
    ~RWHashDictionary() override;
    RWHashDictionary(const RWHashDictionary&) = delete;
    RWHashDictionary& operator=(const RWHashDictionary&) = delete;

    /// Inserts the pair and returns `key`. Returns null and changes nothing if there is an equal
    /// key.
    RWCollectable* insertKeyAndValue(RWCollectable* key, RWCollectable* value);

    /// The value under an equal key, or null.
    RWCollectable* findValue(const RWCollectable* key) const;

    /// Returns the equal key in the dictionary and sets `value` to its value; or returns null and
    /// leaves `value` unchanged.
    RWCollectable* findKeyAndValue(const RWCollectable* key, RWCollectable*& value) const;

    /// Removes the pair and returns its key, or null if there is none. Deletes nothing.
    RWCollectable* remove(const RWCollectable* key);

    /// Removes the pair and deletes its key and value; an unknown key does nothing.
    void removeAndDestroy(const RWCollectable* key);

    /// Removes everything. `clear` deletes nothing, `clearAndDestroy` deletes keys and values.
    void clear();
    void clearAndDestroy();

    std::size_t entries() const { return m_entries.size(); }
    bool isEmpty() const { return m_entries.empty(); }

    void applyToKeyAndValue(RWapplyKeyAndValue function, void* context);

protected:
    // For derived classes that know the hash of a key without a virtual call. It must equal the
    // result of the key's `hash`.

    using Index = std::uint32_t;
    static constexpr Index kNone = ~Index{0};

    struct Entry {
        RWCollectable* key;
        RWCollectable* value;
        unsigned hash;
        Index next;  // in the same bucket
    };

    /// In the order in which an iterator visits them.
    const std::vector<Entry>& Entries() const { return m_entries; }

    /// False while all keys and values came from `InsertNew`, so that the derived class knows their
    /// types.
    bool MayHoldOthers() const { return m_mayHoldOthers; }

    // For derived classes that cache what they compute from the contents. Relaxed: the flags order
    // nothing, since a dictionary is never read while it is changed.

    /// True once a public operation or `NoteChange` has changed the dictionary since the last
    /// `ForgetChange`.
    bool IsNotedAsChanged() const { return m_isChanged.load(std::memory_order_relaxed); }
    void NoteChange() { m_isChanged.store(true, std::memory_order_relaxed); }
    void ForgetChange() { m_isChanged.store(false, std::memory_order_relaxed); }

    /// True once a caller has received or inserted a value. It stays true, since callers may keep
    /// values and change them unseen by the dictionary.
    bool HasHandedOut() const { return m_hasHandedOut.load(std::memory_order_relaxed); }
    void NoteHandedOut() const {
        // Written once only, to keep the cache line shared between reading threads.
        if (!HasHandedOut()) m_hasHandedOut.store(true, std::memory_order_relaxed);
    }

    /// The position among `Entries` of the first one with this hash for whose key `isKey(key)` is
    /// true, or `kNone`.
    template <class IsKey>
    Index FindEntry(unsigned hash, const IsKey& isKey) const {
        for (Index index = FirstInBucket(hash); index != kNone; index = m_entries[index].next) {
            const Entry& entry = m_entries[index];
            if (entry.hash == hash && isKey(entry.key)) return index;
        }
        return kNone;
    }

    // A look-up in three steps, each of which prefetches what the next one reads: other work in
    // between hides the memory latency.

    void PrefetchBucket(unsigned hash) const {
        __builtin_prefetch(m_buckets.data() + BucketNumber(hash));
    }
    /// The position of an entry from which `SameHashFrom` may start, or `kNone`.
    Index PrefetchEntry(unsigned hash) const {
        const Index index = FirstInBucket(hash);
        if (index != kNone) __builtin_prefetch(m_entries.data() + index);
        return index;
    }
    /// The position of the first entry with this hash from `index` on, or `kNone`. `index` may be
    /// stale.
    Index SameHashFrom(Index index, unsigned hash) const {
        while (index < m_entries.size() && m_entries[index].hash != hash)
            index = m_entries[index].next;
        return index;
    }

    /// Makes room for `count` entries in total, and for no more: the bucket table may then be
    /// smaller than the one that the first entry makes otherwise.
    void Reserve(std::size_t count);
    /// Inserts the pair. REQUIRES: there is no equal key.
    void InsertNew(RWCollectable* key, RWCollectable* value, unsigned hash);

private:
    friend class RWHashDictionaryIterator;

    /// Spreads `hash` over the buckets without a division: the multiplication mixes the hash, whose
    /// low bits alone may differ (small integers), and its high part scales it to the table.
    std::size_t BucketNumber(unsigned hash) const {
        const std::uint32_t mixed = static_cast<std::uint32_t>(hash) * 2654435769U;
        return static_cast<std::size_t>((std::uint64_t{mixed} * m_buckets.size()) >> 32);
    }
    Index FirstInBucket(unsigned hash) const {
        return m_entries.empty() ? kNone : m_buckets[BucketNumber(hash)];
    }

    Index& BucketOf(unsigned hash) { return m_buckets[BucketNumber(hash)]; }
    Index Find(const RWCollectable* key) const;
    Index Find(const RWCollectable* key, unsigned hash) const;
    void GrowTo(std::size_t buckets);
    void Unlink(Index index);
    Entry TakeOut(Index index);

    std::size_t m_initialBuckets;
    std::vector<Index> m_buckets;  // empty until the first entry, then heads of the chains
    std::vector<Entry> m_entries;
    bool m_mayHoldOthers = false;
    std::atomic<bool> m_isChanged{false};
    mutable std::atomic<bool> m_hasHandedOut{false};
};

/// Iterates over a dictionary, which must not change meanwhile. Owned by the thread that made it.
class KZPLATFORM_EXPORT RWHashDictionaryIterator {
public:
    /// Starts before the first entry. `dictionary` must outlive the iterator.
    explicit RWHashDictionaryIterator(const RWHashDictionary& dictionary);

    /// Advances and returns the key, or null past the last entry.
    RWCollectable* operator()();

    /// The current entry; null before the first and past the last.
    RWCollectable* key() const;
    RWCollectable* value() const;

    /// Goes back before the first entry.
    void reset();

private:
    const RWHashDictionary::Entry* Current() const;

    const RWHashDictionary& m_dictionary;
    std::size_t m_position = 0;  // 1 at the first entry
};

#endif
