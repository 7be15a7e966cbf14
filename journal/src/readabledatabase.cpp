#include "readabledatabase.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "journalfile.h"
#include "journalmaker.h"
#include "kzjournalerror.h"

namespace kzjournal {
namespace {

/// The schema has a score of entries, and each takes some steps.
constexpr long long kStepsForSchema = 8000;
constexpr int kMaxSchemaTextBytes = 20000;

/// Reading takes the steps of a few records per hundred bytes.
constexpr long long kStepsPerByte = 100;
constexpr long long kMinSteps = 10'000'000;

/// Of the header of a database.
constexpr int kWriteVersionPosition = 18;
constexpr unsigned char kWithRollbackJournal = 1;

constexpr std::size_t kRollbackHeaderBytes = 28;
constexpr std::size_t kRollbackPagesPosition = 16;
constexpr std::size_t kRollbackPageSizePosition = 24;

long long SizeOf(const std::string& path) {
    struct stat facts = {};
    return stat(path.c_str(), &facts) == 0 ? static_cast<long long>(facts.st_size) : 0;
}

/// Empty for a file, and where there is none.
std::string KindUnlessFile(const std::string& path) {
    struct stat facts = {};
    if (stat(path.c_str(), &facts) != 0 || S_ISREG(facts.st_mode)) return {};
    if (S_ISDIR(facts.st_mode)) return "folder";
    if (S_ISFIFO(facts.st_mode)) return "pipe";
    return S_ISSOCK(facts.st_mode) ? "socket" : "device";
}

/// Others can block whoever opens them.
void RefuseWhatIsNoFile(const std::string& path) {
    if (const std::string kind = KindUnlessFile(path); !kind.empty())
        throw Error("cannot read " + path + ": it is a " + kind);
    for (const char* const companion : {"-wal", "-shm", "-journal"})
        if (const std::string kind = KindUnlessFile(path + companion); !kind.empty())
            throw Error(std::string("cannot read ")
                            .append(path)
                            .append(": ")
                            .append(path)
                            .append(companion)
                            .append(" beside it is a ")
                            .append(kind));
}

std::uint32_t BigEndianAt(const std::array<char, kRollbackHeaderBytes>& bytes,
                          std::size_t position) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i)
        number = number << 8 | static_cast<unsigned char>(bytes[position + i]);
    return number;
}

/// Whether the rollback journal was made for a file of the size of `path`. If it was not, rolling
/// it back cuts the file off, which only helps the file that it was made for.
bool HasRollbackJournalOfItsSize(const std::string& path) {
    std::array<char, kRollbackHeaderBytes> header{};
    std::ifstream(path + "-journal", std::ios::binary).read(header.data(), header.size());
    return SizeOf(path) == static_cast<long long>(BigEndianAt(header, kRollbackPagesPosition)) *
                               BigEndianAt(header, kRollbackPageSizePosition);
}

bool MayBeRepairedInPlace(const std::string& path) {
    const std::string folder = std::filesystem::path(FileNameOf(path)).parent_path().string();
    return access(path.c_str(), W_OK) == 0 && access(folder.c_str(), W_OK) == 0 &&
           HasRollbackJournalOfItsSize(path);
}

/// The file without its companions.
std::string UriOfFileAlone(const std::string& path) {
    std::string uri = "file:";
    for (const char c : FileNameOf(path)) {
        constexpr char kDigits[] = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(c);
        if (c == '%' || c == '?' || c == '#')
            uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        else
            uri += c;
    }
    return uri + "?immutable=1";
}

/// Through the database's own handle: whoever closes another one takes its locks away.
bool IsKeptWithARollbackJournal(SQLite::Database& database) {
    sqlite3_file* file = nullptr;
    sqlite3_file_control(database.getHandle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    unsigned char version = 0;
    return file != nullptr && file->pMethods != nullptr &&
           file->pMethods->xRead(file, &version, 1, kWriteVersionPosition) == SQLITE_OK &&
           version == kWithRollbackJournal;
}

std::string RunIdIn(SQLite::Database& database) {
    SQLite::Statement query(database, "SELECT run_id FROM runs WHERE number = 0");
    return query.executeStep() ? query.getColumn(0).getString() : "";
}

bool HasSliceOrEnd(SQLite::Database& database) {
    SQLite::Statement query(database,
                            "SELECT 1 FROM runs WHERE number = 0 AND (end_time IS NOT NULL"
                            " OR EXISTS (SELECT 1 FROM slices))");
    return query.executeStep();
}

/// For files of strangers.
void Limit(SQLite::Database& database, StepLimit& steps) {
    sqlite3* const handle = database.getHandle();
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, kMaxRowBytes);
    sqlite3_limit(handle, SQLITE_LIMIT_SQL_LENGTH, kMaxSchemaTextBytes);
    sqlite3_limit(handle, SQLITE_LIMIT_ATTACHED, 0);
    steps.Watch(handle);
}

bool NeedsRepair(const SQLite::Exception& error) {
    const int code = error.getExtendedErrorCode();
    return code == SQLITE_READONLY_ROLLBACK || code == SQLITE_READONLY_RECOVERY;
}

