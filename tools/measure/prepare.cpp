#include "measure/prepare.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "base/format_text.h"
#include "base/messages.h"
#include "base/part_file.h"
#include "frames/frame_series.h"
#include "measure/frame_writing.h"
#include "measure/placement.h"
#include "measure/pose.h"
#include "measure/script_plan.h"
#include "measure/selection.h"
#include "measure/series_measure.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t listedFrames = 20;   // left-out frames named one by one on the console; frames.csv has them all
constexpr double noticedTurn = 0.15;  // degrees, from which a turn without --turn is worth a word

// Makes the folder, or says why nothing may be written there.
bool openFolder(const PrepareOptions& options) {
    const fs::path folder = options.folder;
    std::error_code error;
    for (const std::string& picture : options.pictures) {
        const fs::path place = fs::is_directory(picture, error) ? fs::path(picture) : fs::path(picture).parent_path();
        if (fs::equivalent(place.empty() ? "." : place, folder, error) && !error) {
            printError(tr("%s holds the pictures themselves; name another folder with -o"), options.folder.c_str());
            return false;
        }
    }
    const bool taken = fs::exists(folder / "script.txt", error) || fs::exists(folder / "frames.csv", error) ||
                       !listOldFrames(options.folder).empty();
    if (taken && !options.force) {
        printError(tr("%s holds a prepared series already; name another folder, or replace it with --force"),
                   options.folder.c_str());
        return false;
    }
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder, error)) {
        printError(tr("the folder %s cannot be made"), options.folder.c_str());
        return false;
    }
    return true;
}

// The kind as asked for, or by the look of the first frames; why says which.
std::optional<ObjectKind> settleKind(const PrepareOptions& options, std::string& why) {
    if (options.object) {
        why = formatText(tr("Object: %s, as asked for."), nameObjectKind(*options.object));
        return options.object;
    }
    std::string problem;
    const FrameSeriesHandle series = openFrames(options.pictures, problem);
    if (!series) {
        printError("%s", problem.c_str());
        return std::nullopt;
    }
    KindVotes votes;
    const ObjectKind kind = findKind(*series, votes);
    why = formatText(
        tr("Object: %s. Of the first frames, %d show one compact bright thing (planet), %d many small points "
           "(stars), %d something that fills them (surface); --object decides otherwise."),
        nameObjectKind(kind), votes.planet, votes.stars, votes.surface);
    return kind;
}

// What a flag means, in words for the console and the script.
std::string explainFlag(const MeasuredFrame& frame) {
    const std::string& flag = frame.flags.front();
    if (flag == "unreadable") return frame.problem;
    if (flag == "dimension") return tr("another size than the first frame");
    if (flag == "depth") return tr("another number of bits than the first frame");
    if (flag == "missing") return tr("the object is not there");
    if (flag == "cut") return tr("cut by the border");
    if (flag == "smeared") return tr("the object is much larger than in the other frames");
    if (flag == "unmatched") return tr("it could not be laid on the other frames");
    if (flag == "overlap") return tr("it shares too little with the reference");
    return tr("not among the sharpest");
}

std::vector<std::string> listLeftOut(const MeasuredSeries& measured) {
    std::vector<std::string> lines;
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        const MeasuredFrame& frame = measured.frames[i];
        if (isGood(frame)) continue;
        lines.push_back(
            formatText(tr("Frame %zu (%s) left out: %s."), i + 1, frame.source.c_str(), explainFlag(frame).c_str()));
    }
    return lines;
}

void printList(const std::vector<std::string>& lines) {
    for (size_t i = 0; i < std::min(lines.size(), listedFrames); ++i) printNotice("%s", lines[i].c_str());
    if (lines.size() > listedFrames) {
        printNotice(tr("... and %zu more; frames.csv names them all."), lines.size() - listedFrames);
    }
}

std::optional<size_t> settleReference(const MeasuredSeries& measured, const PrepareOptions& options) {
    if (options.reference.empty()) {
        const auto reference = chooseReference(measured.frames);
        if (!reference) printError(tr("no frame shows the object; look at the pictures, or try another --object"));
        return reference;
    }
    std::string problem;
    const auto reference = findReference(measured.frames, options.reference, problem);
    if (!reference) printError("%s", problem.c_str());
    return reference;
}

