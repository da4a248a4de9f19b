#include "align/blocks/block_alignment.h"

#include "core/vector_level.h"
#include "plain/plain.h"
#include "scenes.h"
#include "state/run_state.h"

namespace {

Image makeBlockScene(Random& random, int round, bool fixed) {
    if (round % 2 == 0) return makeAnyScene(random, round / 2, fixed, 60);
    const auto mask = fixed ? Mask::none : static_cast<Mask>(round % 5 % 4);
    Image image = makeScene(random, static_cast<Fill>(round / 2 % fillCount), mask, fixed, pick(random, 60, 250), 40);
    image.originX = pick(random, -2, 2);
    return image;
}

// Half of the pictures are wide enough for blocks to be matched in groups.
TEST(AlignBlocks, BendsAsThePlainOneDoes) {
    Random random(14);
    for (int round = 0; round < 400; ++round) {
        const Image current = makeBlockScene(random, round, false);
        runState.current = current;
        runState.reference = makeBlockScene(random, round, true);
        releaseImage(runState.referenceGradient);  // that of the former reference
        runState.blockGridWidth = pick(random, 1, round % 2 == 0 ? 12 : 30);
        runState.blockSearchWidth = pick(random, 0, round % 5 == 0 ? 9 : 3);
        runState.blockShiftMaxX = runState.blockShiftMaxY = pick(random, 0, 4);
        runState.blockShiftMinX = runState.blockShiftMinY = -runState.blockShiftMaxX;
        runState.blockShiftStep = std::array{1.0f, 0.5f, 2.0f, 0.25f, 0.7f, 1.5f, 0.3f}[static_cast<size_t>(round % 7)];
        const Image expected = keep(plain::alignBlocks(runState)), reference = keep(copyImage(runState.reference));
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            runState.current = copyImage(current);
            testing::internal::CaptureStdout();
            alignBlocks();
            keep(runState.current);
            EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::StartsWith("Ajustage par blocs\n"));
            const auto trial = testing::Message()
                               << nameOf(level) << ", round " << round << ", " << describe(current) << ", spacing "
                               << runState.blockGridWidth << ", half-size " << runState.blockSearchWidth
                               << ", largest shift " << runState.blockShiftMaxX << ", step " << runState.blockShiftStep;
            EXPECT_TRUE(sameImage(runState.current, expected)) << trial;
            EXPECT_TRUE(sameImage(runState.reference, reference)) << trial << ", reference put back";
        }
    }
}

}  // namespace
