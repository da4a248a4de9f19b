#include "stack/stack.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "base/format_text.h"
#include "base/messages.h"
#include "parts/run.h"
#include "parts/run_process.h"
#include "report/report.h"
#include "script/script_check.h"
#include "stack/distortion.h"
#include "stack/second_pass.h"

namespace fs = std::filesystem;

namespace {

constexpr double largestEnlargement = 2e9;  // bytes of enlarged frames on the disk, from which frames stay as they are
constexpr int fewestFrames = 3;             // whose mean is less distorted than each of them

// A script of our own that check finds fault with would come to nothing: a full disk, names that the program cannot
// read. False when there is an error.
bool checkPass(const std::string& folder) {
    const std::string script = (fs::path(folder) / "script.txt").string();
    const ScriptReview review = reviewScript(script, folder);
    for (const Finding& finding : review.findings) {
        const char* kind = finding.severity == Severity::error ? tr("error") : tr("warning");
        printNotice("%s:%d: %s: %s", script.c_str(), std::max(finding.line, 1), kind, finding.text.c_str());
    }
    return review.isReadable && !hasError(review.findings);
}

// One pass; false when it was not begun or did not come to its end.
bool runPass(const StackOptions& options, const std::string& folder, const char* label) {
    if (!checkPass(folder)) return false;
    printNotice("%s", label);
    RunOptions run;
    run.script = "script.txt";
    run.folder = folder;
    run.cores = options.cores;
    run.force = true;
    RunSummary summary;
    const int status = runScript(run, summary);
    return (status == 0 || status == 1) && stopSignal() == 0;
}

int countPasses(const StackOptions& options, const PreparedSeries& series) {
    if (options.passes == 1) return 1;
    if (options.prepare.turn) {
        printNotice(tr("One pass only: a second one, which bends, is for frames that do not turn."));
        return 1;
    }
    if (options.passes == 0) return series.kind == ObjectKind::stars ? 1 : 2;
    return options.passes;
}

int chooseEnlargement(const StackOptions& options, const PreparedSeries& series, size_t frames) {
    if (options.enlarge > 0) return options.enlarge;
    const double bytes = 12.0 * series.width * series.height * static_cast<double>(frames);
    if (bytes <= largestEnlargement) return 2;
    printNotice(
        tr("Frames are not enlarged for the second pass: that would take %.0f GB of disk; --enlarge 2 does it."),
        bytes * 1e-9);
    return 1;
}

// Whether the first pass can be built upon; says why not.
bool isSound(const PassReview& review) {
    if (!review.problem.empty()) {
        printError("%s", review.problem.c_str());
        return false;
    }
    if (review.good < fewestFrames) {
        printNotice(tr("No second pass: it builds on the mean of at least %d frames that the first pass placed without "
                       "doubt, and there are %d."),
                    fewestFrames, review.good);
        return false;
    }
    if (review.doubtful > review.good) {
        printNotice(
            tr("No second pass: %d of the %d frames that the first pass placed are doubtful. Look at report.html, "
               "then try another --object or --reference."),
            review.doubtful, review.doubtful + review.good);
        return false;
    }
    if (review.doubtful > 0) {
        printNotice(tr("%d doubtful frames are left out of the second pass's reference."), review.doubtful);
    }
    return true;
}

// The passes behind the first. False when the results are still those of the pass before.
bool runFurtherPasses(const StackOptions& options, const PreparedSeries& series, int passes, PassReview& review,
                      std::vector<FrameRecord>& records) {
    PassPlan plan = {.folder = options.prepare.folder, .enlarge = 1, .blocks = {}, .blocksWhy = {}, .keepWhy = {}};
    plan.keepWhy = rankAligned(review, records, *parseKeepRule(options.prepare.keep));
    const auto kept = static_cast<size_t>(
        std::count_if(records.begin(), records.end(), [](const FrameRecord& record) { return record.kept; }));
    plan.enlarge = chooseEnlargement(options, series, kept);
    plan.blocksWhy = tr("Not bent, as asked for (--no-bend).");
    if (options.bend) {
        plan.blocks = chooseBending(measureDistortion(review), cv::Size(series.width, series.height), plan.enlarge,
                                    plan.blocksWhy);
    }
    printNotice("%s", plan.keepWhy.c_str());
    printNotice("%s", plan.blocksWhy.c_str());
    for (plan.number = 2; plan.number <= passes; ++plan.number) {
        if (!preparePass(plan, review, records)) return false;
        if (!runPass(options, namePass(plan), formatText(tr("Pass %d of %d"), plan.number, passes).c_str()))
            return false;
    }
    plan.number = passes;
    const std::string table = (fs::path(plan.folder) / "frames.csv").string();
    return collectPass(plan, review) && writeFrameTable(table, records);
}

// Report, pictures, the one sentence.
int finish(const StackOptions& options, bool whole) {
    const std::string& folder = options.prepare.folder;
    printNotice(tr("Report and pictures"));
    std::vector<FrameReport> frames;
    const int exported = exportSum({.sum = (fs::path(folder) / "sum").string(),
                                    .output = {},
                                    .stretch = options.stretch,
                                    .cropCommon = false,
                                    .force = true,
                                    .silent = true});
    const int reported = reportFolder(
        {.target = (fs::path(folder) / "script.txt").string(), .log = {}, .output = {}, .force = true, .silent = true},
        &frames);
    if (exported == 2 || reported == 2) return 2;
    std::printf("%s %s\n", summarizeFrames(frames).c_str(),
                formatText(tr("Sum: %s"), (fs::path(folder) / "sum.png").c_str()).c_str());
    return whole ? std::max(exported, reported) : 1;
}

// What prepare does not know of: results that a run would replace.
bool mayWrite(const PrepareOptions& prepare) {
    if (prepare.force) return true;
    for (const char* name : {"sum.bmp", "sum.png", "sum.fits", "sum.sums.fit", "sumR.fit", "table.csv", "report.html",
                             "reference.bmp", "pass2"}) {
        const fs::path path = fs::path(prepare.folder) / name;
        if (!fs::exists(path)) continue;
        printError(tr("%s exists; name another folder with -o, or replace what is there with --force"), path.c_str());
        return false;
    }
    return true;
}

}  // namespace

