#ifndef KZ_STRESS_BOOKS_H
#define KZ_STRESS_BOOKS_H

#include <compare>
#include <cstddef>
#include <map>

#include "kzstatdistribution.h"

/// Values of one name, of one client id or of all together. Compatible.
struct Account {
    static constexpr int kAllClients = -1;

    int clientId;
    std::size_t name;  // index in Names()

    auto operator<=>(const Account&) const = default;
};

/// What was reported on one account. Compatible.
struct Book {
    double count = 0;
    // Apart, since a sum that is missing some values lies anywhere between the two.
    double gains = 0;
    double losses = 0;

    double Sum() const { return gains + losses; }
    void Enter(double value);
    void Add(const Book& other);
};

/// The program's own record of what it reported. Each thread keeps its own; they are added up when
/// the threads have ended. Compatible: one thread at a time per object.
class Books {
public:
    using Accounts = std::map<Account, Book>;
    /// By the index of the name, over all clients.
    using Distributions = std::map<std::size_t, CKZStatDistribution>;

    /// On the account of the client and on that of all clients.
    void Enter(int clientId, std::size_t name, double value);
    void Add(const Books& other);

    const Accounts& GetAccounts() const { return m_accounts; }
    const Distributions& GetDistributions() const { return m_distributions; }
    /// An empty book for an account that was never used.
    Book Of(const Account& account) const;
    /// All values of all names.
    double CountOfAll() const;

private:
    Accounts m_accounts;
    Distributions m_distributions;
};

#endif
