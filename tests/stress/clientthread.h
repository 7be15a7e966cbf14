#ifndef KZ_STRESS_CLIENTTHREAD_H
#define KZ_STRESS_CLIENTTHREAD_H

#include <thread>
#include <vector>

#include "books.h"
#include "clientpool.h"
#include "dice.h"
#include "handle.h"
#include "kzstatisticsgenerator.h"

/// What the client threads of a round have in common, and what they may do. Compatible.
struct Company {
    CKZStatGenMain& main;
    Handle& shared;  // reported through by all, at any moment
    ClientPool& pool;
    bool destroysClients;
    bool terminates;
};

/// A thread that makes and destroys clients and reports through them, and through those of the
/// round, until it is stopped. The clients that it has then stay, idle, until this object is
/// destroyed. Owned by the thread that made it.
class ClientThread {
public:
    /// `number` counts the client threads of the round.
    ClientThread(const Company& company, const RoundKey& key, unsigned number);

    /// Asks the thread to end; `Join` waits until it has.
    void Stop() { m_thread.request_stop(); }
    void Join() { m_thread.join(); }
    /// REQUIRES: joined.
    const Books& GetBooks() const { return m_books; }
    /// REQUIRES: joined.
    int Destroyed() const { return m_destroyed; }

private:
    void Run(const std::stop_token& stop);
    Handle& AnyHandle();
    void MakeClient();
    void DestroyClient();
    void Report();
    void ReportShared();
    void ReportPooled();
    void ReportOnAnotherThread();
    void ReportThrough(Handle& handle);
    void ReportValues(Handle& handle, int count);
    void ReportBriefly();
    void DisturbPooled();
    void ReplacePooled();
    void Terminate();
    void Flush();
    void StartTimer();
    void SendTimer();
    void MoveOn();
    void Idle();

    const Company m_company;
    const unsigned m_number;
    Dice m_dice;
    std::vector<Handle> m_handles;
    Books m_books;
    int m_destroyed = 0;
    std::jthread m_thread;
};

#endif
