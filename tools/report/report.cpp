#include "report/report.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "base/format_text.h"
#include "base/messages.h"
#include "base/part_file.h"
#include "measure/frame_table.h"
#include "report/aligned_frames.h"
#include "report/page.h"
#include "report/page_pictures.h"
#include "report/plots.h"
#include "report/run_files.h"

namespace {

namespace fs = std::filesystem;

// What lies at both ends of the searched angles: the coarse search goes by whole degrees, the refinement half a degree
// further.
constexpr double refinedDegrees = 0.5;

bool sameFile(const std::string& a, const std::string& b) {
    return fs::path(a).lexically_normal() == fs::path(b).lexically_normal();
}

// A row of frames.csv, and its place in the script. A frame that the script reads twice counts by its first entry.
FrameReport makeRow(const FrameRecord& record, const RunScript& script, std::vector<bool>& named) {
    FrameReport frame;
    frame.number = record.number;
    frame.source = record.source;
    frame.flags = record.flags;
    frame.turnedBefore = record.angle;
    if (!record.frame.empty() || record.sharpness != 0) frame.sharpness = record.sharpness;
    for (size_t i = 0; i < script.entries.size() && frame.entry == 0 && !record.frame.empty(); ++i) {
        if (!sameFile(script.entries[i].source, record.frame)) continue;
        frame.entry = static_cast<int32_t>(i + 1);
        named[i] = true;
    }
    if (record.kept && frame.entry == 0) addFlag(frame, "unused");
    return frame;
}

// One row an input frame: those of frames.csv, then what the script names besides.
std::vector<FrameReport> listFrames(const RunScript& script, const std::vector<FrameRecord>& records) {
    std::vector<FrameReport> frames;
    std::vector<bool> named(script.entries.size(), false);
    for (const FrameRecord& record : records) frames.push_back(makeRow(record, script, named));
    int64_t number = 0;
    for (const FrameReport& frame : frames) number = std::max(number, frame.number);
    for (size_t i = 0; i < script.entries.size(); ++i) {
        if (named[i]) continue;
        FrameReport frame;
        frame.number = ++number;
        frame.source = script.entries[i].source;
        frame.entry = static_cast<int32_t>(i + 1);
        if (sameFile(frame.source, script.reference)) addFlag(frame, "reference");
        frames.push_back(frame);
    }
    return frames;
}

// What script and console say of a frame that the script names.
void takeOutcome(FrameReport& frame, const RunScript& script, const Image& reference, const RunLog& log) {
    const ScriptEntry& entry = script.entries[static_cast<size_t>(frame.entry) - 1];
    frame.picture = entry.source;
    frame.result = entry.result;
    frame.originX = entry.hasOriginX ? entry.originX : reference.originX;
    frame.originY = entry.hasOriginY ? entry.originY : reference.originY;
    const auto found = log.entries.find(frame.entry);
    if (found == log.entries.end()) return addFlag(frame, "unfinished");
    const LogEntry& outcome = found->second;
    if (!outcome.opened) return addFlag(frame, "missing");
    if (!outcome.aligned) return addFlag(frame, "unfinished");
    const bool turned = script.angleMin != script.angleMax;
    frame.aligned = true;
    frame.kept = true;
    frame.shiftX = outcome.shiftX;
    frame.shiftY = outcome.shiftY;
    const double angle = turned ? outcome.angle : script.angleMin;
    frame.angle = frame.turnedBefore + angle;
    const bool turnedToEnd =
        turned && (angle <= script.angleMin - refinedDegrees || angle >= script.angleMax + refinedDegrees);
    if (outcome.onLimit || turnedToEnd) addFlag(frame, "limit");
}

// A frame that the first pass aligned, and what the pass made of it that the sum comes from. Its shift is told in
// pixels of the frames, against the origin that the first script gives.
void takeFurtherPass(FrameReport& frame, const FurtherPass& pass) {
    frame.kept = false;
    for (size_t i = 0; i < pass.script.entries.size(); ++i) {
        const ScriptEntry& entry = pass.script.entries[i];
        if (entry.result != frame.result) continue;
        const auto found = pass.log.entries.find(static_cast<int32_t>(i + 1));
        if (found == pass.log.entries.end() || !found->second.aligned) return addFlag(frame, "unfinished");
        frame.kept = true;
        frame.shiftX = (entry.originX + found->second.shiftX) / pass.enlarge - frame.originX;
        frame.shiftY = (entry.originY + found->second.shiftY) / pass.enlarge - frame.originY;
        std::erase(frame.flags, "limit");
        if (found->second.onLimit) addFlag(frame, "limit");
    }
}

// Frames that were bent differ from the reference in few places, but much, which says nothing of where they were laid:
// that was judged before they were bent.
void keepRecordedDoubts(const std::vector<FrameRecord>& records, std::vector<FrameReport>& frames) {
    for (FrameReport& frame : frames) {
        std::erase_if(frame.flags, [&](const std::string& flag) {
            if (flag != "different" && flag != "worse") return false;
            return std::none_of(records.begin(), records.end(), [&](const FrameRecord& record) {
                return record.number == frame.number && hasFlag(record, flag);
            });
        });
    }
}

std::string joinFlags(const FrameReport& frame) {
    std::string text;
    for (const std::string& flag : frame.flags) text += (text.empty() ? "" : ", ") + flag;
    return text;
}

bool mayWrite(const std::string& path, bool force) {
    if (force || !fs::exists(path)) return true;
    printError(tr("%s exists; add --force to replace it, or name another folder with -o."), path.c_str());
    return false;
}

bool writeResult(const std::string& path, const std::string& bytes, bool silent) {
    if (!writeWholeFile(path, bytes)) {
        printError(tr("%s cannot be written; is its folder there, and room on the disk?"), path.c_str());
        return false;
    }
    if (!silent) std::printf("%s\n", path.c_str());
    return true;
}

PageContents gatherContents(const RunFiles& run, const RunScript& script, const Image& reference,
                            const std::vector<FrameReport>& frames) {
    const std::string folder = fs::absolute(run.script).lexically_normal().parent_path().filename().string();
    PageContents contents;
    contents.title = formatText(tr("Run %s in %s"), fs::path(run.script).filename().c_str(), folder.c_str());
    contents.summary = summarizeFrames(frames);
    contents.script = script;
    contents.scriptText = readText(run.script);
    contents.frames = frames;
    contents.pictures = makePagePictures(script, reference, frames);
    contents.plots = drawPlots(frames, reference.originX, reference.originY, script.angleMin != script.angleMax);
    const bool expected =
        std::any_of(frames.begin(), frames.end(), [](const FrameReport& frame) { return frame.aligned; });
    if (expected && contents.plots.empty()) {
        printNotice(tr("gnuplot cannot be run, so the page is without plots; install the package gnuplot-nox."));
    }
    return contents;
}

}  // namespace

