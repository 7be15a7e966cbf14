#include "stressgenerator.h"

#include <algorithm>
#include <thread>

#include "names.h"
#include "ryp/clock.h"

namespace {

constexpr char kGeneratorName[] = "stress";
constexpr int kHookClientId = 50;
// Messages have three decimals.
constexpr double kRounding = 0.0006;
// So have elapsed times, and each slice's end is rounded to what a double can hold.
constexpr double kElapsedRounding = 0.001;
constexpr double kEndRoundingPerSlice = 3e-7;

Amount Lasts(const CKZStatMessageRecord& record) {
    return {record.lasts.count, record.lasts.sum};
}

Amount Totals(const CKZStatMessageRecord& record) {
    return {record.totals.count, record.totals.sum};
}

}  // namespace

StressGenerator::StressGenerator(const RoundKey& key, double sliceLength)
    : CKZStatGenMain(kGeneratorName),
      m_ownSliceLength(sliceLength),
      m_dice(key, HookDice),
      m_haste(m_dice.OneOf({30, 300, 3000})),
      m_patience(m_dice.OneOf({50, 500, 5000})),
      m_collects(!m_dice.OneIn(4)),
      m_client(this, kHookClientId) {
    if (m_collects)
        CollectDistributions(
            {[](std::string_view, CKZStatPointTypeEnum::PointType) { return true; }});
}

void StressGenerator::PauseFor(double seconds) {
    // Noted first: a message that leaves the pause out already is within bounds.
    m_paused = m_paused + seconds;
    Freeze();
    std::this_thread::yield();
    DeFrost(seconds);
}

// -------------------------------------------------------------------------------------- hooks

void StressGenerator::SendClientDictionary(Dictionary* perClient, int clientId,
                                           double sliceEndTime) {
    m_sliceEnd = sliceEndTime;
    NoteDictionary(*perClient, clientId);
    if (m_dice.OneIn(8)) AskEverything(*perClient, clientId);
    DisturbTheRound();
}

void StressGenerator::SendTotalDictionary(Dictionary* merged, double sliceLength, double) {
    m_findings.Expect("slice length given to the hook", m_ownSliceLength, sliceLength);
    if (m_dice.OneIn(2)) AskEverything(*merged, Account::kAllClients);
    DisturbTheRound();
}

void StressGenerator::SendSliceValues(const CKZStatSliceValues& slice) {
    m_findings.Expect("slice id of the values", m_messageCount + 1, slice.GetSliceId());
    m_valuesInHand.clear();
    m_distributionsInHand.clear();
    for (const CKZStatSliceValues::Record& record : slice.GetRecords()) {
        m_valuesInHand[std::string(record.name)] = {{record.lasts.count, record.lasts.sum},
                                                    {record.totals.count, record.totals.sum}};
        NoteDistributions(record);
    }
    DisturbTheRound();
}

/// Is a nuisance first, unlike the other hooks: a message whose hook threw is given again and
/// counts once.
int StressGenerator::SendDictionaryString(RWCString& text, double, const char* name) {
    DisturbTheRound();
    CKZStatMessage message;
    std::size_t fault = 0;
    ++m_messageCount;
    if (message.Read(text, CKZStatMessage::FullRecords, fault)) {
        CheckHeader(message);
        EnterDictionaries();
        EnterDistributions();
        CompareWithValues(message);
        EnterRecords(message);
    } else {
        m_findings.Note("message", "one that can be read", "a fault at " + std::to_string(fault));
    }
    if (RWCString(name) != kGeneratorName) m_findings.Note("name", kGeneratorName, name);
    m_lastSentEnd = m_sliceEnd;
    return 1;
}

// ------------------------------------------------------------------------------------ messages

