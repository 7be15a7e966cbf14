#ifndef KZSTATLOG_H
#define KZSTATLOG_H

#include "ryp/log.h"

/// The scope under which the whole library logs.
inline constexpr char kLogScope[] = "KZStatisticGenerator";

/// Whether trace records are written, for code that runs so often that it asks once for several.
inline bool KzIsTracing() {
    return __builtin_expect(RyPLog::IsEnabled(RyPLogLevel::Trace), 0);
}

/// Whoever reads traces knows these texts by their bytes: some end with a backslash and an n.
#define KZ_TRACE(...) RYP_TRACE(kLogScope, __VA_ARGS__)

/// An error record; without arguments it carries no text, only the scope and its position.
#define KZ_LOG_ERROR(...) RYP_LOG(RyPLogLevel::Error, kLogScope, __VA_ARGS__)

#define KZ_LOG_WARNING(...) RYP_LOG(RyPLogLevel::Warning, kLogScope, __VA_ARGS__)

#endif