std::string summarizeFrames(const std::vector<FrameReport>& frames) {
    constexpr size_t mostNamed = 10;
    size_t summed = 0, named = 0, unnamed = 0;
    std::string details;
    for (const FrameReport& frame : frames) {
        summed += frame.kept;
        if (frame.kept && !isDoubtful(frame)) continue;
        if (++named > mostNamed) {
            ++unnamed;
            continue;
        }
        details += formatText(frame.kept ? tr("; frame %lld doubtful (%s)") : tr("; frame %lld left out (%s)"),
                              static_cast<long long>(frame.number), joinFlags(frame).c_str());
    }
    if (unnamed > 0) details += formatText(tr("; %zu others left out or doubtful"), unnamed);
    return formatText(tr("%zu of %zu frames summed"), summed, frames.size()) + details + ".";
}

std::vector<FrameReport> examineRun(const RunScript& script, const Image& reference, const RunLog& log,
                                    const std::vector<FrameRecord>& records, const FurtherPass* pass) {
    std::vector<FrameReport> frames = listFrames(script, records);
    for (FrameReport& frame : frames) {
        if (frame.entry > 0) takeOutcome(frame, script, reference, log);
        if (frame.aligned && pass != nullptr) takeFurtherPass(frame, *pass);
    }
    measureFrames(script, reference, frames);
    flagDoubtfulFrames(frames);
    return frames;
}

int reportFolder(const ReportOptions& options, std::vector<FrameReport>* result) {
    const RunFiles run = findRun(options.target, options.log);
    if (!run.problem.empty()) {
        printError("%s", run.problem.c_str());
        return 2;
    }
    const fs::path folder = options.output.empty() ? fs::path(run.script).parent_path() : fs::path(options.output);
    const std::string tablePath = (folder / "table.csv").string(), pagePath = (folder / "report.html").string();
    if (!mayWrite(tablePath, options.force) || !mayWrite(pagePath, options.force)) return 2;

    RunScript script = readRunScript(run.script);
    const std::optional<FurtherPass> pass = findFurtherPass(run);
    if (pass) script.reference = passReference;
    std::vector<FrameRecord> records;
    std::string problem;
    const std::string recordPath = locate(script, "frames.csv");
    if (fs::exists(recordPath) && !readFrameTable(recordPath, records, problem)) {
        printNotice("%s", problem.c_str());
    }
    Image reference = readReference(script);
    if (reference.pixels == nullptr) {
        printNotice(tr("%s, the reference, cannot be read: differences and pictures are left out."),
                    locate(script, script.reference).c_str());
    }
    const RunLog log = parseRunLog(readText(run.log));
    if (!log.finished) printNotice(tr("%s does not hold the end of the run."), run.log.c_str());
    std::vector<FrameReport> frames = examineRun(script, reference, log, records, pass ? &*pass : nullptr);
    if (pass) keepRecordedDoubts(records, frames);
    const std::string page = writePage(gatherContents(run, script, reference, frames));
    releaseImage(reference);
    if (!writeResult(tablePath, formatTable(frames), options.silent) || !writeResult(pagePath, page, options.silent))
        return 2;
    if (!options.silent) std::printf("%s\n", summarizeFrames(frames).c_str());
    const bool allGood = std::all_of(frames.begin(), frames.end(),
                                     [](const FrameReport& frame) { return frame.kept && !isDoubtful(frame); });
    if (result != nullptr) *result = std::move(frames);
    return allGood ? 0 : 1;
}
