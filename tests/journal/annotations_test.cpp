// Notes and conditions of a run: stored with it, added to its file from outside, and verified.

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <thread>

#include "journal/journalfixture.h"
#include "journal/journalofschema4.h"
#include "kzjournalannotate.h"
#include "kzjournalbulkwriter.h"

namespace {

using kzjournal::AddConditions;
using kzjournal::AddNote;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Annotations : public JournalTest {
protected:
    std::vector<std::string> Notes() {
        std::vector<std::string> texts;
        for (const kzjournal::Note& note : kzjournal::Reader(path).Notes())
            texts.push_back(note.text);
        return texts;
    }
    std::vector<std::string> Conditions() { return kzjournal::Reader(path).Conditions(); }

    /// A run of one slice that has ended.
    void MakeRun() {
        EXPECT_EQ("", Open());
        EXPECT_EQ("", AppendLogins({1}));
        EXPECT_EQ("", Close());
    }

    static std::string ErrorOf(const std::function<void()>& action) {
        try {
            action();
            return "";
        } catch (const kzjournal::Error& error) {
            return error.what();
        }
    }
};

TEST_F(Annotations, ConditionsAreStoredWithTheRun) {
    ASSERT_FALSE(writer.Open(path, run, {"login.time p95 < 1s", "logins count > 3"}));
    EXPECT_THAT(Conditions(), ElementsAre("login.time p95 < 1s", "logins count > 3"));
}

TEST_F(Annotations, AnImpossibleConditionMakesNoFile) {
    const auto error = writer.Open(path, run, {std::string((64 << 10) + 1, 'x')});
    EXPECT_THAT(TextOf(error), HasSubstr("a condition is impossible: it has 65537 bytes"));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Annotations, AreAddedToARunThatHasEnded) {
    MakeRun();
    AddNote(path, {1.7e9 + 0.5, "cache cleared"});
    AddConditions(path, {"logins count > 3"});
    EXPECT_THAT(Notes(), ElementsAre("cache cleared"));
    EXPECT_EQ(1.7e9 + 0.5, kzjournal::Reader(path).Notes()[0].time);
    EXPECT_THAT(Conditions(), ElementsAre("logins count > 3"));
    EXPECT_FALSE(std::filesystem::exists(path + "-journal"));
    EXPECT_FALSE(std::filesystem::exists(path + "-wal"));
}

TEST_F(Annotations, AreAddedWhileTheRunIsActive) {
    ASSERT_EQ("", Open());
    ASSERT_EQ("", AppendLogins({1}));
    AddNote(path, {1.7e9 + 1, "first"});
    ASSERT_EQ("", AppendLogins({2}));
    AddNote(path, {1.7e9 + 2, "second"});
    EXPECT_THAT(Notes(), ElementsAre("first", "second"));
    ASSERT_EQ("", AppendLogins({3}));
    EXPECT_EQ(kzjournal::SliceState::OnDisk, state);
    EXPECT_EQ("", Close());
    EXPECT_THAT(Notes(), ElementsAre("first", "second"));
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 3));
    EXPECT_EQ(3, kzjournal::Reader(path).ExpectedSlices());
}

TEST_F(Annotations, OfARunThatHasEndedAreInTheFileThoughOthersHaveItOpen) {
    ASSERT_EQ("", Open());
    ASSERT_EQ("", AppendLogins({1}));
    {
        const kzjournal::Reader other(path);
        EXPECT_EQ("", Close());
        AddNote(path, {1.7e9, "beside a reader"});
        EXPECT_EQ(0u, std::filesystem::file_size(path + "-wal"));
    }
    AddNote(path, {1.7e9 + 1, "alone"});
    EXPECT_FALSE(std::filesystem::exists(path + "-wal"));
    EXPECT_THAT(Notes(), ElementsAre("beside a reader", "alone"));
}

TEST_F(Annotations, OfSeveralThreadsAreAllKeptBesideTheSlices) {
    ASSERT_EQ("", Open());
    constexpr int kNotes = 20;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([&] {
            for (int note = 0; note < kNotes; ++note) AddNote(path, {1.7e9, "x"});
        });
    for (int i = 0; i < kNotes; ++i) AppendLogins({1});
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ("", Close());
    EXPECT_EQ(2 * kNotes, static_cast<int>(Notes().size()));
    EXPECT_EQ(kNotes, static_cast<int>(SliceIds().size()));
}

TEST_F(Annotations, SurviveTheRemovalOfTheFile) {
    ASSERT_FALSE(writer.Open(path, run, {"logins count > 3"}));
    ASSERT_EQ("", AppendLogins({1}));
    AddNote(path, {1.7e9, "kept"});
    std::filesystem::remove(path);
    EXPECT_THAT(AppendLogins({2}), HasSubstr("recovered-1"));
    path += ".recovered-1";
    EXPECT_EQ("", Close());
    EXPECT_THAT(Notes(), ElementsAre("kept"));
    EXPECT_THAT(Conditions(), ElementsAre("logins count > 3"));
}

