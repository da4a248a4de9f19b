#include "parts/run.h"

#include <algorithm>
#include <filesystem>
#include <thread>

#include "base/format_text.h"
#include "base/messages.h"
#include "base/part_file.h"
#include "composite/composite.h"
#include "parts/console_text.h"
#include "parts/dependency.h"
#include "parts/pool.h"
#include "parts/replay.h"
#include "parts/resume.h"
#include "parts/run_progress.h"
#include "run/shift_list.h"
#include "state/run_state.h"

namespace {

void sortRecords(std::vector<ImageRecord>& records) {
    std::sort(records.begin(), records.end(),
              [](const ImageRecord& a, const ImageRecord& b) { return a.facts.entry < b.facts.entry; });
}

int chooseProcesses(const RunOptions& options) {
    return options.cores > 0 ? options.cores : static_cast<int>(std::max(std::thread::hardware_concurrency(), 1U));
}

// As the program does it, in this one process.
int runInOnePart(uint32_t start, std::FILE* report) {
    if (runState.compositeName != nullptr) allocateComposite();
    openShiftList();
    std::vector<ImageRecord> records;
    RunProgress progress = startRunProgress(runState.imageCount, {});
    for (int32_t entry = 1; entry <= runState.imageCount && stopSignal() == 0; ++entry) {
        records.push_back({.facts = processEntry(entry), .shiftLine = {}, .console = {}});
        stepRunProgress(progress, records.back().facts);
    }
    endRunProgress(progress);
    if (stopSignal() != 0) {
        reportImages(records, report);
        return 128 + stopSignal();
    }
    closeRun(start, identifyRun(), records, report);
    return 0;
}

// What there is when a run ends before its end: the words and lines of the images before the one that ended it.
int endEarly(PoolOutcome& pool, std::vector<ImageRecord>& records, std::FILE* report) {
    if (pool.fatalEntry != 0) {
        std::erase_if(records, [&pool](const ImageRecord& record) { return record.facts.entry > pool.fatalEntry; });
    }
    reportImages(records, report);
    if (pool.fatalEntry != 0) records.push_back(pool.fatalWords);
    replayImages(records);
    std::fflush(runState.shiftList);
    return pool.fatalEntry != 0 ? pool.fatalStatus : 128 + stopSignal();
}

// All sums go into those of the first worker.
std::string addUp(const PoolOutcome& pool, const SavedWork& saved, const RunIdentity& identity) {
    if (runState.compositeName == nullptr) return {};
    if (pool.workers.empty()) {
        allocateComposite();
    } else {
        runState.compositeSum = pool.workers[0].sums;
    }
    const size_t count = static_cast<size_t>(identity.width) * static_cast<size_t>(identity.height);
    for (size_t w = 1; w < pool.workers.size(); ++w) {
        for (size_t i = 0; i < count; ++i) {
            CompositeSum& sum = runState.compositeSum[i];
            const CompositeSum& added = pool.workers[w].sums[i];
            sum.sumBlue += added.sumBlue;
            sum.sumGreen += added.sumGreen;
            sum.sumRed += added.sumRed;
            sum.fullCount += added.fullCount;
        }
    }
    for (const SavedPart& part : saved.parts) {
        const std::string problem = addPartSums(part.path, identity, part.images, runState.compositeSum);
        if (!problem.empty()) return problem;
    }
    return {};
}

// The sum could not be written: all that it is made of is kept in one part, for a run that goes on from there.
void keepWork(PartFolder& folder, const RunIdentity& identity, const std::vector<ImageRecord>& records) {
    const std::string path = namePart(folder, 0);  // before all others: they are not taken beside it
    if (!writePart(path, identity, records, runState.compositeSum).empty()) return;
    for (const std::string& part : listParts(folder)) {
        if (part != path) std::filesystem::remove(part);
    }
}

int runInParts(const RunOptions& options, PartFolder& folder, uint32_t start, std::FILE* report) {
    const RunIdentity identity = identifyRun();
    SavedWork saved;
    std::string problem = takePartFolder(folder);
    if (problem.empty()) problem = findSavedWork(folder, identity, options.resume, options.force, saved);
    if (!problem.empty()) {
        printError("%s", problem.c_str());
        return 2;
    }
    if (!saved.records.empty()) {
        printNotice(tr("%i of %i images are done already."), static_cast<int>(saved.records.size()), identity.images);
    }
    openShiftList();
    PoolOutcome pool;
    if (!saved.missing.empty()) {
        pool = runPool({.entries = saved.missing,
                        .processes = chooseProcesses(options),
                        .secondsToSave = options.secondsToSave,
                        .folder = folder,
                        .identity = identity},
                       saved.records);
    }
    std::vector<ImageRecord> records = std::move(saved.records);
    records.insert(records.end(), pool.records.begin(), pool.records.end());
    sortRecords(records);
    const bool isWhole = static_cast<int32_t>(records.size()) == runState.imageCount;
    const bool allWritten =
        std::none_of(records.begin(), records.end(), [](const auto& r) { return r.facts.opened && !r.facts.written; });
    if (!isWhole || !allWritten) savePool(pool, identity);
    if (!isWhole) return endEarly(pool, records, report);
    problem = addUp(pool, saved, identity);
    if (!problem.empty()) {
        printError("%s", problem.c_str());
        return 2;
    }
    replayImages(records);
    closeRun(start, identity, records, report);
    if (allWritten && runState.outputFailed == 0) {
        emptyPartFolder(folder);
    } else if (allWritten) {
        keepWork(folder, identity, records);
    }
    return 0;
}

int carryOut(const RunOptions& options, const std::string& partFolder, std::FILE* report) {
    const uint32_t start = openRun(options.script);
    const std::string dependency = findDependency();
    if (!dependency.empty()) {
        printNotice(tr("The images are processed in one part, one after another: %s."), dependency.c_str());
        return runInOnePart(start, report);
    }
    PartFolder folder{.path = partFolder};
    return runInParts(options, folder, start, report);
}

}  // namespace

int runScript(const RunOptions& options, RunSummary& summary) {
    const std::filesystem::path folder = options.folder;
    std::filesystem::path log = options.log;
    if (log.empty()) log = std::filesystem::path(options.script).replace_extension(".log");
    const std::string parts = std::filesystem::path(log).replace_extension(".parts").string();
    summary = {};
    summary.log = (folder / log).string();
    std::error_code missing;
    if (!std::filesystem::exists(folder / options.script, missing)) {
        printError(tr("there is no script %s."), (folder / options.script).c_str());
        return 2;
    }
    const ProcessOutcome outcome =
        runApart(options.folder, [&](std::FILE* report) { return carryOut(options, parts, report); });
    readReport(outcome.report, summary);
    const std::string partFolder = (folder / parts).string();
    removeEmptyPartFolder(partFolder);
    if (outcome.status == 2) return 2;
    const bool logged = writeWholeFile(summary.log, convertConsole(outcome.console));
    if (!logged) printError(tr("%s cannot be written; is the disk full?"), summary.log.c_str());
    const std::string fatal = findFatalMessage(outcome.console);
    if (std::filesystem::exists(partFolder, missing)) {
        printNotice(tr("What is done is saved in %s: run again with --resume to do the rest."), partFolder.c_str());
    }
    if (!fatal.empty()) printError(tr("the run ended early: %s"), convertConsole(fatal).c_str());
    if (outcome.status != 0) return outcome.status;
    return std::max(judgeRun(summary), logged ? 0 : 1);
}
