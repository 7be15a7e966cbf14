#ifndef KZSTATPROGRAM_VERDICTFORMATS_H
#define KZSTATPROGRAM_VERDICTFORMATS_H

#include <optional>
#include <string>
#include <vector>

#include "conditions/judgement.h"

namespace kzstatprogram {

/// A verdict for programs. Compatible.
struct VerdictReport {
    struct Run {
        std::string path;
        std::string id;
        std::string generator;
        std::string completeness;  ///< as `CompletenessText` has it
    };
    Run run;
    std::optional<Run> baseline;
    std::vector<std::string> warnings;  ///< a line each
    std::vector<kzconditions::Judgement> judgements;
};

// All take any bytes in names and paths, and end with a line end. Safe for concurrent use.

/// The lines of `verdict` for people, one condition each.
std::string TextOf(const VerdictReport& report);

/// An object. null for what is missing, NaN and infinities; bytes that are no UTF-8 become U+FFFD.
std::string JsonOf(const VerdictReport& report);

/// A test suite with a test case per condition: one that failed has a <failure>, one that cannot be
/// told an <error>. Warnings are the <system-err> of the suite. XML has no characters that steer
/// text; they are escaped as on a terminal.
std::string JUnitOf(const VerdictReport& report);

/// Lines as of `TextOf`, but workflow commands for warnings and for conditions that did not pass:
/// "::error title=request.time p95 < 250ms::FAILED, 251 ms".
std::string WorkflowCommandsOf(const VerdictReport& report);

}  // namespace kzstatprogram

#endif
