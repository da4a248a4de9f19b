#include <cstdio>
#include <cstring>
#include <string>

#include "align/global/resampling.h"
#include "benches.h"
#include "measure.h"
#include "plain/plain.h"
#include "run/steps.h"
#include "scenes.h"
#include "state/run_state.h"

namespace {

constexpr float degree = 0.017453292f;

bool equalImages(const Image& a, const Image& b) {
    return a.width == b.width && a.height == b.height && a.originX == b.originX && a.originY == b.originY &&
           std::memcmp(a.pixels, b.pixels, countPixels(a) * sizeof(Pixel)) == 0;
}

void setSearch(float largestAngle) {
    runState.angleMin = -largestAngle;
    runState.angleMax = largestAngle;
    runState.angleResolution = 0.1f * degree;
    runState.shiftMinX = runState.shiftMinY = -30;
    runState.shiftMaxX = runState.shiftMaxY = 30;
    runState.shiftStep = 1;
    runState.translationFraction = 6;
}

// The whole global alignment of one frame: the search and the aligned copy.
void benchSearch(const std::string& what, const Image& frame, plain::GlobalMatch (*plainSearch)(const RunState&)) {
    Image plainAligned, fastAligned;
    compareTimes(
        what,
        [&] {
            runState.current = frame;
            const plain::GlobalMatch match = plainSearch(runState);
            releaseImage(plainAligned);
            plainAligned = plain::makeAlignedImage(frame, match.angle, static_cast<float>(match.shift.x),
                                                   static_cast<float>(match.shift.y));
        },
        [&] {
            releaseImage(fastAligned);
            runState.current = copyImage(frame);  // the search takes it over
            runSilently([] { alignGlobally(); });
            fastAligned = runState.current;
        });
    expectEqual(what, equalImages(plainAligned, fastAligned));
    releaseImage(plainAligned);
    releaseImage(fastAligned);
}

void benchAlignedCopy(const std::string& what, const Image& frame, float angle) {
    Image plainCopy, fastCopy;
    compareTimes(
        what,
        [&] {
            releaseImage(plainCopy);
            plainCopy = plain::makeAlignedImage(frame, angle, 7.0f, -4.0f);
        },
        [&] {
            releaseImage(fastCopy);
            fastCopy = makeAlignedImage(frame, angle, 7.0f, -4.0f);
        });
    expectEqual(what, equalImages(plainCopy, fastCopy));
    releaseImage(plainCopy);
    releaseImage(fastCopy);
}

}  // namespace

void benchSearches() {
    runState.shiftList = std::fopen("/dev/null", "w");
    for (const bool planet : {true, false}) {
        for (const int32_t width : {640, 2000}) {
            const int32_t height = width * 3 / 4;
            const auto makeFrame = planet ? makePlanet : makeStarField;
            const std::string what =
                (planet ? "planet " : "stars ") + std::to_string(width) + " x " + std::to_string(height);
            runState.reference = makeFrame(width, height, {}, 2);
            Image turned = makeFrame(width, height, {0.4 * 0.017453292, 9.0, -6.0}, 3);
            Image moved = makeFrame(width, height, {0.0, 9.0, -6.0}, 4);
            setSearch(2.0f * degree);
            benchSearch("rotation, " + what, turned, plain::findRotationAndTranslation);
            setSearch(0.0f);
            benchSearch("translation, " + what, moved, plain::findTranslation);
            if (planet && width == 2000) {
                benchAlignedCopy("aligned copy, shifted, " + what, moved, 0.0f);
                benchAlignedCopy("aligned copy, turned, " + what, moved, 0.4f * degree);
            }
            releaseImage(turned);
            releaseImage(moved);
            releaseImage(runState.reference);
        }
    }
    std::fclose(runState.shiftList);
}