// Sizes, noise and turns in the pixels and levels of the BMP frames.
void describeSeries(const MeasuredSeries& measured, const Placement& placement, size_t reference,
                    const BrightnessScale& scale, PreparedSeries& series) {
    const MeasuredFrame& best = measured.frames[reference];
    const double levels = 255 / (scale.high - scale.low);
    series.kind = measured.kind;
    series.reference = static_cast<int64_t>(reference) + 1;
    const bool wholeFrame = best.extent.empty();
    series.objectWidth = wholeFrame ? measured.size.width : best.extent.width;
    series.objectHeight = wholeFrame ? measured.size.height : best.extent.height;
    series.brightness = best.detail.brightness * levels;
    series.noise = best.detail.noise * levels;
    series.scatter = placement.scatter;
    if (measured.kind != ObjectKind::stars) return;
    for (const MeasuredFrame& frame : measured.frames) {
        series.angles.push_back((frame.tracked.pose.angle - best.tracked.pose.angle) * degreesPerRadian);
    }
}

bool writeScript(const PrepareOptions& options, const PreparedSeries& series, const ScriptPlan& plan) {
    const fs::path folder = options.folder;
    const bool written = writeWholeFile((folder / "script.txt").string(), makeScript(plan)) &&
                         writeFrameTable((folder / "frames.csv").string(), series.frames);
    if (!written) printError(tr("%s cannot be written to; is the disk full?"), options.folder.c_str());
    return written;
}

}  // namespace

int prepareFrames(const PrepareOptions& options, PreparedSeries* result) {
    const auto rule = parseKeepRule(options.keep);
    if (!rule) {
        printError(tr("--keep takes all, auto, a part as 60%% or a number as 200, not \"%s\""), options.keep.c_str());
        return 2;
    }
    if (options.scale && !((*options.scale)[0] < (*options.scale)[1])) {
        printError(tr("--scale takes the value for black first, then a larger one for white"));
        return 2;
    }
    std::string problem, kindWhy;
    const auto kind = openFolder(options) ? settleKind(options, kindWhy) : std::nullopt;
    if (!kind) return 2;
    printNotice("%s", kindWhy.c_str());
    const FrameSeriesHandle frames = openFrames(options.pictures, problem);
    if (!frames) {
        printError("%s", problem.c_str());
        return 2;
    }
    MeasuredSeries measured = measureSeries(*frames, *kind);
    const auto reference = settleReference(measured, options);
    if (!reference) {
        printList(listLeftOut(measured));
        return 2;
    }
    const std::string keepWhy = flagByRank(measured.frames, *reference, *rule);
    const Placement placement = placeOrigins(measured, *reference, options.turn);

    PreparedSeries series;
    FramePlan framePlan = planFrames(measured, placement, options);
    describeSeries(measured, placement, *reference, framePlan.scale, series);
    if (!writeFrames(measured, placement, options, framePlan, series)) return 2;
    const std::vector<std::string> leftOut = listLeftOut(measured);
    printList(leftOut);

    ScriptPlan plan = planScript(series, placement, options);
    const FrameRecord& chosen = series.frames[*reference];
    plan.introduction.insert(plan.introduction.begin(), {kindWhy, keepWhy, framePlan.scaleWhy});
    if (!framePlan.repairWhy.empty()) plan.introduction.push_back(framePlan.repairWhy);
    const double turn = std::max(placement.largestTurn, -placement.smallestTurn) * degreesPerRadian;
    if (!options.turn && turn > noticedTurn) {
        plan.introduction.push_back(
            formatText(tr("The frames turn by up to %.1f degrees, which this script leaves as it "
                          "is; --turn turns them back."),
                       turn));
        printNotice("%s", plan.introduction.back().c_str());
    }
    plan.reference = chosen.frame;
    plan.originX = chosen.originX;
    plan.originY = chosen.originY;
    plan.referenceWhy = options.reference.empty()
                            ? formatText(tr("The sharpest frame of those near the middle of the series' scatter: %s "
                                            "(--reference names another)."),
                                         chosen.source.c_str())
                            : formatText(tr("The reference asked for: %s."), chosen.source.c_str());
    printNotice("%s", plan.referenceWhy.c_str());
    for (const FrameRecord& record : series.frames) {
        if (!record.kept) continue;
        plan.sources.push_back(
            {record.frame, "aligned" + std::to_string(record.number) + ".bmp", record.originX, record.originY});
    }
    plan.epilogue = leftOut;
    if (!writeScript(options, series, plan)) return 2;
    printNotice(tr("%zu of %zu frames prepared in %s; script.txt is ready to be run there."), plan.sources.size(),
                series.frames.size(), options.folder.c_str());
    if (result != nullptr) *result = series;
    return leftOut.empty() ? 0 : 1;
}
