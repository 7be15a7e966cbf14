#include "clientpool.h"

namespace {

constexpr int kFirstId = 80;

}  // namespace

ClientPool::ClientPool(CKZStatGenMain& main) : m_main(main) {
    int id = kFirstId;
    for (Place& place : m_places) place.handle = std::make_unique<Handle>(main, id++);
}

void ClientPool::Replace(std::size_t client) {
    Place& place = m_places[client];
    const std::lock_guard guard(place.lock);
    place.handle = std::make_unique<Handle>(m_main, place.handle->id);
    ++m_destroyed;
}
