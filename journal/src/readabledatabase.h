#ifndef KZJOURNALREADABLEDATABASE_H
#define KZJOURNALREADABLEDATABASE_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <memory>
#include <string>

#include "kzjournalerror.h"
#include "privatecopy.h"
#include "steplimit.h"

namespace kzjournal {

/// A journal opened for reading, whoever wrote the file. It has the tables of the schema and
/// nothing else, and belongs to the companions beside it. What the journal's process or a system
/// left half done is rolled back before: in place, or in a private copy if the file or its folder
/// may not be written.
///
/// Compatible: one thread at a time per object.
class ReadableDatabase {
public:
    /// Throws `Error` where the file is no journal that can be read.
    explicit ReadableDatabase(const std::string& path);
    ~ReadableDatabase();
    ReadableDatabase(const ReadableDatabase&) = delete;
    ReadableDatabase& operator=(const ReadableDatabase&) = delete;

    SQLite::Database& Get() { return *m_database; }

    StepLimit& Steps() { return m_steps; }

    /// Runs the action, which throws `SQLite::Exception`, with as many steps as reading the whole
    /// file takes, and more: a damaged file can have loops. Throws `Error`.
    template <class Action>
    auto Read(Action action) {
        AllowSteps();
        return ReadOn(action);
    }

    /// The same with the steps that are left of those before.
    template <class Action>
    auto ReadOn(Action action) {
        try {
            return action();
        } catch (const SQLite::Exception& error) {
            throw ExplainedError(error);
        }
    }

    /// As many as `Read` takes.
    void AllowSteps();

private:
    void Open();
    void OpenFile(const std::string& file, int flags);
    void Prepare();
    void OpenRepaired();
    void OpenPrivateCopy();
    void RefuseLogOfAnotherRun();
    [[noreturn]] void RefuseLog() const;
    std::string RunIdOfFileAlone() const;
    Error ExplainedError(const SQLite::Exception& error) const;

    const std::string m_path;
    std::unique_ptr<PrivateCopy> m_copy;  // where the file cannot be read at its place
    StepLimit m_steps;
    std::unique_ptr<SQLite::Database> m_database;
};

}  // namespace kzjournal

#endif
