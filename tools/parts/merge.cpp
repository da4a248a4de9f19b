#include "parts/merge.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "base/format_text.h"
#include "base/messages.h"
#include "base/part_file.h"
#include "composite/composite.h"
#include "parts/console_text.h"
#include "parts/image_part.h"
#include "parts/replay.h"
#include "parts/run_report.h"
#include "run/shift_list.h"
#include "state/run_state.h"

namespace {

// The images of all parts, in their order, and from which part each is.
struct Gathered {
    std::map<int32_t, ImageRecord> records;
    std::map<int32_t, std::string> partOf;
    std::vector<size_t> counts;  // of the images of each part
    bool good = true;
};

void refuse(Gathered& gathered, const std::string& problem) {
    printError("%s", problem.c_str());
    gathered.good = false;
}

void gatherPart(const std::string& path, const RunIdentity& identity, Gathered& gathered) {
    std::vector<ImageRecord> records;
    const std::string problem = readPartRecords(path, identity, records);
    if (!problem.empty()) refuse(gathered, problem);
    gathered.counts.push_back(records.size());
    for (ImageRecord& record : records) {
        const int32_t entry = record.facts.entry;
        const auto [known, isNew] = gathered.partOf.emplace(entry, path);
        if (isNew) {
            gathered.records.emplace(entry, std::move(record));
        } else {
            refuse(gathered, formatText(tr("image %i (%s) is in %s and again in %s."), entry,
                                        runState.sourceNames[entry], known->second.c_str(), path.c_str()));
        }
    }
}

// "3, 7-9"
void refuseMissing(Gathered& gathered) {
    std::string missing;
    for (int32_t entry = 1; entry <= runState.imageCount; ++entry) {
        if (gathered.records.contains(entry)) continue;
        const int32_t first = entry;
        while (entry < runState.imageCount && !gathered.records.contains(entry + 1)) ++entry;
        if (!missing.empty()) missing.append(", ");
        missing.append(entry > first ? formatText("%i-%i", first, entry) : std::to_string(first));
    }
    if (!missing.empty()) refuse(gathered, formatText(tr("no part holds these images: %s."), missing.c_str()));
}

bool addSums(const MergeOptions& options, const RunIdentity& identity, const Gathered& gathered) {
    if (runState.compositeName == nullptr) return true;
    allocateComposite();
    for (size_t i = 0; i < options.parts.size(); ++i) {
        const std::string problem = addPartSums(options.parts[i], identity, gathered.counts[i], runState.compositeSum);
        if (problem.empty()) continue;
        printError("%s", problem.c_str());
        return false;
    }
    return true;
}

int mergeApart(const MergeOptions& options, std::FILE* report) {
    const uint32_t start = openRun(options.script);
    const RunIdentity identity = identifyRun();
    Gathered gathered;
    for (const std::string& path : options.parts) gatherPart(path, identity, gathered);
    if (options.output.empty() && gathered.good) refuseMissing(gathered);
    if (!gathered.good || !addSums(options, identity, gathered)) return 2;
    std::vector<ImageRecord> records;
    for (auto& [entry, record] : gathered.records) records.push_back(std::move(record));
    if (options.output.empty()) {
        openShiftList();
        replayImages(records);
        closeRun(start, identity, records, report);
        return 0;
    }
    const std::string problem = writePart(options.output, identity, records, runState.compositeSum);
    if (!problem.empty()) printError("%s", problem.c_str());
    return problem.empty() ? 0 : 2;
}

}  // namespace

int mergeParts(const MergeOptions& options) {
    std::error_code missing;
    if (!std::filesystem::exists(options.script, missing)) {
        printError(tr("there is no script %s."), options.script.c_str());
        return 2;
    }
    if (!options.output.empty() && std::filesystem::exists(options.output, missing) && !options.force) {
        printError(tr("%s is there already; --force replaces it."), options.output.c_str());
        return 2;
    }
    const ProcessOutcome outcome = runApart({}, [&](std::FILE* report) { return mergeApart(options, report); });
    const std::string fatal = findFatalMessage(outcome.console);
    if (!fatal.empty()) printError(tr("the run ended early: %s"), convertConsole(fatal).c_str());
    if (outcome.status == 2 || !options.output.empty()) return outcome.status;
    std::fwrite(outcome.console.data(), 1, outcome.console.size(), stdout);
    if (outcome.status != 0) return outcome.status;
    RunSummary summary;
    readReport(outcome.report, summary);
    int status = judgeRun(summary);
    if (!options.log.empty() && !writeWholeFile(options.log, convertConsole(outcome.console))) {
        printError(tr("%s cannot be written; is the disk full?"), options.log.c_str());
        status = 1;
    }
    return status;
}
