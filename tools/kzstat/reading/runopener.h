#ifndef KZSTATPROGRAM_RUNOPENER_H
#define KZSTATPROGRAM_RUNOPENER_H

#include <memory>
#include <string>

#include "reading/runreader.h"

namespace kzstatprogram {

/// Opens runs by what users call them. Safe for concurrent use.
class RunOpener {
public:
    RunOpener() = default;
    virtual ~RunOpener() = default;
    RunOpener(const RunOpener&) = delete;
    RunOpener& operator=(const RunOpener&) = delete;

    /// `source` is the number of a source of a merged run, which is read instead of the run that
    /// was made of it; 0 opens the run itself. Never returns null. Throws `kzjournal::Error`.
    virtual std::unique_ptr<RunReader> Open(const std::string& name, int source = 0) const = 0;
};

}  // namespace kzstatprogram

#endif
