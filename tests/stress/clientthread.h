#ifndef KZ_STRESS_CLIENTTHREAD_H
#define KZ_STRESS_CLIENTTHREAD_H

#include <memory>
#include <thread>
#include <vector>

#include "books.h"
#include "dice.h"
#include "kzstatisticsgenerator.h"

/// A client handle and the id that it was made with. Compatible.
struct Handle {
    Handle(CKZStatGenMain& main, int clientId)
        : id(clientId), client(std::make_unique<CKZStatGenClient>(&main, clientId)) {}

    int id;
    std::unique_ptr<CKZStatGenClient> client;
};

/// A thread that makes and destroys clients and reports through them until it is stopped. The
/// clients that it has then stay, idle, until this object is destroyed. Owned by the thread that
/// made it.
class ClientThread {
public:
    /// `number` counts the client threads of the round. `shared` is reported through by all.
    ClientThread(CKZStatGenMain& main, Handle& shared, const RoundKey& key, unsigned number);

    /// Asks the thread to end; `Join` waits until it has.
    void Stop() { m_thread.request_stop(); }
    void Join() { m_thread.join(); }
    /// REQUIRES: joined.
    const Books& GetBooks() const { return m_books; }

private:
    void Run(const std::stop_token& stop);
    Handle& AnyHandle();
    void MakeClient();
    void DestroyClient();
    void Report();
    void ReportShared();
    void ReportThrough(Handle& handle);
    void Flush();
    void StartTimer();
    void SendTimer();
    void MoveOn();
    void Idle();

    CKZStatGenMain& m_main;
    Handle& m_shared;
    const unsigned m_number;
    Dice m_dice;
    std::vector<Handle> m_handles;
    Books m_books;
    std::jthread m_thread;
};

#endif