/// A name has one type and is changed by nobody, so its distributions are never missing.
void StressGenerator::NoteDistributions(const CKZStatSliceValues::Record& record) {
    const auto shown = [](const CKZStatDistribution* values) { return values ? 1 : 0; };
    m_findings.Expect("distributions shown", m_collects ? 2 : 0,
                      shown(record.lastsDistribution) + shown(record.totalsDistribution));
    if (!record.lastsDistribution || !record.totalsDistribution) return;
    m_findings.Expect("values in the distribution of the slice", record.lasts.count,
                      static_cast<double>(record.lastsDistribution->GetCount()));
    m_findings.Expect("values in the distribution of the run", record.totals.count,
                      static_cast<double>(record.totalsDistribution->GetCount()));
    // A generator that compares whole distributions slice by slice, however silent, can fall behind
    // the clock further and further.
    if (record.lastsDistribution->GetCount() == 0) return;
    const auto isNamed = [&](const Name& name) { return name.text == record.name; };
    const auto known = std::find_if(Names().begin(), Names().end(), isNamed);
    if (known == Names().end()) return;  // a finding of its own, with the message
    m_distributionsInHand[static_cast<std::size_t>(known - Names().begin())] = {
        *record.lastsDistribution, *record.totalsDistribution};
}

void StressGenerator::EnterDistributions() {
    for (const auto& [name, shown] : m_distributionsInHand)
        m_ledger.EnterDistributions(name, shown.lasts, shown.totals, m_findings);
}

void StressGenerator::CheckHeader(const CKZStatMessage& message) {
    if (message.GetGeneratorName() != kGeneratorName)
        m_findings.Note("generator name", kGeneratorName, message.GetGeneratorName().data());
    const int id = m_messageCount;
    m_findings.Expect("slice id", id, message.GetSliceId());
    m_findings.Expect("slice length", m_ownSliceLength, message.GetSliceLength(), kElapsedRounding);
    // Pauses are taken off at any moment, so the bounds are as wide as all of them so far.
    const double paused = m_paused;
    m_findings.Expect("elapsed time", id * m_ownSliceLength - paused / 2, message.GetElapsed(),
                      paused / 2 + kElapsedRounding + id * kEndRoundingPerSlice);
}

void StressGenerator::CompareWithValues(const CKZStatMessage& message) {
    m_findings.Expect("names among the values", static_cast<double>(message.GetRecords().size()),
                      static_cast<double>(m_valuesInHand.size()));
    for (const CKZStatMessageRecord& record : message.GetRecords()) {
        const Noted& values = m_valuesInHand[record.name.data()];
        m_findings.Expect("count of the values", record.totals.count, values.totals.count);
        m_findings.Expect("sum of the values", record.totals.sum, values.totals.sum, kRounding);
        m_findings.Expect("count of the slice's values", record.lasts.count, values.lasts.count);
        m_findings.Expect("sum of the slice's values", record.lasts.sum, values.lasts.sum,
                          kRounding);
    }
}

void StressGenerator::EnterRecords(const CKZStatMessage& message) {
    std::size_t known = 0;
    for (std::size_t i = 0; i < Names().size(); ++i) {
        const CKZStatMessageRecord* const record = message.FindRecord(Names()[i].text.c_str());
        if (record == nullptr) continue;
        ++known;
        const Account account{Account::kAllClients, i};
        m_findings.Expect(account, "type", Names()[i].type, record->type);
        m_ledger.Enter(account, Lasts(*record), Totals(*record), m_findings);
    }
    m_findings.Expect("records in the message", static_cast<double>(known),
                      static_cast<double>(message.GetRecords().size()));
}

// --------------------------------------------------------------------------------- dictionaries

/// Noted only, since a hook that throws has all dictionaries given again: what they say then takes
/// the place of what they said.
void StressGenerator::NoteDictionary(Dictionary& dictionary, int clientId) {
    for (std::size_t i = 0; i < Names().size(); ++i) {
        const char* const name = Names()[i].text.c_str();
        if (dictionary.GetMeasurement(name) == nullptr) continue;
        m_sliceInHand[{clientId, i}] = {
            {static_cast<double>(dictionary.GetLastsCount(name)), dictionary.GetLastsSum(name)},
            {static_cast<double>(dictionary.GetCount(name)), dictionary.GetSum(name)}};
    }
}

