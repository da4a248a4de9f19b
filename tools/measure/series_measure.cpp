#include "measure/series_measure.h"

#include <algorithm>
#include <map>
#include <opencv2/imgproc.hpp>

#include "base/messages.h"
#include "base/progress_bar.h"
#include "measure/hot_pixels.h"
#include "measure/planet_finding.h"
#include "measure/sky.h"
#include "measure/star_catalogue.h"
#include "measure/star_detection.h"

namespace {

constexpr int votingFrames = 12;
constexpr int starCount = 120;         // the brightest, of each frame
constexpr size_t keptStarCount = 80;   // of those, the ones that settle its pose, and an origin
constexpr size_t sharpStarCount = 30;  // of those, the ones that tell how sharp it is

void measurePlanet(const cv::Mat& grey, MeasuredFrame& frame) {
    const PlanetFix fix = findPlanet(grey);
    if (!fix.found) {
        frame.flags.emplace_back("missing");
        return;
    }
    if (fix.cut) frame.flags.emplace_back("cut");
    frame.tracked.pose = {fix.x, fix.y, 0};
    frame.extent = fix.box.size();
    frame.area = fix.area;
    const cv::Rect around(fix.box.tl() - cv::Point(4, 4), fix.box.size() + cv::Size(8, 8));
    const cv::Mat object = grey(around & cv::Rect({}, grey.size()));
    cv::Mat smooth;
    cv::GaussianBlur(object, smooth, {}, 1.5);
    frame.detail = measureDetail(object, smooth > fix.sky + 0.35 * fix.brightness, fix.sky);
    frame.sharpness = computeSharpness(frame.detail);
}

// Points have no texture: the narrower they are, the sharper the frame.
void measureStars(const StarField& field, MeasuredFrame& frame) {
    std::vector<float> concentrations, heights;
    for (size_t i = 0; i < std::min(field.stars.size(), sharpStarCount); ++i) {
        concentrations.push_back(static_cast<float>(field.stars[i].concentration));
        heights.push_back(static_cast<float>(field.stars[i].brightness));
    }
    const double concentration = takeMedian(concentrations), height = takeMedian(heights);
    frame.sharpness = 100 * concentration;
    frame.detail = {concentration * height, field.noise, field.noise, height};
}

void measureSurface(const cv::Mat& grey, MeasuredFrame& frame) {
    double least = 0;
    cv::minMaxIdx(grey, &least);
    frame.detail = measureDetail(grey, cv::Mat::ones(grey.size(), CV_8U), std::min(least, 0.0));
    frame.sharpness = computeSharpness(frame.detail);
}

void measureFrame(const cv::Mat& grey, MeasuredSeries& measured, Tracker& tracker, MeasuredFrame& frame) {
    const double longerSide = std::max(grey.cols, grey.rows);
    countSpikes(grey, measured.spikeCounts);
    if (measured.kind == ObjectKind::planet) {
        measurePlanet(grey, frame);
    } else if (measured.kind == ObjectKind::surface) {
        measureSurface(grey, frame);
        frame.tracked = trackFrame(tracker, {{}, makeSurfaceView(grey)}, longerSide);
    } else {
        const StarField field = findStars(grey, starCount);
        measureStars(field, frame);
        frame.stars.assign(field.stars.begin(), field.stars.begin() + static_cast<std::ptrdiff_t>(
                                                                          std::min(field.stars.size(), keptStarCount)));
        if (field.stars.size() < 3) {
            frame.flags.emplace_back("missing");
        } else {
            frame.tracked = trackFrame(tracker, {field.stars, {}}, longerSide);
        }
    }
}

bool isUsable(const MeasuredFrame& frame) {
    return frame.flags.empty();
}

// What is far from the middle of all is not the object: a moon alone, noise, a cloud, a shaken frame.
void flagOddPlanets(std::vector<MeasuredFrame>& frames) {
    std::vector<float> areas, levels;
    for (const MeasuredFrame& frame : frames) {
        if (!isUsable(frame)) continue;
        areas.push_back(static_cast<float>(frame.area));
        levels.push_back(static_cast<float>(frame.detail.brightness));
    }
    if (areas.size() < 3) return;
    const double area = takeMedian(areas), level = takeMedian(levels);
    for (MeasuredFrame& frame : frames) {
        if (!isUsable(frame)) continue;
        if (frame.area < 0.6 * area || frame.detail.brightness < 0.2 * level) frame.flags.emplace_back("missing");
        if (frame.area > 1.7 * area) frame.flags.emplace_back("smeared");
    }
}

// Frames that could not be laid on the others.
void flagSmallIslands(std::vector<MeasuredFrame>& frames) {
    std::map<int, int> sizes;
    for (const MeasuredFrame& frame : frames)
        if (isUsable(frame)) ++sizes[frame.tracked.island];
    const auto largest =
        std::max_element(sizes.begin(), sizes.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    if (largest == sizes.end()) return;
    for (MeasuredFrame& frame : frames) {
        if (isUsable(frame) && frame.tracked.island != largest->first) frame.flags.emplace_back("unmatched");
    }
}

}  // namespace

std::string nameSource(const FrameResult& frame) {
    return frame.number > 0 ? frame.file + "#" + std::to_string(frame.number) : frame.file;
}

ObjectKind findKind(FrameSeries& series, KindVotes& votes) {
    FrameResult frame;
    for (int i = 0; i < votingFrames && readNextFrame(series, frame); ++i) {
        if (frame.problem.empty()) voteForKind(makeGrey(frame.picture), votes);
    }
    return decideKind(votes);
}

MeasuredSeries measureSeries(FrameSeries& series, ObjectKind kind) {
    MeasuredSeries measured;
    measured.kind = kind;
    Tracker tracker;
    FrameResult result;
    ProgressBar bar = startProgress(tr("Measuring"), countFrames(series));
    while (readNextFrame(series, result)) {
        MeasuredFrame& frame = measured.frames.emplace_back();
        frame.source = nameSource(result);
        frame.problem = result.problem;
        if (!result.problem.empty()) {
            frame.flags.emplace_back("unreadable");
        } else if (!measured.size.empty() && result.picture.size() != measured.size) {
            frame.flags.emplace_back("dimension");
        } else if (!measured.size.empty() && needsScale(result.picture) != measured.deep) {
            frame.flags.emplace_back("depth");
        } else {
            measured.size = result.picture.size();
            measured.deep = needsScale(result.picture);
            if (needsScale(result.picture)) addToHistogram(measured.histogram, result.picture);
            measureFrame(makeGrey(result.picture), measured, tracker, frame);
        }
        stepProgress(bar);
    }
    endProgress(bar);
    if (kind == ObjectKind::planet) {
        flagOddPlanets(measured.frames);
    } else {
        flagSmallIslands(measured.frames);
    }
    if (kind == ObjectKind::stars) layOnAllStars(measured.frames, measured.size);
    return measured;
}
