#ifndef KZ_STRESS_LEDGER_H
#define KZ_STRESS_LEDGER_H

#include <map>

#include "books.h"
#include "findings.h"

/// How many values, and their sum. Compatible.
struct Amount {
    double count = 0;
    double sum = 0;
};

/// What the generator said, slice by slice. Compatible: one thread at a time per object.
class Ledger {
public:
    /// Enters what one slice says of an account: its lasts are added to those before, its totals
    /// take the place of the former ones. Notes it when the two disagree.
    void Enter(const Account& account, const Amount& lasts, const Amount& totals,
               Findings& findings);

    /// The same of the distributions of a name, over all clients.
    void EnterDistributions(std::size_t name, const CKZStatDistribution& lasts,
                            const CKZStatDistribution& totals, Findings& findings);

    /// Notes every account whose clients do not add up to that of all clients.
    void CheckThatClientsAddUp(Findings& findings) const;
    /// Notes every account that does not say what `books` say.
    void CheckAgainst(const Books& books, Findings& findings) const;
    /// Notes every account that says more than `books` say.
    void CheckForNoMoreThan(const Books& books, Findings& findings) const;
    /// The same of the distributions.
    void CheckDistributionsAgainst(const Books& books, Findings& findings) const;
    void CheckDistributionsForNoMoreThan(const Books& books, Findings& findings) const;

private:
    struct Entry {
        Amount lasts;
        Amount totals;
        int slices = 0;
    };

    static double ToleranceOf(const Account& account, const Entry& entry);
    Entry Of(const Account& account) const;
    void CheckAccount(const Account& account, const Book& book, Findings& findings) const;

    std::map<Account, Entry> m_entries;
    Books::Distributions m_distributions;  // those of all slices
};

#endif
