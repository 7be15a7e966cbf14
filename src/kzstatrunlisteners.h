#ifndef KZSTATRUNLISTENERS_H
#define KZSTATRUNLISTENERS_H

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kzstatlog.h"
#include "rw/cstring.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"

/// The functions that are called for each slice, in the order in which they were added, and what
/// they threw.
///
/// Safe for concurrent use, except that one thread calls.
template <class Argument>
class CKZStatRunListeners {
public:
    using Function = std::function<void(Argument&)>;

    /// `kind` names a function in complaints; a literal.
    explicit CKZStatRunListeners(const char* kind) : m_kind(kind) {}

    /// `atEnd`, where it is not empty, is called once by `Close`. Returns false for an empty
    /// function and once closed.
    bool Add(Function function, std::function<void()> atEnd = nullptr) {
        if (!function) return false;
        auto added = std::make_unique<Listener>();
        added->function = std::move(function);
        added->atEnd = std::move(atEnd);
        const RWMutexLock::LockGuard guard(m_lock);
        if (!m_isClosed) m_listeners.push_back(std::move(added));
        return !m_isClosed;
    }

    /// Calls each function that was there before the call as long as `mayGoOn()`. Never throws.
    template <class MayGoOn>
    void CallAll(Argument& argument, MayGoOn mayGoOn) {
        const std::size_t count = Count();
        for (std::size_t i = 0; i < count && mayGoOn(); ++i)
            Call(i, [&](Listener& listener) { listener.function(argument); });
    }

    /// Tells the end and destroys the functions. Called by the thread that calls them, or where
    /// there is none. Never throws.
    void Close() {
        {
            const RWMutexLock::LockGuard guard(m_lock);
            m_isClosed = true;
        }
        // Without the lock: what a function captured may come back here when it is destroyed.
        const std::size_t count = Count();
        for (std::size_t i = 0; i < count; ++i) Call(i, &End);
    }

    void AppendComplaints(std::vector<RWCString>& complaints) const {
        const RWMutexLock::LockGuard guard(m_lock);
        for (std::size_t i = 0; i < m_listeners.size(); ++i) {
            const Listener& listener = *m_listeners[i];
            if (listener.failures == 0) continue;
            const std::string line = std::string(m_kind) + " " + std::to_string(i + 1) + " threw " +
                                     std::to_string(listener.failures) +
                                     (listener.failures == 1 ? " time: " : " times, first: ") +
                                     listener.firstFailure;
            complaints.emplace_back(line.data(), line.size());
        }
    }

private:
    struct Listener {
        Function function;              // the calling thread's
        std::function<void()> atEnd{};  // the calling thread's
        long long failures = 0;         // under m_lock
        std::string firstFailure{};     // under m_lock
    };

    std::size_t Count() const {
        const RWMutexLock::LockGuard guard(m_lock);
        return m_listeners.size();
    }
    Listener& At(std::size_t index) const {
        const RWMutexLock::LockGuard guard(m_lock);
        return *m_listeners[index];
    }

    static void End(Listener& listener) {
        const Function destroyed = std::move(listener.function);
        const std::function<void()> atEnd = std::move(listener.atEnd);
        if (atEnd) atEnd();
    }

    template <class Work>
    void Call(std::size_t index, Work work) {
        Listener& listener = At(index);
        try {
            work(listener);
        } catch (const std::exception& failure) {
            NoteFailure(listener, failure.what(), index);
        } catch (...) {
            NoteFailure(listener, "something that is no std::exception", index);
        }
    }

    void NoteFailure(Listener& listener, const char* what, std::size_t index) {
        {
            const RWMutexLock::LockGuard guard(m_lock);
            if (++listener.failures > 1) return;
            try {
                listener.firstFailure = what;
            } catch (...) {  // memory ran out: the number is left
            }
        }
        KZ_LOG_ERROR(m_kind, " ", index + 1, " threw: ", what);
    }

    const char* const m_kind;
    mutable RWMutexLock m_lock;
    std::vector<std::unique_ptr<Listener>> m_listeners RYP_GUARDED_BY(m_lock);
    bool m_isClosed RYP_GUARDED_BY(m_lock) = false;
};

#endif
