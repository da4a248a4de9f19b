#include "report/frame_report.h"

#include <algorithm>
#include <cmath>

#include "base/format_text.h"

namespace {

constexpr size_t sideCount = 5;                         // a trend is drawn through so many frames before and behind
constexpr double outlierFactor = 6;                     // times the typical distance from the trend, and at least
constexpr double smallestJump = 4, smallestTurn = 0.3;  // pixels, degrees
constexpr double differentFactor = 1.5;                 // times the middle difference, and
constexpr double differentDeviations = 8;               // so many typical deviations above it
constexpr double worseFactor = 1.05;

double findMedian(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct Point {
    double at, value;
};

// The middle of all slopes between two points, and the line of that slope through the middle of the points: up to a
// quarter of them may be astray.
double predictValue(const std::vector<Point>& points, double at) {
    std::vector<double> slopes, heights;
    for (size_t i = 0; i < points.size(); ++i) {
        for (size_t j = i + 1; j < points.size(); ++j) {
            slopes.push_back((points[j].value - points[i].value) / (points[j].at - points[i].at));
        }
    }
    const double slope = findMedian(slopes);
    for (const Point& point : points) heights.push_back(point.value + slope * (at - point.at));
    return findMedian(heights);
}

// How far value i lies from the trend of those from first on, count of them, itself left out.
double measureDeviation(const std::vector<Point>& points, size_t i, size_t first, size_t count) {
    std::vector<Point> neighbours;
    for (size_t j = first; j < first + count; ++j) {
        if (j != i) neighbours.push_back(points[j]);
    }
    return std::abs(points[i].value - predictValue(neighbours, points[i].at));
}

// How far each value lies from the trend of its neighbours, of those before or of those behind: where a mount was
// moved, the trend breaks, and frames at the break go with one side. The frames are in order.
std::vector<double> measureDeviations(const std::vector<Point>& points) {
    std::vector<double> deviations;
    for (size_t i = 0; i < points.size(); ++i) {
        const size_t span = std::min(2 * sideCount + 1, points.size());
        const size_t first = std::min(i - std::min(i, sideCount), points.size() - span);
        double deviation = measureDeviation(points, i, first, span);
        if (i >= sideCount) deviation = std::min(deviation, measureDeviation(points, i, i - sideCount, sideCount));
        if (i + sideCount < points.size()) {
            deviation = std::min(deviation, measureDeviation(points, i, i + 1, sideCount));
        }
        deviations.push_back(deviation);
    }
    return deviations;
}

using Measure = double (*)(const FrameReport&);

void flagJumps(const std::vector<FrameReport*>& frames, Measure measure, double smallest) {
    std::vector<Point> points;
    for (const FrameReport* frame : frames) points.push_back({static_cast<double>(frame->number), measure(*frame)});
    const std::vector<double> deviations = measureDeviations(points);
    const double limit = std::max(smallest, outlierFactor * findMedian(deviations));
    for (size_t i = 0; i < frames.size(); ++i) {
        if (deviations[i] > limit) addFlag(*frames[i], "jump");
    }
}

void flagDifferent(std::vector<FrameReport>& frames) {
    std::vector<double> differences, deviations;
    const auto counts = [](const FrameReport& frame) { return frame.after && !hasFlag(frame, "reference"); };
    for (const FrameReport& frame : frames) {
        if (counts(frame)) differences.push_back(*frame.after);
    }
    if (differences.size() < 3) return;
    const double middle = findMedian(differences);
    for (const double difference : differences) deviations.push_back(std::abs(difference - middle));
    const double limit = std::max(differentFactor * middle, middle + differentDeviations * findMedian(deviations));
    for (FrameReport& frame : frames) {
        if (counts(frame) && *frame.after > limit) addFlag(frame, "different");
    }
}

// The frame as it was read, laid origin on origin, was among the places to choose from: a result that fits the whole
// reference worse than that is the choice of a search which saw only part of it.
void flagWorse(std::vector<FrameReport>& frames) {
    for (FrameReport& frame : frames) {
        if (!frame.before || !frame.after || hasFlag(frame, "reference")) continue;
        if (*frame.after > worseFactor * *frame.before) addFlag(frame, "worse");
    }
}

std::string quoteField(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + '"';
}

std::string formatKnown(const std::optional<double>& value) {
    return value ? formatText("%.6g", *value) : "";
}

}  // namespace

bool hasFlag(const FrameReport& frame, const std::string& flag) {
    return std::find(frame.flags.begin(), frame.flags.end(), flag) != frame.flags.end();
}

void addFlag(FrameReport& frame, const std::string& flag) {
    if (!hasFlag(frame, flag)) frame.flags.push_back(flag);
}

bool isDoubtful(const FrameReport& frame) {
    return frame.kept && (hasFlag(frame, "limit") || hasFlag(frame, "jump") || hasFlag(frame, "different") ||
                          hasFlag(frame, "worse") || hasFlag(frame, "unsure"));
}

void flagDoubtfulFrames(std::vector<FrameReport>& frames) {
    std::vector<FrameReport*> aligned;
    for (FrameReport& frame : frames) {
        if (frame.aligned) aligned.push_back(&frame);
    }
    if (aligned.size() >= 5) {
        flagJumps(
            aligned, [](const FrameReport& frame) { return frame.shiftX; }, smallestJump);
        flagJumps(
            aligned, [](const FrameReport& frame) { return frame.shiftY; }, smallestJump);
        flagJumps(
            aligned, [](const FrameReport& frame) { return frame.angle; }, smallestTurn);
    }
    flagDifferent(frames);
    flagWorse(frames);
}

std::string formatTable(const std::vector<FrameReport>& frames) {
    std::string table =
        "number,source,result,kept,sharpness,origin_x,origin_y,shift_x,shift_y,angle,before,after,flags\n";
    for (const FrameReport& frame : frames) {
        table += formatText("%lld,", static_cast<long long>(frame.number)) + quoteField(frame.source) + ',' +
                 quoteField(frame.result) + (frame.kept ? ",yes," : ",no,") + formatKnown(frame.sharpness) + ',';
        table += frame.aligned ? formatText("%d,%d,%g,%g,%.3f,", frame.originX, frame.originY, frame.shiftX,
                                            frame.shiftY, frame.angle)
                               : ",,,,,";
        table += formatKnown(frame.before) + ',' + formatKnown(frame.after) + ',';
        for (size_t i = 0; i < frame.flags.size(); ++i) table += (i > 0 ? " " : "") + frame.flags[i];
        table += '\n';
    }
    return table;
}