void StressGenerator::EnterDictionaries() {
    for (const auto& [account, noted] : m_sliceInHand)
        m_ledger.Enter(account, noted.lasts, noted.totals, m_findings);
    m_sliceInHand.clear();
}

void StressGenerator::AskEverything(Dictionary& dictionary, int clientId) {
    for (std::size_t i = 0; i < Names().size(); ++i)
        if (dictionary.GetMeasurement(Names()[i].text.c_str()) != nullptr)
            AskForName(dictionary, {clientId, i});
    AskForUnknownName(dictionary);
    DumpAndWalk(dictionary);
}

void StressGenerator::AskForName(Dictionary& dictionary, const Account& account) {
    const char* const name = Names()[account.name].text.c_str();
    m_findings.Expect(account, "average", dictionary.GetSum(name) / dictionary.GetCount(name),
                      dictionary.GetAverage(name));
    const int lastsCount = dictionary.GetLastsCount(name);
    m_findings.Expect(account, "average of the slice",
                      lastsCount > 0 ? dictionary.GetLastsSum(name) / lastsCount : -1,
                      dictionary.GetLastsAverage(name));
    m_findings.Expect(account, "standard deviation", 0, dictionary.GetStddev(name));
    m_findings.ExpectWithin(account, "minimum", dictionary.GetMinimum(name),
                            dictionary.GetMaximum(name), dictionary.GetMinimum(name));
    m_findings.ExpectWithin(account, "minimum of the slice", dictionary.GetLastsMinimum(name),
                            dictionary.GetLastsMaximum(name), dictionary.GetLastsMinimum(name));
    m_findings.ExpectWithin(account, "sum of squares of the slice", 0, dictionary.GetSumSqr(name),
                            dictionary.GetLastsSumSqr(name));
}

void StressGenerator::AskForUnknownName(Dictionary& dictionary) {
    const char* const name = "unknown";
    for (const double answer :
         {dictionary.GetMaximum(name), double(dictionary.GetCount(name)), dictionary.GetSum(name),
          dictionary.GetSumSqr(name), dictionary.GetStddev(name), dictionary.GetAverage(name),
          dictionary.GetLastsMinimum(name), dictionary.GetLastsMaximum(name),
          double(dictionary.GetLastsCount(name)), dictionary.GetLastsSum(name),
          dictionary.GetLastsSumSqr(name), dictionary.GetLastsAverage(name)})
        m_findings.Expect("answer for an unknown name", -1, answer);
}

void StressGenerator::DumpAndWalk(Dictionary& dictionary) {
    RWCString full;
    RWCString lasts;
    dictionary.DumpDict(full);
    dictionary.DumpLasts(lasts);
    std::size_t walked = 0;
    for (RWHashDictionaryIterator next(dictionary); next() != nullptr;) ++walked;
    m_findings.Expect("names walked over", static_cast<double>(dictionary.entries()),
                      static_cast<double>(walked));
    m_findings.Expect("dumps that are empty", walked == 0 ? 2 : 0, full.isNull() + lasts.isNull());
}

// ----------------------------------------------------------------------------------- nuisances

/// What a hook does besides looking. Whatever else a host's hook might do to its generator belongs
/// here.
void StressGenerator::DisturbTheRound() {
    if (!m_isQuiet) {
        if (m_dice.OneIn(m_haste)) std::this_thread::sleep_for(m_dice.UpToMilliseconds(3));
        if (m_dice.OneIn(4 * m_haste)) RyPSleep(m_ownSliceLength);
        if (m_dice.OneIn(4)) ReportValues();
    }
    if (m_dice.OneIn(m_patience)) {
        ++m_throws;
        throw HookFailure();
    }
}

void StressGenerator::ReportValues() {
    for (int left = m_dice.Between(1, 5); left > 0; --left) {
        const std::size_t name = m_dice.Index(kWholeNames);
        const int value = m_dice.Between(-9, 99);
        m_client.AddLast(Names()[name].text.c_str(), value, Names()[name].type);
        m_books.Enter(kHookClientId, name, value);
    }
    if (m_dice.OneIn(3)) m_client.FlushStatsCache();
}
