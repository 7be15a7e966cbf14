#ifndef KZSTATPROGRAM_NAMEDRUNS_H
#define KZSTATPROGRAM_NAMEDRUNS_H

#include "reading/runopener.h"

namespace kzstatprogram {

/// The runs of this machine. The name of a run is the path of its journal. Safe for concurrent use.
class NamedRuns : public RunOpener {
public:
    std::unique_ptr<RunReader> Open(const std::string& name, int source) const override;
};

}  // namespace kzstatprogram

#endif
