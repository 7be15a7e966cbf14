#ifndef KZ_TESTS_SUPPORT_CAPTURING_LOG_H
#define KZ_TESTS_SUPPORT_CAPTURING_LOG_H

#include <string>
#include <utility>
#include <vector>

#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/log.h"

/// Collects the records of the process log while it lives and lets through everything up to the
/// given level; afterwards the former sink and threshold are back. Safe for concurrent use.
class CapturingLog final : public RyPLogSink {
public:
    struct Record {
        RyPLogLevel level;
        std::string scope;
        std::string file;
        int line;
        std::string text;
    };

    explicit CapturingLog(RyPLogLevel threshold)
        : m_formerThreshold(RyPLog::Threshold()), m_formerSink(RyPLog::SetSink(this)) {
        RyPLog::SetThreshold(threshold);
    }
    ~CapturingLog() override {
        RyPLog::SetThreshold(m_formerThreshold);
        RyPLog::SetSink(m_formerSink);
    }
    CapturingLog(const CapturingLog&) = delete;
    CapturingLog& operator=(const CapturingLog&) = delete;

    void Write(const RyPLogRecord& record) override {
        Record copy{record.level, record.scope == nullptr ? "" : record.scope, record.file,
                    record.line, std::string(record.text.data(), record.text.length())};
        const RWMutexLock::LockGuard guard(m_mutex);
        m_records.push_back(std::move(copy));
    }

    /// What was logged so far, oldest first.
    std::vector<Record> Records() const {
        const RWMutexLock::LockGuard guard(m_mutex);
        return m_records;
    }

    /// The texts alone, oldest first.
    std::vector<std::string> Texts() const {
        std::vector<std::string> texts;
        for (const Record& record : Records()) texts.push_back(record.text);
        return texts;
    }

    /// Forgets what was logged so far.
    void Clear() {
        const RWMutexLock::LockGuard guard(m_mutex);
        m_records.clear();
    }

private:
    mutable RWMutexLock m_mutex;
    std::vector<Record> m_records RYP_GUARDED_BY(m_mutex);
    // Last, so that the records are there before the log can write one.
    const RyPLogLevel m_formerThreshold;
    RyPLogSink* const m_formerSink;
};

#endif
