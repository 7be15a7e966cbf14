#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "ryp/clock.h"
#include "support/recordinggenerator.h"

// What a host sees of the shared library, through its public headers only.

namespace {

using Types = CKZStatPointTypeEnum;

constexpr int kThreads = 8;
constexpr int kValuesPerThread = 50000;
constexpr int kNames = 10;
constexpr double kSliceSeconds = 0.005;
constexpr int kPauses = 6;

std::string NameOf(int index) {
    return "request." + std::to_string(index);
}

/// What one thread reports: whole numbers, so that sums are exact in any order.
double ValueOf(int thread, int i) {
    return (thread + 1) * 1000 + i % 97;
}

struct Books {
    double count = 0;
    double sum = 0;
};

std::vector<Books> BooksOfAllThreads() {
    std::vector<Books> books(kNames);
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int i = 0; i < kValuesPerThread; ++i) {
            Books& book = books[static_cast<std::size_t>(i % kNames)];
            book.count += 1;
            book.sum += ValueOf(thread, i);
        }
    }
    return books;
}

/// Pauses, so that the values come in several slices however fast the machine is.
void ReportAll(CKZStatGenMain& generator, int thread) {
    std::vector<std::string> names;
    for (int i = 0; i < kNames; ++i) names.push_back(NameOf(i));
    CKZStatGenClient client(&generator, thread);
    for (int i = 0; i < kValuesPerThread; ++i) {
        client.AddLast(names[static_cast<std::size_t>(i % kNames)].c_str(), ValueOf(thread, i),
                       Types::Measurement);
        if (i % (kValuesPerThread / kPauses) == 0) RyPSleep(kSliceSeconds);
    }
}

/// Lets slices end until the totals of the last message hold `count` values.
void LetTheLastValuesBeSent(RecordingGenerator& generator, double count) {
    CKZStatGenClient control(&generator, 0);
    for (;;) {
        control.GetNewDictionary();
        if (generator.MessageCount() > 0) {
            double sent = 0;
            const Message last = generator.LastMessage();
            for (const Record& record : last.records) sent += record.count;
            if (sent >= count) return;
        }
        RyPSleep(kSliceSeconds);
    }
}

TEST(EndToEnd, MessagesTotalsAndReportedValuesAgreeToTheLastUnit) {
    RecordingGenerator generator("e2e");
    generator.Start(RyPSysTime(), kSliceSeconds);
    RunningLoops loops(generator);

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&generator, thread] { ReportAll(generator, thread); });
    for (std::thread& thread : threads) thread.join();
    LetTheLastValuesBeSent(generator, double{kThreads} * kValuesPerThread);
    loops.Stop();

    const std::vector<Message> messages = generator.Messages();
    const std::vector<Books> books = BooksOfAllThreads();
    EXPECT_GE(messages.size(), std::size_t{kPauses});
    for (int i = 0; i < kNames; ++i) {
        const Books& book = books[static_cast<std::size_t>(i)];
        double lastsCount = 0;
        double lastsSum = 0;
        for (const Message& message : messages) {
            if (const Record* const record = message.Find(NameOf(i))) {
                lastsCount += record->lastsCount;
                lastsSum += record->lastsSum;
            }
        }
        const Record* const final = messages.back().Find(NameOf(i));
        EXPECT_EQ(lastsCount, book.count) << NameOf(i);
        EXPECT_EQ(lastsSum, book.sum) << NameOf(i);
        EXPECT_EQ(final->count, book.count) << NameOf(i);
        EXPECT_EQ(final->sum, book.sum) << NameOf(i);
    }
    for (std::size_t i = 0; i < messages.size(); ++i)
        EXPECT_EQ(messages[i].sliceId, static_cast<int>(i) + 1) << "a slice is missing or doubled";
}

TEST(EndToEnd, ExportedTablesAndConversionsAreReachable) {
    EXPECT_STREQ(MeasurementTypeNames[11], "2048");
    EXPECT_STREQ(MeasurementTypeStringNames[11], "AccumulatorPerSec");
    Types::PointType type = Types::NotSet;
    Types::GetEnumTypeFromString("Timer", type);
    EXPECT_EQ(type, Types::Timer);
}

TEST(EndToEnd, AFreeStandingDictionaryWorksOnItsOwn) {
    CKZStatGenMeasurementDictionary dictionary;
    EXPECT_EQ(dictionary.AddLast("n", 5, Types::Timer), 1);
    RWCString text;
    dictionary.DumpDict(text);
    EXPECT_EQ(Readable(text),
              "n|2|5.000|5.000|1|5.000|25.000|5.000|5.000|5.000|1|5.000|25.000|5.000|");
}

}  // namespace
