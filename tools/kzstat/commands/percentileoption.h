#ifndef KZSTATPROGRAM_PERCENTILEOPTION_H
#define KZSTATPROGRAM_PERCENTILEOPTION_H

#include <optional>
#include <string>
#include <vector>

#include "commands/commandline.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// Which percentiles a command shows. Compatible.
struct PercentileOption {
    std::optional<std::string> numbers;  ///< as the user gives them

    void Declare(Command& command, const char* description);
    /// `usual` unless the user asks for others. Throws UsageError.
    std::vector<Percentile> Chosen(const std::vector<Percentile>& usual) const;
};

}  // namespace kzstatprogram

#endif
