#include "stack/second_pass.h"

#include <algorithm>
#include <filesystem>
#include <opencv2/imgproc.hpp>

#include "base/format_text.h"
#include "base/messages.h"
#include "base/part_file.h"
#include "base/progress_bar.h"
#include "measure/bmp_frame.h"
#include "stack/picture_sizes.h"

namespace fs = std::filesystem;

namespace {

std::string describeReference(const PassPlan& plan, const PassReview& first) {
    if (plan.number > 2)
        return formatText(tr("The reference is the sum of pass %d, less distorted than any frame."), plan.number - 1);
    return formatText(tr("The reference is the mean of the %d frames that the first pass laid on each other without "
                         "doubt: each frame is distorted by the air in its own way, their mean is not."),
                      first.good);
}

// Frames and reference of this size lie on each other with the shift that the first pass found; one that is in doubt
// starts where prepare found it.
ScriptSource makeSource(const PassPlan& plan, const FrameReport& frame, const FrameRecord& record) {
    const bool trusted = isTrusted(frame);  // then its shift is one of whole pixels, that of the first pass
    const auto shiftX = static_cast<int32_t>(trusted ? frame.shiftX : 0);
    const auto shiftY = static_cast<int32_t>(trusted ? frame.shiftY : 0);
    const std::string from = plan.enlarge == 1 ? "../" : plan.number == 2 ? "" : "../pass2/";
    return {.source = from + record.frame,
            .result = "aligned" + std::to_string(record.number) + ".bmp",
            .originX = (frame.originX + shiftX) * plan.enlarge,
            .originY = (frame.originY + shiftY) * plan.enlarge};
}

bool writeEnlarged(const PassPlan& plan, const PassReview& first, const std::vector<FrameReport>& frames) {
    ProgressBar bar = startProgress(tr("Enlarging"), static_cast<int64_t>(frames.size()));
    for (const FrameReport& frame : frames) {
        Image source = readFrame(first.script, frame);
        const std::string path = (fs::path(namePass(plan)) / fs::path(frame.picture).filename()).string();
        const bool written =
            source.pixels != nullptr && writeBmpFrame(enlargePicture(toPicture(source), plan.enlarge), path);
        releaseImage(source);
        stepProgress(bar);
        if (written) continue;
        endProgress(bar);
        printError(tr("%s cannot be written; is the disk full?"), path.c_str());
        return false;
    }
    endProgress(bar);
    return true;
}

bool writeReference(const PassPlan& plan, const PassReview& first) {
    const fs::path folder = namePass(plan);
    std::error_code error;
    bool written = false;
    if (plan.number > 2) {
        const fs::path sum = fs::path(plan.folder) / formatText("pass%d", plan.number - 1) / "sum.bmp";
        written = fs::copy_file(sum, folder / "reference.bmp", fs::copy_options::overwrite_existing, error);
    } else {
        cv::Mat levels;
        enlargePicture(first.mean, plan.enlarge).convertTo(levels, CV_8U);
        written = writeBmpFrame(levels, (folder / "reference.bmp").string());
    }
    if (!written) printError(tr("%s cannot be written; is the disk full?"), (folder / "reference.bmp").c_str());
    return written;
}

ScriptPlan planPass(const PassPlan& plan, const PassReview& first) {
    ScriptPlan script;
    script.introduction = {formatText(tr("Pass %d, to be run in its own folder."), plan.number), plan.keepWhy};
    if (plan.enlarge > 1) {
        script.introduction.push_back(
            formatText(tr("The frames are enlarged %d times: shifts and bending take finer steps, and what they mix "
                          "blurs less. The sum is made smaller again in the folder above."),
                       plan.enlarge));
    }
    script.reference = "reference.bmp";
    script.referenceWhy = describeReference(plan, first);
    script.originX = first.reference.originX * plan.enlarge;
    script.originY = first.reference.originY * plan.enlarge;
    script.translationWhy = tr("The origins hold what the first pass found; 10 pixels to every side are tried.");
    script.optiTranslation = first.script.translationFraction;
    script.optiTranslationWhy = tr("The same part of the frames is compared as in the first pass.");
    script.blocks = plan.blocks;
    script.blocksWhy = plan.blocksWhy;
    if (!plan.blocks) script.introduction.push_back(plan.blocksWhy);
    script.composite = "sum";
    return script;
}

}  // namespace

std::string namePass(const PassPlan& plan) {
    return (fs::path(plan.folder) / formatText("pass%d", plan.number)).string();
}

bool preparePass(const PassPlan& plan, const PassReview& first, const std::vector<FrameRecord>& records) {
    std::error_code error;
    fs::create_directories(namePass(plan), error);
    if (!fs::is_directory(namePass(plan), error)) {
        printError(tr("the folder %s cannot be made"), namePass(plan).c_str());
        return false;
    }
    ScriptPlan script = planPass(plan, first);
    std::vector<FrameReport> used;
    for (const FrameReport& frame : first.frames) {
        const auto record = std::find_if(records.begin(), records.end(),
                                         [&frame](const FrameRecord& r) { return r.number == frame.number; });
        if (!frame.aligned || record == records.end() || !record->kept) continue;
        script.sources.push_back(makeSource(plan, frame, *record));
        used.push_back(frame);
    }
    if (!writeReference(plan, first)) return false;
    if (plan.enlarge > 1 && plan.number == 2 && !writeEnlarged(plan, first, used)) return false;
    const std::string path = (fs::path(namePass(plan)) / "script.txt").string();
    if (writeWholeFile(path, makeScript(script))) return true;
    printError(tr("%s cannot be written; is the disk full?"), path.c_str());
    return false;
}

bool collectPass(const PassPlan& plan, const PassReview& first) {
    const cv::Size size(first.reference.width, first.reference.height);
    const std::string problem = collectSum((fs::path(namePass(plan)) / "sum").string(),
                                           (fs::path(plan.folder) / "sum").string(), size, plan.enlarge);
    if (!problem.empty()) {
        printError("%s", problem.c_str());
        return false;
    }
    const RunScript script = readRunScript((fs::path(namePass(plan)) / "script.txt").string());
    for (const ScriptEntry& entry : script.entries) {
        const fs::path from = fs::path(namePass(plan)) / entry.result, to = fs::path(plan.folder) / entry.result;
        std::error_code error;
        if (plan.enlarge == 1) {
            fs::rename(from, to, error);
        } else if (reducePicture(from.string(), to.string(), plan.enlarge)) {
            fs::remove(from, error);  // many times the size of the frames, and nobody asks for it
        } else {
            printError(tr("%s cannot be written; is the disk full?"), to.c_str());
            return false;
        }
    }
    // Last: it is what tells that all the others are there.
    cv::Mat levels;
    first.mean.convertTo(levels, CV_8U);
    const std::string reference = (fs::path(plan.folder) / passReference).string();
    if (!writeBmpFrame(levels, reference)) {
        printError(tr("%s cannot be written; is the disk full?"), reference.c_str());
        return false;
    }
    return true;
}
