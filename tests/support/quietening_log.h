#ifndef KZ_TESTS_SUPPORT_QUIETENING_LOG_H
#define KZ_TESTS_SUPPORT_QUIETENING_LOG_H

#include "ryp/log.h"

/// Takes the traces while it lives and switches them off after a number of records, as another
/// thread may at any moment; afterwards the former sink and threshold are back. Safe for concurrent
/// use: the log writes one record at a time.
class QuieteningLog final : public RyPLogSink {
public:
    explicit QuieteningLog(int records)
        : m_limit(records),
          m_formerThreshold(RyPLog::Threshold()),
          m_formerSink(RyPLog::SetSink(this)) {
        RyPLog::SetThreshold(RyPLogLevel::Trace);
    }
    ~QuieteningLog() override {
        RyPLog::SetThreshold(m_formerThreshold);
        RyPLog::SetSink(m_formerSink);
    }
    QuieteningLog(const QuieteningLog&) = delete;
    QuieteningLog& operator=(const QuieteningLog&) = delete;

    void Write(const RyPLogRecord&) override {
        if (++m_written == m_limit) RyPLog::SetThreshold(RyPLogLevel::Error);
    }

    int Written() const { return m_written; }

private:
    const int m_limit;
    int m_written = 0;
    const RyPLogLevel m_formerThreshold;
    RyPLogSink* const m_formerSink;
};

#endif
