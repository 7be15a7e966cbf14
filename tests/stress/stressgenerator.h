#ifndef KZ_STRESS_STRESSGENERATOR_H
#define KZ_STRESS_STRESSGENERATOR_H

#include <atomic>
#include <exception>
#include <map>
#include <string>

#include "books.h"
#include "dice.h"
#include "findings.h"
#include "kzstatisticsgenerator.h"
#include "kzstatmessage.h"
#include "ledger.h"

/// What a hook throws, and nothing else in a round does.
class HookFailure : public std::exception {};

/// A host whose hooks enter what they receive into a ledger, ask the dictionaries everything and
/// make a nuisance of themselves. `Quieten`, `PauseFor`, `LastSentEnd` and `MessageCount` are safe
/// for concurrent use; the results belong to the pack thread and, once that is joined, to whoever
/// joined it.
class StressGenerator : public CKZStatGenMain {
public:
    StressGenerator(const RoundKey& key, double sliceLength);

    void SendClientDictionary(CKZStatGenMeasurementDictionary* perClient, int clientId,
                              double sliceEndTime) override;
    void SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double sliceLength,
                             double elapsed) override;
    void SendSliceValues(const CKZStatSliceValues& slice) override;
    int SendDictionaryString(RWCString& text, double elapsed, const char* name) override;

    /// Hooks that begin after this report no values any more, nor are they slow on purpose: else
    /// slices could end faster than they are sent, and the round not at all.
    void Quieten() { m_isQuiet = true; }
    /// Called by one thread.
    void PauseFor(double seconds);

    /// The end of the slice whose message was sent last; 0 before. Every hook of the slices before
    /// it has returned.
    double LastSentEnd() const { return m_lastSentEnd; }
    int MessageCount() const { return m_messageCount; }
    /// How many hooks threw.
    int Throws() const { return m_throws; }
    double SliceLength() const { return m_ownSliceLength; }

    const Ledger& GetLedger() const { return m_ledger; }
    const Books& GetBooks() const { return m_books; }
    bool CollectsDistributions() const { return m_collects; }
    const Findings& GetFindings() const { return m_findings; }

private:
    using Dictionary = CKZStatGenMeasurementDictionary;

    /// What a dictionary says of one name.
    struct Noted {
        Amount lasts;
        Amount totals;
    };

    /// What a view shows of one name.
    struct Shown {
        CKZStatDistribution lasts;
        CKZStatDistribution totals;
    };

    void NoteDistributions(const CKZStatSliceValues::Record& record);
    void NoteDictionary(Dictionary& dictionary, int clientId);
    void EnterDictionaries();
    void EnterDistributions();
    void CompareWithValues(const CKZStatMessage& message);
    void EnterRecords(const CKZStatMessage& message);
    void CheckHeader(const CKZStatMessage& message);
    void AskEverything(Dictionary& dictionary, int clientId);
    void AskForName(Dictionary& dictionary, const Account& account);
    void AskForUnknownName(Dictionary& dictionary);
    void DumpAndWalk(Dictionary& dictionary);
    void DisturbTheRound();
    void ReportValues();

    const double m_ownSliceLength;
    std::atomic<bool> m_isQuiet{false};
    std::atomic<double> m_paused{0};
    std::atomic<double> m_lastSentEnd{0};
    std::atomic<int> m_messageCount{0};

    // The rest is the pack thread's.
    Dice m_dice;
    const int m_haste;      // a hook is slow once in so many calls
    const int m_patience;   // a hook throws once in so many calls
    const bool m_collects;  // distributions of all names
    int m_throws = 0;
    double m_sliceEnd = 0;
    // Enters the ledger with the message: a slice that is dropped between the two, at the end of
    // a round, is told by none.
    std::map<Account, Noted> m_sliceInHand;
    std::map<std::string, Noted> m_valuesInHand;
    std::map<std::size_t, Shown> m_distributionsInHand;
    Ledger m_ledger;
    Books m_books;
    Findings m_findings;
    CKZStatGenClient m_client;
};

#endif
