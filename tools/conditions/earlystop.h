#ifndef KZCONDITIONS_EARLYSTOP_H
#define KZCONDITIONS_EARLYSTOP_H

#include <optional>
#include <string>
#include <vector>

#include "conditions/judgement.h"
#include "kzjournalrun.h"

namespace kzconditions {

// A load that ended before its time leaves a note in its run, "stopped early: REASON". Whatever
// else is so of such a run, it does not pass: nobody knows how it would have gone on. These
// functions are safe for concurrent use.

/// "errors share > 50%, it is 62.5 %": the reason, for a condition that was met.
std::string ReasonToStop(const Judgement& judgement);
/// "stopped early: REASON": the note.
std::string EarlyStopNote(const std::string& reason);

/// The judgement of a run that a note with this text is about: that it was not stopped early is
/// what failed. Nothing for any other text, such as one without a reason.
std::optional<Judgement> EarlyStopOf(const std::string& note);

/// The judgement of a run with these notes, by the first such note; nothing without one.
std::optional<Judgement> EarlyStopIn(const std::vector<kzjournal::Note>& notes);

}  // namespace kzconditions

#endif
