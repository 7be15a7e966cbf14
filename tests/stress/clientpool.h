#ifndef KZ_STRESS_CLIENTPOOL_H
#define KZ_STRESS_CLIENTPOOL_H

#include <array>
#include <atomic>
#include <cstddef>
#include <shared_mutex>

#include "handle.h"

/// Clients that no thread has for itself: whoever comes reports through one, several threads at
/// once, and puts another in its place at any moment. Safe for concurrent use.
class ClientPool {
public:
    static constexpr std::size_t kClients = 6;

    explicit ClientPool(CKZStatGenMain& main);

    /// Calls `work` with one of the clients, which stays as long as that takes.
    template <class Work>
    void Use(std::size_t client, Work work) {
        Place& place = m_places[client];
        // Readers of the lock know nothing of one another, so that it hides no race among them.
        const std::shared_lock guard(place.lock);
        work(*place.handle);
    }
    /// Destroys one of the clients and makes another with the same id.
    void Replace(std::size_t client);

    int Destroyed() const { return m_destroyed; }

private:
    struct Place {
        std::shared_mutex lock;
        std::unique_ptr<Handle> handle;
    };

    CKZStatGenMain& m_main;
    std::array<Place, kClients> m_places;
    std::atomic<int> m_destroyed{0};
};

#endif
