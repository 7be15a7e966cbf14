#ifndef KZSTATLOG_H
#define KZSTATLOG_H

#include "ryp/log.h"

/// The scope under which the whole library logs.
inline constexpr char kLogScope[] = "KZStatisticGenerator";

/// Whether trace records are written, for code that runs so often that it asks once for several.
inline bool KzIsTracing() {
    return __builtin_expect(RyPLog::IsEnabled(RyPLogLevel::Trace), 0);
}

/// A trace record. Its format is written byte for byte: the "\\n" that ends some of them stands for
/// a backslash and an n, as the tools that read traces expect it.
#define KZ_TRACE(...) RYP_TRACE(kLogScope, __VA_ARGS__)

/// An error record; without arguments it carries no text, only the scope and its position.
#define KZ_LOG_ERROR(...) RYP_LOG(RyPLogLevel::Error, kLogScope, __VA_ARGS__)

#define KZ_LOG_WARNING(...) RYP_LOG(RyPLogLevel::Warning, kLogScope, __VA_ARGS__)

#endif
