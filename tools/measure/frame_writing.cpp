#include "measure/frame_writing.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <opencv2/core.hpp>

#include "base/format_text.h"
#include "base/messages.h"
#include "base/progress_bar.h"
#include "measure/bmp_frame.h"
#include "measure/hot_pixels.h"
#include "measure/pose.h"
#include "measure/selection.h"
#include "measure/sky.h"
#include "measure/turned_picture.h"

namespace fs = std::filesystem;

namespace {

constexpr double knownTurn = 0.1;      // degrees: a turn that may well, one time in twenty, be farther off is flagged
constexpr double clippedShare = 1e-3;  // of a frame's values above the scale, from which it is flagged
constexpr double hotShare = 0.6;       // of the frames that show a pixel alone, from which it is taken for hot
constexpr double leastMove = 2;        // pixels; a star would have left its pixel by then

void planScale(const MeasuredSeries& measured, const PrepareOptions& options, FramePlan& plan) {
    if (options.scale) {
        plan.scale = {(*options.scale)[0], (*options.scale)[1]};
        plan.scaleWhy = formatText(tr("Values from %g (black) to %g (white), as asked for (--scale)."), plan.scale.low,
                                   plan.scale.high);
    } else if (measured.histogram.total > 0) {
        plan.scale = chooseScale(measured.histogram);
        plan.scaleWhy = formatText(tr("Values from %g (black) to %g (white) in all frames alike, from the histogram of "
                                      "the series (--scale LOW HIGH chooses others)."),
                                   plan.scale.low, plan.scale.high);
    } else {
        plan.scaleWhy = tr("8-bit values are taken as they are.");
    }
}

// How far the object stands from where it stands in the reference, in the middle of all frames.
double measureUsualMove(const MeasuredSeries& measured, const Placement& placement) {
    std::vector<float> moves;
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        if (!isGood(measured.frames[i])) continue;
        moves.push_back(static_cast<float>(cv::norm(placement.origins[i] - placement.referenceOrigin)));
    }
    return takeMedian(moves);
}

void planRepair(const MeasuredSeries& measured, const Placement& placement, FramePlan& plan) {
    if (measureUsualMove(measured, placement) < leastMove) return;
    const auto good = std::count_if(measured.frames.begin(), measured.frames.end(), isGood);
    const cv::Mat repaired = measured.spikeCounts >= std::max(3.0, hotShare * static_cast<double>(good));
    const int count = cv::countNonZero(repaired);
    if (count == 0) return;
    plan.repaired = repaired;
    plan.repairWhy =
        formatText(tr("%d pixels that stand out in most frames at the same place, while the object moves, are "
                      "hot or dead: they are replaced by the median of what lies around them, since frames "
                      "would be laid on each other by them."),
                   count);
}

FrameRecord makeRecord(const MeasuredSeries& measured, const Placement& placement, size_t index) {
    const MeasuredFrame& frame = measured.frames[index];
    FrameRecord record;
    record.number = static_cast<int64_t>(index) + 1;
    record.source = frame.source;
    record.sharpness = frame.sharpness;
    record.flags = frame.flags;
    record.kept = isGood(frame);
    if (record.kept) record.frame = "frame" + std::to_string(index + 1) + ".bmp";
    record.originX = placement.origins[index].x;
    record.originY = placement.origins[index].y;
    return record;
}

}  // namespace

std::vector<std::string> listOldFrames(const std::string& folder) {
    std::error_code error;
    std::vector<std::string> old;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with("frame") || !name.ends_with(".bmp") || name.size() < 10) continue;
        const std::string digits = name.substr(5, name.size() - 9);
        if (std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            old.push_back(entry.path().string());
        }
    }
    return old;
}

FramePlan planFrames(const MeasuredSeries& measured, const Placement& placement, const PrepareOptions& options) {
    FramePlan plan;
    planScale(measured, options, plan);
    planRepair(measured, placement, plan);
    plan.turnBack = options.turn && measured.kind == ObjectKind::stars;
    plan.crop = options.crop ? chooseCrop(measured, placement) : measured.size;
    return plan;
}

bool writeFrames(const MeasuredSeries& measured, const Placement& placement, const PrepareOptions& options,
                 FramePlan& plan, PreparedSeries& series) {
    const fs::path folder = options.folder;
    std::string problem;
    const FrameSeriesHandle frames = openFrames(options.pictures, problem);
    if (!frames) {
        printError("%s", problem.c_str());
        return false;
    }
    // Frames of an earlier preparation would be taken for ones of this.
    std::error_code error;
    for (const std::string& old : listOldFrames(options.folder)) fs::remove(old, error);
    series.width = plan.crop.width;
    series.height = plan.crop.height;
    const double referenceError = measured.frames[static_cast<size_t>(series.reference - 1)].angleError;
    int64_t clipped = 0, values = 0;
    FrameResult frame;
    ProgressBar bar = startProgress(tr("Writing"), static_cast<int64_t>(measured.frames.size()));
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        const bool there = readNextFrame(*frames, frame) && frame.problem.empty();
        FrameRecord& record = series.frames.emplace_back(makeRecord(measured, placement, i));
        stepProgress(bar);
        if (!record.kept) continue;
        if (!there || frame.picture.size() != measured.size) {
            endProgress(bar);
            printError(tr("%s has changed while it was read; run prepare again"), record.source.c_str());
            return false;
        }
        const cv::Rect window = placeCrop(placement.origins[i], plan.crop, measured.size);
        const bool scaledAtAll = options.scale || needsScale(frame.picture);
        ScaledPicture scaled = applyScale(frame.picture, scaledAtAll ? plan.scale : BrightnessScale());
        if (!plan.repaired.empty()) repairPixels(scaled.picture, plan.repaired);
        clipped += scaled.aboveCount;
        values += static_cast<int64_t>(frame.picture.total()) * frame.picture.channels();
        if (static_cast<double>(scaled.aboveCount) > clippedShare * static_cast<double>(frame.picture.total())) {
            record.flags.emplace_back("clipped");
        }
        if (plan.turnBack && record.number != series.reference) {
            const double turnError = std::hypot(measured.frames[i].angleError, referenceError);
            if (2 * turnError * degreesPerRadian > knownTurn) record.flags.emplace_back("unsure");
            scaled.picture = turnBack(scaled.picture, placement.poses[i], placement.origins[i]);
            record.angle = placement.poses[i].angle * degreesPerRadian;
        }
        if (record.number == series.reference) record.flags.emplace_back("reference");
        record.originX -= window.x;
        record.originY -= window.y;
        if (!writeBmpFrame(scaled.picture(window), (folder / record.frame).string())) {
            endProgress(bar);
            printError(tr("%s cannot be written; is the disk full?"), (folder / record.frame).c_str());
            return false;
        }
    }
    endProgress(bar);
    if (clipped > 0) {
        plan.scaleWhy += formatText(tr(" %.4f%% of all values lie above white and were cut off."),
                                    100 * static_cast<double>(clipped) / static_cast<double>(values));
        printNotice("%s", plan.scaleWhy.c_str());
    }
    return true;
}
