#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "align/global/rotation_search.h"
#include "align/global/translation_search.h"
#include "files.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

struct Outcome {
    std::string console, shiftList;
};

// Runs a stage on a copy of the current image, which it replaces.
Outcome runStage(void (*stage)(), const Image& current) {
    char* text = nullptr;
    size_t size = 0;
    runState.current = copyImage(current);
    runState.shiftList = open_memstream(&text, &size);
    testing::internal::CaptureStdout();
    stage();
    std::fclose(runState.shiftList);
    keep(runState.current);
    Outcome outcome = {testing::internal::GetCapturedStdout(), text};
    std::free(text);
    return outcome;
}

std::string format(const char* pattern, auto... values) {
    char text[200];
    std::snprintf(text, sizeof text, pattern, values...);
    return text;
}

void setSearch(float angleMin, float angleMax, float resolution, int32_t shift, int32_t step, int32_t fraction) {
    constexpr double degree = 3.141592654 / 180;
    runState.angleMin = static_cast<float>(static_cast<double>(angleMin) * degree);
    runState.angleMax = static_cast<float>(static_cast<double>(angleMax) * degree);
    runState.angleResolution = static_cast<float>(static_cast<double>(resolution) * degree);
    runState.shiftMinX = runState.shiftMinY = -shift;
    runState.shiftMaxX = runState.shiftMaxY = shift;
    runState.shiftStep = step;
    runState.translationFraction = fraction;
}

TEST(GlobalSearch, FindsWhatThePlainOneFinds) {
    const struct {
        float angleMin, angleMax, resolution;
        int32_t shift, step, fraction;
    } settings[] = {{0, 0, 1, 0, 1, 6},      {0, 0, 1, 3, 1, 1},       {0, 0, 1, 20, 3, 2},     {5, 5, 1, 9, 1, 1},
                    {-2, 2, 0.1f, 5, 1, 1},  {-5, 5, 0.5f, 2, 1, 1},   {-3, 0, 57.3f, 0, 1, 1}, {2, -2, 0.2f, 4, 1, 1},
                    {-1, 3, 0.05f, 6, 4, 1}, {40, 41, 1e-3f, 3, 2, 1}, {-1, 1, 0.1f, -2, 1, 1}};
    Random random(7);
    for (int round = 0; round < 260; ++round) {
        const Fill fill = allFills[static_cast<size_t>(round) % allFills.size()];
        const Image current = makeAnyScene(random, fill, false, round % 40 == 0 ? 120 : 40);
        runState.reference = makeAnyScene(random, fill, true, round % 40 == 0 ? 120 : 40);
        const auto& s = settings[static_cast<size_t>(round) % std::size(settings)];
        setSearch(s.angleMin, s.angleMax, s.resolution, s.shift, s.step, s.fraction);
        const bool turning = s.angleMin != s.angleMax;
        runState.current = current;
        const plain::GlobalMatch match =
            turning ? plain::findRotationAndTranslation(runState) : plain::findTranslation(runState);
        const auto [score, x, y] = match.shift;
        const Outcome outcome = runStage(turning ? searchRotationAndTranslation : searchTranslation, current);
        const auto trial = testing::Message()
                           << "round " << round << ", fill " << static_cast<int>(fill) << ", " << describe(current)
                           << " on " << describe(runState.reference) << ", angles " << s.angleMin << " to "
                           << s.angleMax << ", shift " << s.shift << ", found (" << x << ", " << y << ") turned by "
                           << match.angle;
        const double degrees = static_cast<double>(match.angle) * 180 * 0.31830988614222805;
        const std::string result = turning ? format("\ntheta=%f  DeltaX=%i   DeltaY=%i\n", degrees, x, y)
                                           : format("\nDeltaX=%i   DeltaY=%i\n", x, y);
        EXPECT_THAT(outcome.console, testing::HasSubstr(result)) << trial;
        const std::string line = turning && s.shift == 0 ? "" : format("%i %i ", x, y);
        EXPECT_EQ(outcome.shiftList.substr(0, line.size()), line) << trial;
        EXPECT_EQ(outcome.shiftList.empty(), line.empty()) << trial;
        EXPECT_TRUE(sameImage(
            runState.current,
            keep(plain::makeAlignedImage(current, match.angle, static_cast<float>(x), static_cast<float>(y)))))
            << trial;
        EXPECT_EQ(runState.shiftMinX, -s.shift) << trial << ", bounds put back";
        EXPECT_EQ(runState.shiftMaxY, s.shift) << trial << ", bounds put back";
    }
}

TEST(GlobalSearch, MarksAShiftOnABound) {
    Random random(8);
    const Image sky = makeScene(random, {Fill::noise, Mask::none}, true, 64, 48);
    runState.reference = {sky.pixels, 64, 48, 30, 20};
    const struct {
        int32_t originX, originY, shift;
        const char* shiftList;
    } cases[] = {{28, 22, 3, "2 -2 \n"}, {27, 20, 3, "3 0   Non optimal\n"}, {30, 23, 3, "0 -3   Non optimal\n"}};
    for (auto [originX, originY, shift, expected] : cases) {
        setSearch(0, 0, 1, shift, 1, 1);
        const Outcome outcome = runStage(searchRotationAndTranslation, {sky.pixels, 64, 48, originX, originY});
        EXPECT_EQ(outcome.shiftList, expected);
        const bool warned = outcome.console.find(
                                "decalage autoris\x8E"
                                "e a ete atteinte") != std::string::npos;
        EXPECT_EQ(warned, std::string_view(expected).find("Non") != std::string_view::npos) << expected;
    }
    runState.angleResolution = 0;
    EXPECT_FATAL(searchRotationAndTranslation(), "Erreur : resolution angulaire nulle");
}

}  // namespace
