#include "kzjournalkeep.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "kzjournalwriter.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"

namespace kzjournal {
namespace {

using Guard = RWMutexLock::LockGuard;

/// Owns the writer of one file. `Open` is called by the host's thread, the rest by the thread that
/// delivers slices: the lock lets slices wait for the file.
class Keeper : public CKZStatRunListener {
public:
    Keeper(const CKZStatRun& run, std::string path, Run facts, std::vector<std::string> conditions)
        : m_run(run),
          m_path(std::move(path)),
          m_facts(std::move(facts)),
          m_conditions(std::move(conditions)) {}

    /// Joins the run before it opens the file, so that no slice falls between the two and no file
    /// is made for a run that is over. Returns false in that case.
    static bool Join(CKZStatRun& run, const std::shared_ptr<Keeper>& keeper) {
        std::optional<Error> error;
        {
            const Guard guard(keeper->m_lock);
            if (!run.AddListener(keeper)) return false;
            error = keeper->m_writer.Open(keeper->m_path, keeper->m_facts, keeper->m_conditions);
        }
        if (error) run.AddComplaint(error->what());
        return true;
    }

    std::vector<RWCString> OnSlice(const CKZStatSliceValues& slice) override {
        const Guard guard(m_lock);
        std::vector<RWCString> lines;
        if (m_isFirst && m_writer.IsOpen() && slice.GetSliceId() > 1)
            lines.emplace_back((m_path + " begins with slice " +
                                std::to_string(slice.GetSliceId()) +
                                ": earlier ones had ended when the run was to be kept")
                                   .c_str());
        m_isFirst = false;
        m_writer.SetLoad({m_run.GetLoadBegin(), m_run.GetLoadEnd()});
        AddTo(lines, m_writer.Append(slice).problem);
        return lines;
    }

    std::vector<RWCString> OnEnd(const CKZStatRunEnd& end) override {
        const Guard guard(m_lock);
        std::vector<RWCString> lines;
        m_writer.SetLoad({end.loadBegin, end.loadEnd});
        AddTo(lines, m_writer.Close(end));
        return lines;
    }

private:
    static void AddTo(std::vector<RWCString>& lines, const std::optional<Error>& error) {
        if (error) lines.emplace_back(error->what());
    }

    const CKZStatRun& m_run;  // outlives every `OnSlice`, not `OnEnd`
    const std::string m_path;
    const Run m_facts;
    const std::vector<std::string> m_conditions;

    RWMutexLock m_lock;
    Writer m_writer RYP_GUARDED_BY(m_lock);
    bool m_isFirst RYP_GUARDED_BY(m_lock) = true;  // no slice has come yet
};

Run FactsOf(const CKZStatRun& run, const KeepOptions& options) {
    Run facts = RunOfThisProcess(std::string(run.GetName().view()), run.GetStartTime(),
                                 run.GetSliceLength(), options.testName);
    if (!options.commandLine.empty()) facts.commandLine = options.commandLine;
    return facts;
}

}  // namespace

void Keep(CKZStatRun& run, const std::string& path, const KeepOptions& options) {
    const auto keeper =
        std::make_shared<Keeper>(run, path, FactsOf(run, options), options.conditions);
    if (!Keeper::Join(run, keeper))
        run.AddComplaint(
            ("cannot keep the run in " + path + ": it is over or did not start").c_str());
}

void Keep(CKZStatRun& run, const std::string& path, const std::string& testName,
          const std::string& commandLine) {
    Keep(run, path, KeepOptions{testName, commandLine, {}});
}

}  // namespace kzjournal
