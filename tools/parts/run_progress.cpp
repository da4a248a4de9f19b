#include "parts/run_progress.h"

#include "base/format_text.h"
#include "base/messages.h"

namespace {

// Not opened, not written or on the limit.
void countDoubtful(RunProgress& progress, const ImageFacts& facts) {
    if (facts.opened && facts.written && !facts.onLimit) return;
    ++progress.doubtful;
    progress.bar.label = formatText(tr("images (%i doubtful)"), progress.doubtful);
}

}  // namespace

RunProgress startRunProgress(int images, const std::vector<ImageRecord>& doneBefore) {
    RunProgress progress{.bar = startProgress(tr("images"), images - static_cast<int>(doneBefore.size()))};
    for (const ImageRecord& record : doneBefore) countDoubtful(progress, record.facts);
    return progress;
}

void stepRunProgress(RunProgress& progress, const ImageFacts& facts) {
    countDoubtful(progress, facts);
    stepProgress(progress.bar);
}

void endRunProgress(RunProgress& progress) {
    endProgress(progress.bar);
}
