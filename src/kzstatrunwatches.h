#ifndef KZSTATRUNWATCHES_H
#define KZSTATRUNWATCHES_H

#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/texthash.h"

class CKZStatRunWatches;

/// A name that stopwatches of one client time, and the starts of those under way, in nanoseconds on
/// the monotonic clock.
struct CKZStatWatchedName {
    std::string name;
    std::list<long long> running{};
    std::list<long long> spare{};  // nodes, so that a stopwatch allocates nothing
};

/// All stopwatches of a run: a view over those of its clients. Safe for concurrent use.
///
/// Locks: m_clientsLock before a client's lock before m_namesLock.
class CKZStatRunWatchBoard {
public:
    struct Tally {
        int running = 0;
        long long oldestStart = 0;  // where any is running
    };

    void Join(const CKZStatRunWatches& watches);
    void Leave(const CKZStatRunWatches& watches);
    /// A client times `name` for the first time.
    void NoteName(const std::string& name);

    /// What is under way, for every name that ever was.
    std::map<std::string, Tally> Count() const;

private:
    mutable RWMutexLock m_clientsLock;
    std::unordered_set<const CKZStatRunWatches*> m_clients RYP_GUARDED_BY(m_clientsLock);
    mutable RWMutexLock m_namesLock;
    std::set<std::string> m_names RYP_GUARDED_BY(m_namesLock);
};

/// The stopwatches under way of one client. Safe for concurrent use: those of different clients
/// share no lock, apart from the first one of each name.
class CKZStatRunWatches {
public:
    using Position = std::list<long long>::iterator;

    struct Watch {
        CKZStatWatchedName* name;
        Position start;
    };

    /// `board` must outlive the watches.
    explicit CKZStatRunWatches(CKZStatRunWatchBoard& board);
    ~CKZStatRunWatches();
    CKZStatRunWatches(const CKZStatRunWatches&) = delete;
    CKZStatRunWatches& operator=(const CKZStatRunWatches&) = delete;

    Watch Begin(std::string_view name, long long startNanoseconds);
    void End(const Watch& watch);

    void AddTo(std::map<std::string, CKZStatRunWatchBoard::Tally>& tallies) const;

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return RyPTextHash::Of(text); }
    };

    CKZStatWatchedName& Find(std::string_view name) RYP_REQUIRES(m_lock);

    CKZStatRunWatchBoard& m_board;
    mutable RWMutexLock m_lock;
    std::unordered_map<std::string, CKZStatWatchedName, Hash, std::equal_to<>> m_names
        RYP_GUARDED_BY(m_lock);
};

#endif
