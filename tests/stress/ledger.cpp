#include "ledger.h"

#include <cstdint>
#include <string>
#include <utility>

#include "names.h"

namespace {

// A message rounds a sum to three decimals, and fractions add up differently in another order.
constexpr double kRoundingPerSlice = 0.001;

std::string FormOf(const CKZStatDistribution& distribution) {
    std::string form;
    distribution.Encode(form);
    return form;
}

/// What a finding says of them.
std::string Describe(const CKZStatDistribution& distribution) {
    return std::to_string(distribution.GetCount()) + " values, the median of which is " +
           std::to_string(distribution.Quantile(0.5));
}

void ExpectSame(std::size_t name, const char* quantity, const CKZStatDistribution& expected,
                const CKZStatDistribution& found, Findings& findings) {
    if (FormOf(found) != FormOf(expected))
        findings.Note(Names()[name].text + ", " + quantity, Describe(expected), Describe(found));
}

/// Whether no bucket of `part` has more values than that of `whole`.
bool IsPartOf(const CKZStatDistribution& part, const CKZStatDistribution& whole) {
    std::map<std::pair<double, double>, std::uint64_t> ofWhole;
    whole.ForEachBucket([&](double low, double high, std::uint64_t count) {
        ofWhole[{low, high}] = count;
    });
    bool isPart = true;
    part.ForEachBucket([&](double low, double high, std::uint64_t count) {
        isPart = isPart && count <= ofWhole[{low, high}];
    });
    return isPart;
}

}  // namespace

double Ledger::ToleranceOf(const Account& account, const Entry& entry) {
    return Names()[account.name].isTimer ? kRoundingPerSlice * (entry.slices + 1) : 0;
}

void Ledger::Enter(const Account& account, const Amount& lasts, const Amount& totals,
                   Findings& findings) {
    Entry& entry = m_entries[account];
    entry.lasts.count += lasts.count;
    entry.lasts.sum += lasts.sum;
    entry.totals = totals;
    entry.slices += 1;
    findings.Expect(account, "count of the slices against the total", totals.count,
                    entry.lasts.count);
    findings.Expect(account, "sum of the slices against the total", totals.sum, entry.lasts.sum,
                    ToleranceOf(account, entry));
}

void Ledger::EnterDistributions(std::size_t name, const CKZStatDistribution& lasts,
                                const CKZStatDistribution& totals, Findings& findings) {
    CKZStatDistribution& entered = m_distributions[name];
    entered.Add(lasts);
    ExpectSame(name, "distribution of the slices against the run", totals, entered, findings);
}

void Ledger::CheckDistributionsAgainst(const Books& books, Findings& findings) const {
    Books::Distributions entered = m_distributions;
    for (const auto& [name, values] : books.GetDistributions())
        ExpectSame(name, "distribution of the run", values, entered[name], findings);
}

void Ledger::CheckDistributionsForNoMoreThan(const Books& books, Findings& findings) const {
    Books::Distributions reported = books.GetDistributions();
    for (const auto& [name, values] : m_distributions)
        if (!IsPartOf(values, reported[name]))
            findings.Note(Names()[name].text + ", distribution of the run",
                          "a part of " + Describe(reported[name]), Describe(values));
}

Ledger::Entry Ledger::Of(const Account& account) const {
    const auto known = m_entries.find(account);
    return known == m_entries.end() ? Entry{} : known->second;
}

void Ledger::CheckThatClientsAddUp(Findings& findings) const {
    std::map<std::size_t, Amount> ofClients;
    for (const auto& [account, entry] : m_entries) {
        if (account.clientId == Account::kAllClients) continue;
        Amount& amount = ofClients[account.name];
        amount.count += entry.totals.count;
        amount.sum += entry.totals.sum;
    }
    for (std::size_t name = 0; name < Names().size(); ++name) {
        const Account all{Account::kAllClients, name};
        const Entry entry = Of(all);
        findings.Expect(all, "count against the clients", ofClients[name].count,
                        entry.totals.count);
        findings.Expect(all, "sum against the clients", ofClients[name].sum, entry.totals.sum,
                        ToleranceOf(all, entry));
    }
}

void Ledger::CheckAccount(const Account& account, const Book& book, Findings& findings) const {
    const Entry entry = Of(account);
    const double tolerance = ToleranceOf(account, entry);
    findings.Expect(account, "count of the slices", book.count, entry.lasts.count);
    findings.Expect(account, "count of the run", book.count, entry.totals.count);
    findings.Expect(account, "sum of the slices", book.Sum(), entry.lasts.sum, tolerance);
    findings.Expect(account, "sum of the run", book.Sum(), entry.totals.sum, tolerance);
}

void Ledger::CheckAgainst(const Books& books, Findings& findings) const {
    for (const auto& [account, book] : books.GetAccounts()) CheckAccount(account, book, findings);
    for (const auto& [account, entry] : m_entries)
        CheckAccount(account, books.Of(account), findings);
}

void Ledger::CheckForNoMoreThan(const Books& books, Findings& findings) const {
    for (const auto& [account, entry] : m_entries) {
        const Book book = books.Of(account);
        const double tolerance = ToleranceOf(account, entry);
        findings.ExpectWithin(account, "count of the run", 0, book.count, entry.totals.count);
        findings.ExpectWithin(account, "sum of the run", book.losses - tolerance,
                              book.gains + tolerance, entry.totals.sum);
    }
}