/// A file with a log is read with the help of a third one, which must be made beside it.
bool MayNeedToWrite(const SQLite::Exception& error) {
    const int code = error.getErrorCode();
    return code == SQLITE_CANTOPEN || code == SQLITE_READONLY;
}

}  // namespace

ReadableDatabase::ReadableDatabase(const std::string& path) : m_path(path) {
    RefuseWhatIsNoFile(path);
    try {
        Open();
    } catch (const SQLite::Exception& error) {
        throw ExplainedError(error);
    }
}

ReadableDatabase::~ReadableDatabase() = default;

void ReadableDatabase::Open() {
    try {
        OpenFile(FileNameOf(m_path), SQLite::OPEN_READONLY);
    } catch (const SQLite::Exception& error) {
        if (NeedsRepair(error))
            OpenRepaired();
        else if (MayNeedToWrite(error) && SizeOf(m_path) > 0 && access(m_path.c_str(), R_OK) == 0)
            OpenPrivateCopy();
        else
            throw;
    }
}

void ReadableDatabase::OpenFile(const std::string& file, int flags) {
    // One thread at a time uses a reader: a lock per column would only slow it down.
    m_database = std::make_unique<SQLite::Database>(file, flags | SQLite::OPEN_NOMUTEX,
                                                    kLockWaitMilliseconds);
    Prepare();
}

/// What follows the first look into a file of a stranger.
void ReadableDatabase::Prepare() {
    Limit(*m_database, m_steps);
    const bool hasNoLog = IsKeptWithARollbackJournal(*m_database);
    // Such a file gets its log after its header has said so, and loses it before. Asked again,
    // since a run may just have begun.
    if (hasNoLog && SizeOf(m_path + "-wal") > 0 && IsKeptWithARollbackJournal(*m_database))
        RefuseLog();
    m_steps.Allow(kStepsForSchema);
    CheckIsJournal(*m_database, m_path);
    if (!hasNoLog) RefuseLogOfAnotherRun();
    m_database->exec("PRAGMA cell_size_check = ON");
}

void ReadableDatabase::OpenRepaired() {
    // In a copy first, since the rollback journal may be of another file that stood here before.
    OpenPrivateCopy();
    if (!MayBeRepairedInPlace(m_path)) return;
    m_database.reset();
    m_copy.reset();
    // The first look repairs it.
    OpenFile(FileNameOf(m_path), SQLite::OPEN_READWRITE);
    OpenFile(FileNameOf(m_path), SQLite::OPEN_READONLY);
}

void ReadableDatabase::OpenPrivateCopy() {
    m_database.reset();
    const std::string idBefore = RunIdOfFileAlone();
    m_copy = std::make_unique<PrivateCopy>(m_path);
    OpenFile(m_copy->Path(), SQLite::OPEN_READWRITE);
    if (!idBefore.empty() && idBefore != RunIdIn(*m_database))
        throw Error("cannot read " + m_path + ": " + m_path +
                    "-journal beside it is of another run; move it elsewhere");
    // A file that stands alone is read without its name, and is gone with the process then.
    m_steps.Allow(kMinSteps);
    LeaveTheLog(*m_database);
    m_copy->Remove();
}

void ReadableDatabase::RefuseLogOfAnotherRun() {
    if (SizeOf(m_path + "-wal") == 0) return;
    const std::string id = RunIdOfFileAlone();
    m_steps.Allow(kMinSteps);
    if (!id.empty() && id != RunIdIn(*m_database)) RefuseLog();
}

void ReadableDatabase::RefuseLog() const {
    throw Error("cannot read " + m_path + ": " + m_path +
                "-wal beside it is of another run; move it and " + m_path + "-shm elsewhere");
}

/// Empty where the file does not tell, as before the first slice.
std::string ReadableDatabase::RunIdOfFileAlone() const {
    try {
        StepLimit steps;
        SQLite::Database alone(UriOfFileAlone(m_path), SQLite::OPEN_READONLY | SQLite::OPEN_URI);
        Limit(alone, steps);
        steps.Allow(kStepsForSchema);
        CheckIsJournal(alone, m_path);
        // Another run may take over the file of one without a slice.
        return HasSliceOrEnd(alone) ? RunIdIn(alone) : "";
    } catch (const SQLite::Exception&) {
        // It may be in the midst of a change that its companion tells of.
        return {};
    } catch (const Error&) {
        return {};
    }
}

void ReadableDatabase::AllowSteps() {
    m_steps.Allow(kMinSteps + kStepsPerByte * (SizeOf(m_path) + SizeOf(m_path + "-wal")));
}

Error ReadableDatabase::ExplainedError(const SQLite::Exception& error) const {
    if (error.getErrorCode() != SQLITE_INTERRUPT) return Error(ExplainReading(m_path, error));
    if (m_steps.IsStopped()) return Error("cannot read " + m_path + ": stopped");
    return Error("cannot read " + m_path + ": it is damaged (reading it does not come to an end)");
}

}  // namespace kzjournal
