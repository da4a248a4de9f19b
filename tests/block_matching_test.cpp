#include "align/blocks/block_grid.h"
#include "align/blocks/gradient_image.h"
#include "align/blocks/row/row_matching.h"
#include "align/blocks/single/single_block.h"
#include "core/vector_level.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

// Another seed: --gtest_random_seed=N.
Random makeRandom(uint32_t seed) {
    return Random(seed + static_cast<uint32_t>(testing::UnitTest::GetInstance()->random_seed()));
}

std::string describe(const BlockMatch& match) {
    return format("(%a, %a) %a", static_cast<double>(match.x), static_cast<double>(match.y),
                  static_cast<double>(match.score));
}

std::string describe(const BlockSearch& search) {
    return format("half-size %i, from (%i, %i) to (%i, %i), step %g", search.halfSize, search.shiftMinX,
                  search.shiftMinY, search.shiftMaxX, search.shiftMaxY, static_cast<double>(search.shiftStep));
}

BlockMatch matchPlain(const BlockSearch& search, const Image& current, const Image& reference, int64_t x, int64_t y) {
    const bool whole = search.shiftStep == static_cast<float>(static_cast<int32_t>(search.shiftStep));
    return (whole ? plain::matchBlockIntegerStep : plain::matchBlockFractionalStep)(search, current, reference, x, y);
}

TEST(BlockMatching, FindsWhatThePlainOneFinds) {
    Random random = makeRandom(9);
    for (int round = 0; round < 600; ++round) {
        const Image current = makeAnyScene(random, round, false, 30), reference = makeAnyScene(random, round, true, 30);
        for (const float step : {1.0f, 2.0f, 0.5f, 0.33f, 0.1f}) {
            BlockSearch search = {pick(random, 0, round % 10 == 0 ? 9 : 3), 0, 0, 0, 0, step};
            search.shiftMinX = pick(random, -3, 0);
            search.shiftMinY = pick(random, -3, 0);
            search.shiftMaxX = search.shiftMinX + pick(random, -1, step < 0.3f ? 2 : 5);
            search.shiftMaxY = search.shiftMinY + pick(random, -1, step < 0.3f ? 2 : 5);
            const int32_t x = pick(random, -4, current.width + 4), y = pick(random, -4, current.height + 4);
            const auto trial = testing::Message()
                               << "round " << round << ", " << describe(current) << " on " << describe(reference)
                               << ", " << describe(search) << ", at (" << x << ", " << y << ")";
            const BlockMatch expected = plain::matchBlockFractionalStep(search, current, reference, x, y);
            for (const BlockMatch& start :
                 {noBlockMatch, expected, plain::matchBlockFractionalStep(search, current, reference, 3, y)})
                EXPECT_EQ(describe(matchBlockFractionalStep(search, current, reference, x, y, start)),
                          describe(expected))
                    << trial << ", start " << describe(start);
            if (step < 1.0f) continue;
            EXPECT_EQ(describe(matchBlockIntegerStep(search, current, reference, x, y)),
                      describe(plain::matchBlockIntegerStep(search, current, reference, x, y)))
                << trial;
        }
    }
}

