#ifndef RYP_LOG_H
#define RYP_LOG_H

#include <atomic>
#include <type_traits>

#include "kzplatform_export.h"
#include "rw/cstring.h"

/// The levels, most important first: a threshold of `Trace` passes everything from `Error` to
/// `Trace`.
enum class RyPLogLevel {
    Error,
    Warning,
    Execution,
    Incomplete,
    Trace,
    TraceDebugInfo,
    Performance,
    PerformanceDetail
};

/// One entry of the log. `scope` and `file` are valid during the call only.
struct RyPLogRecord {
    RyPLogLevel level;
    const char* scope;
    const char* file;  // the name of the source file, without folders
    int line;
    RWCString text;  // may be empty
};

/// Receives records.
class KZPLATFORM_EXPORT RyPLogSink {
public:
    virtual ~RyPLogSink();

    /// Called for one record at a time, on the thread that logs, with the log's own lock held: must
    /// not log and must not set a sink.
    virtual void Write(const RyPLogRecord& record) = 0;
};

/// The log of the process. Safe for concurrent use.
class KZPLATFORM_EXPORT RyPLog {
public:
    /// True when a record of this level reaches the sink.
    static bool IsEnabled(RyPLogLevel level) {
        return static_cast<int>(level) <= s_threshold.load(std::memory_order_relaxed);
    }

    /// The most verbose level that is passed. Initially that in the environment variable
    /// "RYP_LOG_LEVEL" ("error", "warning", "execution", "incomplete", "trace",
    /// "trace-debug-info", "performance", "performance-detail"), otherwise `Error`.
    static RyPLogLevel Threshold();
    static void SetThreshold(RyPLogLevel level);

    /// Sends all records to `sink`, which the caller owns and keeps alive until another is set;
    /// null means standard error. Returns the former sink, null for standard error. When this has
    /// returned, no thread is inside the former sink.
    static RyPLogSink* SetSink(RyPLogSink* sink);

    static void Write(const RyPLogRecord& record);

    /// Writes a record with the text that `makeText()` returns. A record that cannot be built or
    /// written (out of memory) is dropped: logging never throws into its caller. Not inlined, to
    /// spare the registers of the function that logs.
    template <class MakeText>
    __attribute__((cold, noinline)) static void WriteText(RyPLogLevel level, const char* scope,
                                                          const char* file, int line,
                                                          const MakeText& makeText) {
#if defined(__cpp_exceptions)
        try {
            Write(RyPLogRecord{level, scope, file, line, makeText()});
        } catch (...) {
        }
#else
        Write(RyPLogRecord{level, scope, file, line, makeText()});
#endif
    }

    /// "error", "warning" and so on.
    static const char* LevelName(RyPLogLevel level);

private:
    static std::atomic<int> s_threshold;
};

/// Builds the texts of records. Doubles are written in the shortest form that reads back to the
/// same value, a null text as "(null)".
class KZPLATFORM_EXPORT RyPLogText {
public:
    /// The arguments one after the other.
    template <class... Arguments>
    static RWCString Concatenate(const Arguments&... arguments) {
        RWCString text;
        (AppendValue(text, arguments), ...);
        return text;
    }

    /// Format-string mode: the format as written (nothing in it is expanded), a tab, then each
    /// argument followed by a tab.
    template <class... Arguments>
    static RWCString Format(const char* format, const Arguments&... arguments) {
        RWCString text(format);
        text += '\t';
        ((AppendValue(text, arguments), text += '\t'), ...);
        return text;
    }

private:
    template <class Value>
    static void AppendValue(RWCString& text, const Value& value) {
        if constexpr (std::is_floating_point_v<Value>) {
            Append(text, static_cast<double>(value));
        } else if constexpr (std::is_unsigned_v<Value>) {
            Append(text, static_cast<unsigned long long>(value));
        } else if constexpr (std::is_integral_v<Value> || std::is_enum_v<Value>) {
            Append(text, static_cast<long long>(value));
        } else {
            Append(text, value);
        }
    }
    static void Append(RWCString& text, const char* value);
    static void Append(RWCString& text, const RWCString& value);
    static void Append(RWCString& text, double value);
    static void Append(RWCString& text, long long value);
    static void Append(RWCString& text, unsigned long long value);
};

// Macros, so that a record below the threshold costs one relaxed load and a branch: its arguments
// are not evaluated and no text is built.
#define RYP_LOG_WITH(level, scope, text)                                               \
    do {                                                                               \
        if (__builtin_expect(RyPLog::IsEnabled(level), 0))                             \
            RyPLog::WriteText(level, scope, __FILE__, __LINE__, [&] { return text; }); \
    } while (false)

/// A record whose text is the concatenated arguments; without any, its text is empty.
#define RYP_LOG(level, scope, ...) RYP_LOG_WITH(level, scope, RyPLogText::Concatenate(__VA_ARGS__))

/// A trace record in format-string mode.
#define RYP_TRACE(scope, ...) \
    RYP_LOG_WITH(RyPLogLevel::Trace, scope, RyPLogText::Format(__VA_ARGS__))

#endif
