#include "align/global/telling_segments.h"

#include <algorithm>
#include <cstddef>

#include "align/measure/pair_cost.h"

namespace {

// One segment of so many is kept, and only if those kept hold at least half of all contrast: else to read them does not
// spare what it takes.
constexpr size_t segmentsPerTelling = 64;

void listRow(std::vector<Segment>& segments, const Image& image, int64_t y, int64_t left, int64_t right,
             bool ofMoving) {
    for (int64_t x = left; x + segmentLength <= right; x += segmentLength) {
        segments.push_back({x, y, ofMoving, measureContrast(rowOf(image, y) + x, segmentLength)});
    }
}

bool tellsMore(const Segment& a, const Segment& b) {
    return a.contrast > b.contrast;
}

// Keeps the most telling ones, none when the others hold more.
void keepTelling(std::vector<Segment>& segments) {
    double all = 0.0, kept = 0.0;
    for (const Segment& segment : segments) all += segment.contrast;
    const size_t count = segments.size() / segmentsPerTelling;
    std::partial_sort(segments.begin(), segments.begin() + static_cast<std::ptrdiff_t>(count), segments.end(),
                      tellsMore);
    segments.resize(count);
    for (const Segment& segment : segments) kept += segment.contrast;
    if (kept < 0.5 * all) segments.clear();
}

}  // namespace

TellingSegments listTellingSegments(const Image& moving, const std::vector<int64_t>& dataRows, const Image& fixed,
                                    const Area& reach) {
    TellingSegments telling;
    std::vector<Segment>& segments = telling.segments;
    for (const int64_t y : dataRows) listRow(segments, moving, y, 0, moving.width, true);
    keepTelling(segments);
    if (segments.empty()) return telling;
    telling.perRow = moving.width / segmentLength + 1;
    telling.inMoving.assign(static_cast<size_t>(telling.perRow * moving.height), false);
    for (const Segment& segment : segments) {
        telling.inMoving[static_cast<size_t>(segment.y * telling.perRow + segment.x / segmentLength)] = true;
    }
    std::vector<Segment> ofFixed;
    for (int64_t y = reach.top; y < reach.bottom; ++y) listRow(ofFixed, fixed, y, reach.left, reach.right, false);
    keepTelling(ofFixed);
    segments.insert(segments.end(), ofFixed.begin(), ofFixed.end());
    std::sort(segments.begin(), segments.end(), tellsMore);
    return telling;
}

bool countsAlready(const TellingSegments& telling, int64_t x, int64_t y) {
    const auto row = static_cast<size_t>(y * telling.perRow);
    return telling.inMoving[row + static_cast<size_t>(x / segmentLength)] ||
           telling.inMoving[row + static_cast<size_t>((x + segmentLength - 1) / segmentLength)];
}

double measureContrast(const Pixel* pixels, int64_t count) {
    return count < 3 ? 0.0 : rowKernel().estimateRow(pixels, pixels + 2, static_cast<size_t>(count - 2));
}