// Rows of blocks at every vector level. Of the steps the first ones have fractions of their own, the last one has none.
TEST(BlockMatching, OfRowsFindsWhatThePlainOneFinds) {
    constexpr std::array steps = {0.1f,    0.2f,       0.3f,       0.4f,       0.6f,        0.7f,       0.9f,
                                  0.05f,   0.15f,      0.35f,      0.45f,      0.85f,       0.125f,     0.375f,
                                  0.25f,   0.5f,       0.75f,      1.0f,       1.5f,        2.0f,       1.1f,
                                  0.0625f, 0.3333333f, 0.2500001f, 0.4999999f, 0.99999994f, 1.0000001f, 0.33f};
    Random random = makeRandom(12);
    for (size_t round = 0; round < steps.size() * fillCount * 2; ++round) {
        const float step = steps[round % steps.size()];
        const auto fill = static_cast<Fill>(round / steps.size() % fillCount);
        const Mask mask = pick(random, 0, 1) == 0 ? Mask::none : static_cast<Mask>(pick(random, 0, 3));
        const Mask referenceMask = pick(random, 0, 2) != 0 ? Mask::none : Mask::scattered;
        Image current = makeScene(random, fill, mask, false, pick(random, 40, step < 0.2f ? 70 : 200), 40);
        Image reference = makeScene(random, fill, referenceMask, pick(random, 0, 3) != 0, current.width + 3, 40);
        current.originX = pick(random, -2, 2);
        if (pick(random, 0, 1) == 0) {
            prepareGradientImage(current);
            prepareGradientImage(reference);
        }
        BlockSearch search = {pick(random, 0, pick(random, 0, 3) == 0 ? 9 : 3), 0, 0, 0, 0, step};
        search.shiftMaxX = search.shiftMaxY = pick(random, 0, step < 0.1f ? 1 : step < 0.2f ? 2 : 4);
        search.shiftMinX = search.shiftMinY = -search.shiftMaxX;
        if (pick(random, 0, 3) == 0) search.shiftMinX = pick(random, -1, search.shiftMaxX);
        if (pick(random, 0, 3) == 0) search.shiftMaxY = pick(random, search.shiftMinY, 1);
        const BlockLayout layout = layOutBlocks(search, pick(random, 1, 30), current);
        if (layout.columns == 0 || layout.rows == 0) continue;
        const BlockRow row = {layout.firstX, layout.firstY + layout.spacing * pick(random, 0, int32_t(layout.rows) - 1),
                              layout.spacing, std::min<int64_t>(layout.columns, 40)};
        std::vector<std::vector<BlockMatch>> matches;
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            RowMatching matching = prepareRowMatching(search);
            EXPECT_EQ(
                matching.plan.fractionsPerPixel == 0,
                step == 0.33f && std::max(search.shiftMaxX - search.shiftMinX, search.shiftMaxY - search.shiftMinY) > 0)
                << describe(search);
            matches.emplace_back(static_cast<size_t>(row.count));
            matchBlockRow(matching, current, reference, row, matches.back().data());
        }
        for (size_t i = 0; i < static_cast<size_t>(row.count); ++i) {
            const int64_t x = row.firstX + static_cast<int64_t>(i) * row.spacing, faced = x - current.originX;
            const bool inside = faced - search.halfSize + search.shiftMinX >= 0 &&
                                faced + search.halfSize + search.shiftMaxX <= reference.width;
            const BlockMatch expected = inside ? matchPlain(search, current, reference, x, row.y) : unmatchedBlock;
            for (const VectorLevel level : listVectorLevels())
                EXPECT_EQ(describe(matches[static_cast<size_t>(level)][i]), describe(expected))
                    << nameOf(level) << ", round " << round << ", fill " << static_cast<int>(fill) << ", "
                    << describe(current) << ", block " << i << " of " << row.count << ", spacing " << row.spacing
                    << ", " << describe(search);
        }
    }
}

TEST(BlockMatching, OfKnownBlocks) {
    Random random(10);
    const Image scene = makeScene(random, Fill::noise, Mask::none, true, 40, 30);
    const Image moved = {scene.pixels, 40, 30, -2, 1};  // so its content belongs (2, -1) further on in scene
    const Image flat = makeScene(random, Fill::flat, Mask::none, true, 40, 30);
    constexpr int32_t limit = INT32_MAX;
    const auto matchFractional = [](const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                    int64_t y) {
        return matchBlockFractionalStep(search, current, reference, x, y, noBlockMatch);
    };
    const struct {
        const char* what;
        BlockMatch (*match)(const BlockSearch&, const Image&, const Image&, int64_t, int64_t);
        BlockSearch search;
        const Image &current, &reference;
        BlockMatch expected;
    } cases[] = {{"a known shift", matchBlockIntegerStep, {3, -3, 3, -3, 3, 1}, moved, scene, {0, -2, 1}},
                 {"the same in fractions", matchFractional, {3, -3, 3, -3, 3, 0.5f}, moved, scene, {0, -2, 1}},
                 {"far",
                  matchBlockIntegerStep,
                  {1, -limit, limit, -limit, limit, 1e9f},
                  flat,
                  scene,
                  {0.05f, -0x1p31f, -0x1p31f}},
                 {"a step too small to count", matchFractional, {1, -1, 1, -1, 1, 1e-30f}, flat, flat, {0, -1, -1}}};
    for (const auto& c : cases)
        EXPECT_EQ(describe(c.match(c.search, c.current, c.reference, 20, 15)), describe(c.expected)) << c.what;
}

}  // namespace
