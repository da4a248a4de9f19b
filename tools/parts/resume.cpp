#include "parts/resume.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "base/format_text.h"
#include "base/messages.h"
#include "parts/part_seal.h"
#include "state/run_state.h"

namespace {

// Whether nobody touched the source since, nor removed the result.
bool holds(const ImageRecord& record) {
    ImageFacts now{};
    now.entry = record.facts.entry;
    noteSource(now);
    struct stat result {};
    return now.sourceSize == record.facts.sourceSize && now.sourceTime == record.facts.sourceTime &&
           (!record.facts.written || stat(runState.resultNames[now.entry], &result) == 0);
}

// Returns what is wrong with the run, not with the part: one that does not hold is simply done again.
std::string takePart(const std::string& path, const RunIdentity& identity, SavedWork& work) {
    std::vector<ImageRecord> records;
    const std::string problem = readPartRecords(path, identity, records);
    if (!problem.empty() && isSealed(path)) {
        return formatText(tr("%s Use --force to begin anew."), problem.c_str());
    }
    const auto fresh = [&work](const ImageRecord& r) { return work.missing.contains(r.facts.entry) && holds(r); };
    if (!problem.empty() || !std::all_of(records.begin(), records.end(), fresh)) {
        printNotice(tr("%s is not used: it is damaged, or a source or result has changed since."), path.c_str());
        unlink(path.c_str());
        return {};
    }
    work.parts.push_back({path, records.size()});
    for (ImageRecord& record : records) {
        work.missing.erase(record.facts.entry);
        work.records.push_back(std::move(record));
    }
    return {};
}

}  // namespace

std::string findSavedWork(const PartFolder& folder, const RunIdentity& identity, bool resume, bool force,
                          SavedWork& work) {
    for (int32_t entry = 1; entry <= runState.imageCount; ++entry) work.missing.insert(work.missing.end(), entry);
    if (force) emptyPartFolder(folder);
    const std::vector<std::string> parts = listParts(folder);
    if (!parts.empty() && !resume) {
        return formatText(tr("an unfinished run has left its work in %s: go on with it by --resume, or begin anew by "
                             "--force."),
                          folder.path.c_str());
    }
    for (const std::string& path : parts) {
        std::string problem = takePart(path, identity, work);
        if (!problem.empty()) return problem;
    }
    return {};
}
