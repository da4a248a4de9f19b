#include "plain/plain.h"

namespace plain {
namespace {

constexpr double oneDegree = 0.017453292522222223;
constexpr ShiftMatch noMatch = {1e24f, 0, 0};

// What the refinement of the angle compares: the whole image turned, against the reference.
float scoreAngle(const RunState& run, float angle) {
    Image window = makeRotatedWindow(run.current, run.current.width, run.current.height, angle);
    const float score = measureDifference(window, run.reference);
    releaseImage(window);
    return score;
}

}  // namespace

bool searchShift(const Image& moving, const Image& fixed, const ShiftRange& range, ShiftMatch& best) {
    bool found = false;
    for (int64_t x = range.minX; x <= range.maxX; x += range.step)
        for (int64_t y = range.minY; y <= range.maxY; y += range.step) {
            Image shifted = moving;
            shifted.originX += static_cast<int32_t>(x);
            shifted.originY += static_cast<int32_t>(y);
            const float score = measureDifference(shifted, fixed);
            if (!(best.score > score)) continue;
            best = {score, static_cast<int32_t>(x), static_cast<int32_t>(y)};
            found = true;
        }
    return found;
}

GlobalMatch findRotationAndTranslation(const RunState& run) {
    GlobalMatch match = {0, noMatch};
    const bool turning = run.angleMin != run.angleMax;
    const int32_t divisor = turning ? 4 : run.translationFraction;
    const ShiftRange range = {run.shiftMinX, run.shiftMaxX, run.shiftMinY, run.shiftMaxY, run.shiftStep};
    for (float angle = run.angleMin; angle <= run.angleMax;
         angle = static_cast<float>(static_cast<double>(angle) + oneDegree)) {
        Image window = makeRotatedWindow(run.current, run.current.width / divisor, run.current.height / divisor, angle);
        if (searchShift(window, run.reference, range, match.shift)) match.angle = angle;
        releaseImage(window);
    }
    if (!turning) return match;
    const double half = oneDegree / 2 + static_cast<double>(run.angleResolution);
    float high = static_cast<float>(static_cast<double>(match.angle) + half);
    float low = static_cast<float>(static_cast<double>(match.angle) - half);
    for (float span = high - low; span > run.angleResolution * 0.5f; span = high - low) {
        const float first = low + span * 0.33333334f, second = low + (span + span) * 0.33333334f;
        const bool firstWins = scoreAngle(run, second) >= scoreAngle(run, first);
        match.angle = firstWins ? high = second : low = first;
    }
    return match;
}

GlobalMatch findTranslation(const RunState& run) {
    Image current = makeScaledCopy(run.current, 0.125f), reference = makeScaledCopy(run.reference, 0.125f);
    ShiftMatch best = noMatch;
    for (int32_t x = run.shiftMinX / 8; static_cast<float>(x) <= static_cast<float>(run.shiftMaxX) * 0.125f; ++x)
        for (int32_t y = run.shiftMinY / 8; static_cast<float>(y) <= static_cast<float>(run.shiftMaxY) * 0.125f; ++y)
            searchShift(current, reference, {x, x, y, y, 1}, best);
    releaseImage(current);
    releaseImage(reference);
    RunState narrowed = run;
    narrowed.shiftMinX = best.x * 8 - 10;
    narrowed.shiftMaxX = best.x * 8 + 10;
    narrowed.shiftMinY = best.y * 8 - 10;
    narrowed.shiftMaxY = best.y * 8 + 10;
    return findRotationAndTranslation(narrowed);
}

}  // namespace plain
