#include "parts/part.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "base/format_text.h"
#include "base/messages.h"
#include "composite/composite.h"
#include "parts/console_text.h"
#include "parts/dependency.h"
#include "parts/image_part.h"
#include "parts/memory_file.h"
#include "parts/replay.h"
#include "parts/run_progress.h"
#include "parts/run_report.h"
#include "state/run_state.h"

namespace {

struct Slice {
    int32_t first, last;
};

// Slices that differ by one image at most.
Slice findSlice(const PartOptions& options) {
    if (options.parts == 0) return {options.first, options.last};
    const int64_t images = runState.imageCount;
    return {.first = static_cast<int32_t>(images * (options.part - 1) / options.parts + 1),
            .last = static_cast<int32_t>(images * options.part / options.parts)};
}

std::string nameOutput(const PartOptions& options) {
    if (!options.output.empty()) return options.output;
    const std::string stem = std::filesystem::path(options.script).replace_extension().string();
    return options.parts == 0 ? stem + formatText(".entries-%05i-%05i.fit", options.first, options.last)
                              : stem + formatText(".part-%05i-of-%05i.fit", options.part, options.parts);
}

std::string checkSlice(const PartOptions& options) {
    const Slice slice = findSlice(options);
    if (slice.first < 1 || slice.last > runState.imageCount) {
        return formatText(tr("there are no entries %i to %i: the script has %i images."), slice.first, slice.last,
                          runState.imageCount);
    }
    const std::string dependency = findDependency();
    if (dependency.empty()) return {};
    return formatText(tr("the images cannot be processed apart (%s): use `quillorne-tools run`."), dependency.c_str());
}

int processSlice(const PartOptions& options, const std::string& output, std::FILE* report) {
    (void)openRun(options.script);
    std::string problem = checkSlice(options);
    if (!problem.empty()) {
        printError("%s", problem.c_str());
        return 2;
    }
    const RunIdentity identity = identifyRun();
    if (runState.compositeName != nullptr) allocateComposite();
    const int shiftLines = makeMemoryFile();
    runState.shiftList = fdopen(shiftLines, "w");
    std::fflush(stdout);
    (void)takeContents(STDOUT_FILENO);  // the head is the merging's business
    const Slice slice = findSlice(options);
    std::vector<ImageRecord> records;
    RunProgress progress = startRunProgress(slice.last - slice.first + 1, {});
    for (int32_t entry = slice.first; entry <= slice.last && stopSignal() == 0; ++entry) {
        records.push_back(takeImage(entry, shiftLines));
        stepRunProgress(progress, records.back().facts);
    }
    endRunProgress(progress);
    if (stopSignal() != 0) return 128 + stopSignal();
    problem = writePart(output, identity, records, runState.compositeSum);
    if (!problem.empty()) {
        printError("%s", problem.c_str());
        return 2;
    }
    reportImages(records, report);
    return 0;
}

}  // namespace

int processPart(const PartOptions& options) {
    const std::string output = nameOutput(options);
    std::error_code missing;
    if (!std::filesystem::exists(options.script, missing)) {
        printError(tr("there is no script %s."), options.script.c_str());
        return 2;
    }
    if (std::filesystem::exists(output, missing) && !options.force) {
        printError(tr("%s is there already; --force replaces it."), output.c_str());
        return 2;
    }
    const ProcessOutcome outcome =
        runApart({}, [&](std::FILE* report) { return processSlice(options, output, report); });
    const std::string fatal = findFatalMessage(outcome.console);
    if (!fatal.empty()) printError(tr("the run ended early: %s"), convertConsole(fatal).c_str());
    if (outcome.status != 0) return outcome.status;
    RunSummary summary;
    readReport(outcome.report, summary);
    summary.images = summary.finished;  // those of this part
    printRunSummary(summary);
    return judgeRun(summary);
}