TEST_F(Annotations, OfAKilledRunWithoutSlicesAreNotThoseOfTheNextOne) {
    {
        kzjournal::Writer killed;
        ASSERT_FALSE(killed.Open(path, run, {"old"}));
        AddNote(path, {1.7e9, "old"});
        ASSERT_FALSE(killed.Close());
    }
    Execute("UPDATE runs SET end_time = NULL");
    run = kzjournal::RunOfThisProcess("load", 1.7e9, 1);
    ASSERT_FALSE(writer.Open(path, run, {"new"}));
    EXPECT_THAT(Notes(), IsEmpty());
    EXPECT_THAT(Conditions(), ElementsAre("new"));
}

TEST_F(Annotations, NotesComeInTheOrderOfTime) {
    MakeRun();
    for (const double time : {3, 1, 2}) AddNote(path, {time, std::to_string(int(time))});
    EXPECT_THAT(Notes(), ElementsAre("1", "2", "3"));
}

TEST_F(Annotations, TextsHaveAnyBytes) {
    MakeRun();
    const std::string text("a\0\xff\n'\x01", 6);
    AddNote(path, {1.7e9, text});
    AddConditions(path, {text});
    EXPECT_THAT(Notes(), ElementsAre(text));
    EXPECT_THAT(Conditions(), ElementsAre(text));
}

TEST_F(Annotations, ThatAreImpossibleAreRefused) {
    MakeRun();
    const std::string longest(64 << 10, 'x');
    AddNote(path, {1.7e9, longest});
    EXPECT_THAT(ErrorOf([&] {
                    AddNote(path, {1.7e9, longest + 'x'});
                }),
                HasSubstr("its text has 65537 bytes, more than 65536"));
    EXPECT_THAT(ErrorOf([&] {
                    AddNote(path, {std::nan(""), "x"});
                }),
                HasSubstr("its time is no moment"));
    EXPECT_THAT(Notes(), ElementsAre(longest));
}

TEST_F(Annotations, ChangedOrMissingOnesAreNoticed) {
    MakeRun();
    AddNote(path, {1.7e9, "x"});
    AddConditions(path, {"x"});
    const std::string whole = path;
    path = folder.Path("damaged.kzj");
    for (const char* const damage :
         {"DELETE FROM notes", "UPDATE notes SET text = 'y'", "UPDATE notes SET time = 5.0",
          "DELETE FROM conditions", "UPDATE conditions SET text = 'y'",
          "INSERT INTO conditions (run_number, text) SELECT run_number, text FROM conditions"}) {
        SCOPED_TRACE(damage);
        std::filesystem::copy_file(whole, path, std::filesystem::copy_options::overwrite_existing);
        Execute(damage);
        EXPECT_THAT(ErrorOf([&] { Notes(); }), HasSubstr("its notes or conditions are damaged"));
        EXPECT_THAT(ErrorOf([&] { Conditions(); }), HasSubstr("conditions are damaged"));
    }
}

TEST_F(Annotations, AreNotAddedToADamagedRun) {
    MakeRun();
    AddNote(path, {1.7e9, "x"});
    const std::string whole = path;
    path = folder.Path("damaged.kzj");
    for (const char* const damage : {"UPDATE runs SET generator = 'other'", "DELETE FROM notes",
                                     "UPDATE notes SET text = 'y'", "DELETE FROM runs"}) {
        SCOPED_TRACE(damage);
        std::filesystem::copy_file(whole, path, std::filesystem::copy_options::overwrite_existing);
        Execute(damage);
        const std::string told = ErrorOf([&] { Notes(); });
        EXPECT_THAT(told, HasSubstr("cannot read " + path));
        EXPECT_EQ(told, ErrorOf([&] { AddNote(path, {1.7e9, "z"}); }));
        EXPECT_EQ(told, ErrorOf([&] { Notes(); }));
    }
}

TEST_F(Annotations, AreNotAddedToAFileOfAnEarlierSchema) {
    Execute(std::string(kSchema4) + kRunOfSchema4);
    EXPECT_EQ("cannot write " + path +
                  ": its schema 4 is older than 5; runs of earlier releases are only read",
              ErrorOf([&] {
                  AddNote(path, {1.7e9, "x"});
              }));
    EXPECT_THAT(Notes(), IsEmpty());
    EXPECT_THAT(Conditions(), IsEmpty());
}

TEST_F(Annotations, AreNotAddedToWhatIsNoJournal) {
    EXPECT_THAT(ErrorOf([&] { AddNote(path, {1.7e9, "x"}); }), HasSubstr("No such file"));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Annotations, OfSourcesAreThoseOfTheMergedRun) {
    kzjournal::BulkWriter merged(path, run);
    const kzjournal::Run part = kzjournal::RunOfThisProcess("load", 1.7e9, 1);
    const int source = merged.AddSource(part, 0, false);
    merged.AddNote({1.7e9 + 2, "of the source", source});
    merged.AddNote({1.7e9 + 1, "of the run"});
    merged.AddCondition("both");
    merged.AddCondition("both", source);
    merged.Close(std::nullopt, 0);
    EXPECT_THAT(Notes(), ElementsAre("of the run", "of the source"));
    EXPECT_EQ(source, kzjournal::Reader(path).Notes()[1].source);
    EXPECT_THAT(Conditions(), ElementsAre("both"));
    kzjournal::Reader reader(path, source);
    ASSERT_EQ(1u, reader.Notes().size());
    EXPECT_EQ(0, reader.Notes()[0].source);
}

}  // namespace
