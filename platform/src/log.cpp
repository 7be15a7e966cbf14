#include "ryp/log.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>

#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/environment.h"

namespace {

constexpr const char* kLevelNames[] = {
    "error", "warning",          "execution",   "incomplete",
    "trace", "trace-debug-info", "performance", "performance-detail"};

class StandardErrorSink : public RyPLogSink {
public:
    void Write(const RyPLogRecord& record) override {
        std::fprintf(stderr, "[%s] %s %s:%d %s\n", RyPLog::LevelName(record.level), record.scope,
                     record.file, record.line, record.text.data());
    }
};

/// Made at the first use and never destroyed: static objects of the host may log at the end of
/// the process. Not on the heap either, so that a lack of memory can be logged.
struct SinkHolder {
    RWMutexLock lock;
    StandardErrorSink standardError;
    RyPLogSink* replacement RYP_GUARDED_BY(lock) = nullptr;
};

SinkHolder& Holder() {
    alignas(SinkHolder) static unsigned char memory[sizeof(SinkHolder)];
    static SinkHolder* const holder = new (memory) SinkHolder;
    return *holder;
}

int ThresholdFromEnvironment() {
    RWCString wanted;
    if (RyEnvContainerClass().RyEGetEnv("RYP_LOG_LEVEL", wanted)) {
        for (std::size_t i = 0; i < std::size(kLevelNames); ++i)
            if (wanted == kLevelNames[i]) return static_cast<int>(i);
    }
    return static_cast<int>(RyPLogLevel::Error);
}

template <class Number>
void AppendNumber(RWCString& text, Number value) {
    char buffer[32];  // the shortest form of a double takes at most 24
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    text.append(buffer, static_cast<std::size_t>(result.ptr - buffer));
}

}  // namespace

RyPLogSink::~RyPLogSink() = default;

// Zero, that is Error, for whoever logs before this initialisation runs.
std::atomic<int> RyPLog::s_threshold{ThresholdFromEnvironment()};

RyPLogLevel RyPLog::Threshold() {
    return static_cast<RyPLogLevel>(s_threshold.load(std::memory_order_relaxed));
}

void RyPLog::SetThreshold(RyPLogLevel level) {
    s_threshold.store(static_cast<int>(level), std::memory_order_relaxed);
}

RyPLogSink* RyPLog::SetSink(RyPLogSink* sink) {
    SinkHolder& holder = Holder();
    const RWMutexLock::LockGuard guard(holder.lock);
    RyPLogSink* const former = holder.replacement;
    holder.replacement = sink;
    return former;
}

void RyPLog::Write(const RyPLogRecord& record) {
    SinkHolder& holder = Holder();
    const RWMutexLock::LockGuard guard(holder.lock);
    RyPLogSink* const sink =
        holder.replacement != nullptr ? holder.replacement : &holder.standardError;
    sink->Write(record);
}

const char* RyPLog::LevelName(RyPLogLevel level) {
    const auto index = static_cast<std::size_t>(level);
    return index < std::size(kLevelNames) ? kLevelNames[index] : "unknown";
}

void RyPLogText::Append(RWCString& text, const char* value) {
    text.append(value == nullptr ? "(null)" : value);
}
void RyPLogText::Append(RWCString& text, const RWCString& value) {
    text.append(value);
}
void RyPLogText::Append(RWCString& text, double value) {
    AppendNumber(text, value);
}
void RyPLogText::Append(RWCString& text, long long value) {
    AppendNumber(text, value);
}
void RyPLogText::Append(RWCString& text, unsigned long long value) {
    AppendNumber(text, value);
}
