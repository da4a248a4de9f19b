#include "measure/placement.h"

#include <algorithm>
#include <cmath>

#include "measure/selection.h"
#include "measure/star_origin.h"

namespace {

constexpr int searchReach = 12;     // pixels: the alignment's own search round the origin, and two more
constexpr int smallestWindow = 64;  // pixels of a side that still hold enough texture
constexpr double leastStarOverlap = 0.25;
constexpr double skyMargin = 24;  // pixels beside a planet, both sides together

struct Spread {
    double left = 0, right = 0, top = 0, bottom = 0;  // how far the frames' contents reach from the reference's
};

// How far the scene has moved in a frame against the reference, as the middle of the reference shows it.
Place measureMove(const MeasuredSeries& measured, size_t reference, size_t frame) {
    const Place middle{measured.size.width / 2.0, measured.size.height / 2.0};
    const Place moved = placeInFrame(measured.frames[frame].tracked.pose,
                                     placeInScene(measured.frames[reference].tracked.pose, middle));
    return {moved.x - middle.x, moved.y - middle.y};
}

Spread measureSpread(const MeasuredSeries& measured, size_t reference) {
    Spread spread;
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        if (!isGood(measured.frames[i])) continue;
        const Place move = measureMove(measured, reference, i);
        spread = {std::min(spread.left, move.x), std::max(spread.right, move.x), std::min(spread.top, move.y),
                  std::max(spread.bottom, move.y)};
    }
    return spread;
}

// The points of the reference round which every frame shows a window of that size.
cv::Rect findCommonOrigins(const Spread& spread, cv::Size frame, cv::Size window) {
    const int marginX = window.width / 2 + searchReach, marginY = window.height / 2 + searchReach;
    const int left = static_cast<int>(std::ceil(marginX - spread.left));
    const int right = static_cast<int>(std::floor(frame.width - marginX - spread.right));
    const int top = static_cast<int>(std::ceil(marginY - spread.top));
    const int bottom = static_cast<int>(std::floor(frame.height - marginY - spread.bottom));
    return {left, top, right - left, bottom - top};
}

bool hasRoom(const cv::Rect& area) {
    return area.width > 0 && area.height > 0;
}

void dropFarthest(MeasuredSeries& measured, size_t reference) {
    size_t farthest = reference;
    double distance = 0;
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        if (!isGood(measured.frames[i])) continue;
        const Place move = measureMove(measured, reference, i);
        const double reach = std::max(std::abs(move.x) / measured.size.width, std::abs(move.y) / measured.size.height);
        if (reach > distance) {
            distance = reach;
            farthest = i;
        }
    }
    measured.frames[farthest].flags.emplace_back("overlap");
}

// The largest window that all frames show; when even the smallest one is too large, frames must go.
void placeOnSurface(MeasuredSeries& measured, size_t reference, Placement& placement) {
    const int smallest = std::max(2, std::min(measured.size.width, measured.size.height) / smallestWindow);
    for (;;) {
        const Spread spread = measureSpread(measured, reference);
        for (placement.divisor = 2; placement.divisor <= smallest; ++placement.divisor) {
            const cv::Rect area = findCommonOrigins(spread, measured.size, measured.size / placement.divisor);
            if (!hasRoom(area)) continue;
            placement.referenceOrigin = (area.tl() + area.br()) / 2;
            return;
        }
        if (spread.left == 0 && spread.right == 0 && spread.top == 0 && spread.bottom == 0) break;
        dropFarthest(measured, reference);
    }
    placement.divisor = 1;  // a small picture: all of it
    placement.referenceOrigin = cv::Point(measured.size / 2);
}

void placeOnStars(MeasuredSeries& measured, size_t reference, bool turn, Placement& placement) {
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        if (!isGood(measured.frames[i])) continue;
        const Place move = measureMove(measured, reference, i);
        const double width = std::max(0.0, 1 - std::abs(move.x) / measured.size.width);
        const double height = std::max(0.0, 1 - std::abs(move.y) / measured.size.height);
        if (width * height < leastStarOverlap) measured.frames[i].flags.emplace_back("overlap");
    }
    const cv::Rect area = findCommonOrigins(measureSpread(measured, reference), measured.size, {});
    placement.referenceOrigin = hasRoom(area) ? (area.tl() + area.br()) / 2 : cv::Point(measured.size / 2);
    if (turn) return;  // round the middle: the less is turned out of the frames
    placement.referenceOrigin =
        chooseStarOrigin(measured.frames[reference].stars, area).value_or(placement.referenceOrigin);
}

void placeOnPlanet(const MeasuredSeries& measured, size_t reference, Placement& placement) {
    const MeasuredFrame& frame = measured.frames[reference];
    placement.referenceOrigin = {static_cast<int>(std::lround(frame.tracked.pose.x)),
                                 static_cast<int>(std::lround(frame.tracked.pose.y))};
    const double width = measured.size.width / (frame.extent.width + skyMargin);
    const double height = measured.size.height / (frame.extent.height + skyMargin);
    placement.divisor = std::max(1, static_cast<int>(std::min(width, height)));
}

}  // namespace

Placement placeOrigins(MeasuredSeries& measured, size_t reference, bool turn) {
    Placement placement;
    if (measured.kind == ObjectKind::planet) placeOnPlanet(measured, reference, placement);
    if (measured.kind == ObjectKind::surface) placeOnSurface(measured, reference, placement);
    if (measured.kind == ObjectKind::stars) placeOnStars(measured, reference, turn, placement);
    const Pose& base = measured.frames[reference].tracked.pose;
    const cv::Point origin = placement.referenceOrigin;
    const Place scene = placeInScene(base, {static_cast<double>(origin.x), static_cast<double>(origin.y)});
    for (const MeasuredFrame& frame : measured.frames) {
        const Place place = placeInFrame(frame.tracked.pose, scene);
        const double angle = frame.tracked.pose.angle - base.angle;
        placement.origins.emplace_back(static_cast<int>(std::lround(place.x)), static_cast<int>(std::lround(place.y)));
        placement.poses.push_back({place.x, place.y, angle});
        if (!isGood(frame)) continue;
        placement.scatter = std::max(placement.scatter, std::hypot(place.x - origin.x, place.y - origin.y));
        placement.smallestTurn = std::min(placement.smallestTurn, angle);
        placement.largestTurn = std::max(placement.largestTurn, angle);
    }
    return placement;
}

cv::Size chooseCrop(const MeasuredSeries& measured, const Placement& placement) {
    cv::Size crop;
    if (measured.kind == ObjectKind::planet) {
        cv::Size extent;
        for (const MeasuredFrame& frame : measured.frames) {
            if (!isGood(frame)) continue;
            extent = {std::max(extent.width, frame.extent.width), std::max(extent.height, frame.extent.height)};
        }
        crop = extent * 3 / 2 + cv::Size(4 * searchReach, 4 * searchReach);
    } else {
        const int reach = static_cast<int>(std::ceil(placement.scatter));
        crop = {measured.size.width - 2 * reach, measured.size.height - 2 * reach};
    }
    return {std::clamp(crop.width, std::min(32, measured.size.width), measured.size.width),
            std::clamp(crop.height, std::min(32, measured.size.height), measured.size.height)};
}

cv::Rect placeCrop(cv::Point origin, cv::Size crop, cv::Size frame) {
    return {std::clamp(origin.x - crop.width / 2, 0, frame.width - crop.width),
            std::clamp(origin.y - crop.height / 2, 0, frame.height - crop.height), crop.width, crop.height};
}
