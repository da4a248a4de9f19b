#include <cstdio>
#include <cstdlib>

#include "core/vector_level.h"
#include "plain/plain.h"
#include "run/steps.h"
#include "scenes.h"

namespace {

struct Outcome {
    std::string console, shiftList;
};

// On a copy of the current image, which is replaced.
Outcome runGlobalSearch(const Image& current) {
    char* text = nullptr;
    size_t size = 0;
    runState.current = copyImage(current);
    runState.shiftList = open_memstream(&text, &size);
    testing::internal::CaptureStdout();
    alignGlobally();
    std::fclose(runState.shiftList);
    keep(runState.current);
    Outcome outcome = {testing::internal::GetCapturedStdout(), text};
    std::free(text);
    return outcome;
}

float toRadians(float degrees) {
    return static_cast<float>(static_cast<double>(degrees) * 3.141592654 / 180);
}

TEST(GlobalSearch, FindsWhatThePlainOneFinds) {
    const struct {
        float angleMin, angleMax, resolution;
        int32_t shift, step, fraction;
    } settings[] = {{0, 0, 1, 0, 1, 6},      {0, 0, 1, 3, 1, 1},       {0, 0, 1, 20, 3, 2},     {5, 5, 1, 9, 1, 1},
                    {-2, 2, 0.1f, 5, 1, 1},  {-5, 5, 0.5f, 2, 1, 1},   {-3, 0, 57.3f, 0, 1, 1}, {2, -2, 0.2f, 4, 1, 1},
                    {-1, 3, 0.05f, 6, 4, 1}, {40, 41, 1e-3f, 3, 2, 1}, {-1, 1, 0.1f, -2, 1, 1}};
    Random random(7);
    for (int round = 0; round < 400; ++round) {
        const auto& s = settings[static_cast<size_t>(round) % std::size(settings)];
        const int32_t side = round % 40 == 0 ? 120 : 40;
        const Image current = makeAnyScene(random, round, false, side);
        runState.current = current;
        runState.reference = makeAnyScene(random, round, true, side);
        runState.angleMin = toRadians(s.angleMin);
        runState.angleMax = toRadians(s.angleMax);
        runState.angleResolution = toRadians(s.resolution);
        runState.shiftMinX = runState.shiftMinY = -s.shift;
        runState.shiftMaxX = runState.shiftMaxY = s.shift;
        runState.shiftStep = s.step;
        runState.translationFraction = s.fraction;
        const bool turning = s.angleMin != s.angleMax;
        const auto [angle, match] = (turning ? plain::findRotationAndTranslation : plain::findTranslation)(runState);
        const double degrees = static_cast<double>(angle) * 180 * 0.31830988614222805;
        const std::string theta = turning ? format("\ntheta=%f  ", degrees) : "\n";
        const std::string line = turning && s.shift == 0 ? "" : format("%i %i ", match.x, match.y);
        const Image aligned =
            keep(plain::makeAlignedImage(current, angle, static_cast<float>(match.x), static_cast<float>(match.y)));
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            const Outcome outcome = runGlobalSearch(current);
            const auto trial = testing::Message() << nameOf(level) << ", round " << round << ", " << describe(current)
                                                  << " on " << describe(runState.reference) << ", angle " << angle;
            EXPECT_THAT(outcome.console,
                        testing::HasSubstr(theta + format("DeltaX=%i   DeltaY=%i\n", match.x, match.y)))
                << trial;
            EXPECT_EQ(outcome.shiftList.substr(0, line.size()), line) << trial;
            EXPECT_EQ(outcome.shiftList.empty(), line.empty()) << trial;
            EXPECT_TRUE(sameImage(runState.current, aligned)) << trial;
        }
    }
}

}  // namespace