int stackPictures(const StackOptions& options) {
    if (!mayWrite(options.prepare)) return 2;
    PrepareOptions prepare = options.prepare;
    prepare.bend = false;
    // With a second pass all good frames go into the first: the mean of many is distorted least, and aligned frames are
    // judged better.
    const bool mayBeTwo = options.passes != 1 && !prepare.turn && prepare.object != ObjectKind::stars;
    if (mayBeTwo && !parseKeepRule(prepare.keep)) return prepareFrames(prepare, nullptr);  // which says what is wrong
    if (mayBeTwo) prepare.keep = "all";
    PreparedSeries series;
    if (prepareFrames(prepare, &series) == 2) return 2;
    const int passes = countPasses(options, series);
    if (passes == 1 && prepare.keep != options.prepare.keep) {  // stars after all: their first pass is the last
        prepare.keep = options.prepare.keep;
        prepare.object = series.kind;
        prepare.force = true;
        series = {};
        if (prepareFrames(prepare, &series) == 2) return 2;
    }
    if (!runPass(options, prepare.folder, formatText(tr("Pass 1 of %d"), passes).c_str())) {
        return stopSignal() != 0 ? 128 + stopSignal() : 2;
    }
    bool whole = true;
    if (passes > 1) {
        PassReview review = reviewPass(prepare.folder, series.frames, series.kind);
        whole = isSound(review) && runFurtherPasses(options, series, passes, review, series.frames);
        releaseImage(review.reference);
        if (stopSignal() != 0) return 128 + stopSignal();
    }
    return finish(options, whole);
}
