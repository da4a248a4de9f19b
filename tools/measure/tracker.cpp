#include "measure/tracker.h"

#include <algorithm>
#include <cmath>

#include "measure/star_matching.h"

namespace {

constexpr double keyDistance = 0.2;  // of the picture: beyond it a frame becomes a key frame
constexpr size_t triedKeys = 4;
constexpr int lonelyKeys = 4;         // key frames that nothing followed yet: clouds and blanks, but for one or two
constexpr double maximumTurn = 0.09;  // radians, five degrees: a turn against a key frame that is searched for

std::optional<Pose> matchViews(const FrameView& first, const FrameView& second, double expectedTurn) {
    if (first.surface.detail.empty()) {
        const auto match = matchStars(first.stars, second.stars, expectedTurn, maximumTurn);
        return match ? std::optional(match->pose) : std::nullopt;
    }
    return matchSurfaces(first.surface, second.surface);
}

double measureDistance(const Pose& a, const Pose& b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

// The nearest to where the frame is expected first, then a few of other islands, newest first.
std::vector<size_t> orderKeys(const Tracker& tracker, const Pose& expected) {
    std::vector<size_t> same, others;
    for (size_t i = tracker.keys.size(); i-- > 0;) {
        (tracker.keys[i].tracked.island == tracker.last.island ? same : others).push_back(i);
    }
    std::stable_sort(same.begin(), same.end(), [&tracker, &expected](size_t a, size_t b) {
        return measureDistance(tracker.keys[a].tracked.pose, expected) <
               measureDistance(tracker.keys[b].tracked.pose, expected);
    });
    same.resize(std::min(same.size(), triedKeys));
    others.resize(std::min(others.size(), triedKeys));
    same.insert(same.end(), others.begin(), others.end());
    return same;
}

void dropLonelyKey(Tracker& tracker) {
    const auto isLonely = [](const KeyFrame& key) { return key.followers == 0; };
    if (std::count_if(tracker.keys.begin(), tracker.keys.end(), isLonely) >= lonelyKeys) {
        tracker.keys.erase(std::find_if(tracker.keys.begin(), tracker.keys.end(), isLonely));
    }
}

}  // namespace

TrackedPose trackFrame(Tracker& tracker, const FrameView& view, double pictureSize) {
    const Pose expected{tracker.last.pose.x + tracker.step.x, tracker.last.pose.y + tracker.step.y};
    for (const size_t index : orderKeys(tracker, expected)) {
        KeyFrame& key = tracker.keys[index];
        const bool sameIsland = key.tracked.island == tracker.last.island;
        const double turn = sameIsland ? tracker.last.pose.angle - key.tracked.pose.angle : 0;
        const auto match = matchViews(key.view, view, turn);
        if (!match) continue;
        const TrackedPose tracked{key.tracked.island, chainPoses(key.tracked.pose, *match)};
        ++key.followers;
        tracker.step = {};
        if (sameIsland) tracker.step = {tracked.pose.x - tracker.last.pose.x, tracked.pose.y - tracker.last.pose.y};
        tracker.last = tracked;
        if (std::hypot(match->x, match->y) > keyDistance * pictureSize) tracker.keys.push_back({view, tracked, 1});
        return tracked;
    }
    dropLonelyKey(tracker);
    const TrackedPose alone{tracker.islands++, {}};
    tracker.step = {};
    tracker.keys.push_back({view, alone, 0});
    return alone;
}
