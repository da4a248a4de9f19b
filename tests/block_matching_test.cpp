#include "align/blocks/block_grid.h"
#include "align/blocks/block_search.h"
#include "align/blocks/row/row_matching.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

std::string describe(const BlockMatch& match) {
    return format("(%a, %a) %a", static_cast<double>(match.x), static_cast<double>(match.y),
                  static_cast<double>(match.score));
}

TEST(BlockMatching, FindsWhatThePlainOneFinds) {
    Random random(9);
    for (int round = 0; round < 1000; ++round) {
        const Image current = makeAnyScene(random, round, false, 30), reference = makeAnyScene(random, round, true, 30);
        for (const float step : {1.0f, 2.0f, 0.5f, 0.3f, 0.1f, 1.5f, 0.25f}) {
            BlockSearch search = {pick(random, 0, round % 10 == 0 ? 9 : 3), 0, 0, 0, 0, step};
            search.shiftMinX = pick(random, -3, 0);
            search.shiftMinY = pick(random, -3, 0);
            search.shiftMaxX = search.shiftMinX + pick(random, -1, step < 0.3f ? 2 : 5);
            search.shiftMaxY = search.shiftMinY + pick(random, -1, step < 0.3f ? 2 : 5);
            const int32_t x = pick(random, -4, current.width + 4), y = pick(random, -4, current.height + 4);
            const bool whole = step == 1.0f || step == 2.0f;
            for (const bool fractional : {true, !whole}) {
                const auto match = fractional ? matchBlockFractionalStep : matchBlockIntegerStep;
                const auto plainMatch = fractional ? plain::matchBlockFractionalStep : plain::matchBlockIntegerStep;
                const BlockMatch expected = plainMatch(search, current, reference, x, y);
                for (const BlockMatch& start : {noBlockMatch, expected, plainMatch(search, current, reference, 3, y)})
                    EXPECT_EQ(describe(match(search, current, reference, x, y, start)), describe(expected))
                        << "round " << round << ", " << describe(current) << " on " << describe(reference)
                        << ", half-size " << search.searchWidth << ", from (" << search.shiftMinX << ", "
                        << search.shiftMinY << ") to (" << search.shiftMaxX << ", " << search.shiftMaxY << "), step "
                        << step << ", at (" << x << ", " << y << "), start " << describe(start);
            }
        }
    }
}

TEST(BlockMatching, OfRowsFindsWhatThePlainOneFinds) {
    Random random(12);
    GroupWork work;
    for (int round = 0; round < 600; ++round) {
        const auto fill = static_cast<Fill>(round % fillCount);
        const auto mask = static_cast<Mask>(round % 5 % 4);
        const int32_t width = pick(random, 60, 250), height = pick(random, 40, 60);
        Image current = makeScene(random, fill, mask, false, width, height);
        const Image reference = makeScene(random, fill, Mask::none, true, width + 3, height);
        current.originX = pick(random, -2, 2);
        const int32_t largest = pick(random, 0, 4);
        const float step = std::array{1.0f, 0.5f, 2.0f, 0.25f, 0.75f, 1.5f, 0.3f}[static_cast<size_t>(round % 7)];
        const BlockSearch search = {
            pick(random, 0, round % 5 == 0 ? 9 : 3), -largest, largest, -largest, largest, step};
        const BlockLayout layout = layOutBlocks(search, pick(random, 1, 30), current);
        if (layout.columns == 0 || layout.rows == 0) continue;
        const BlockGroup row = {layout.firstX,
                                layout.firstY + layout.spacing * pick(random, 0, int32_t(layout.rows) - 1),
                                layout.spacing, layout.columns};
        std::vector<BlockMatch> matches(static_cast<size_t>(row.count));
        matchBlockRow(work, search, current, reference, row, matches.data());
        const bool whole = step == 1.0f || step == 2.0f;
        for (int64_t i = 0; i < row.count; ++i) {
            const int64_t x = row.firstX + i * row.spacing, left = x - search.searchWidth - largest - current.originX;
            const bool inside = left >= 0 && left + 2 * (search.searchWidth + largest) <= reference.width;
            const BlockMatch expected = inside
                                            ? (whole ? plain::matchBlockIntegerStep : plain::matchBlockFractionalStep)(
                                                  search, current, reference, x, row.y)
                                            : BlockMatch{unmatchedBlockScore, 0, 0};
            EXPECT_EQ(describe(matches[static_cast<size_t>(i)]), describe(expected))
                << "round " << round << ", " << describe(current) << ", block " << i << " of " << row.count
                << ", spacing " << row.spacing << ", half-size " << search.searchWidth << ", largest shift " << largest
                << ", step " << step;
        }
    }
}

TEST(BlockMatching, OfKnownBlocks) {
    Random random(10);
    const Image scene = makeScene(random, Fill::noise, Mask::none, true, 40, 30);
    const Image moved = {scene.pixels, 40, 30, -2, 1};  // so its content belongs (2, -1) further on in scene
    const Image flat = makeScene(random, Fill::flat, Mask::none, true, 40, 30);
    constexpr int32_t limit = INT32_MAX;
    const struct {
        const char* what;
        decltype(&matchBlockIntegerStep) match;
        BlockSearch search;
        const Image &current, &reference;
        BlockMatch expected;
    } cases[] = {
        {"a known shift", matchBlockIntegerStep, {3, -3, 3, -3, 3, 1}, moved, scene, {0, -2, 1}},
        {"the same in fractions", matchBlockFractionalStep, {3, -3, 3, -3, 3, 0.5f}, moved, scene, {0, -2, 1}},
        {"far",
         matchBlockIntegerStep,
         {1, -limit, limit, -limit, limit, 1e9f},
         flat,
         scene,
         {0.05f, -0x1p31f, -0x1p31f}},
        {"a step too small to count", matchBlockFractionalStep, {1, -1, 1, -1, 1, 1e-30f}, flat, flat, {0, -1, -1}}};
    for (const auto& c : cases)
        EXPECT_EQ(describe(c.match(c.search, c.current, c.reference, 20, 15, noBlockMatch)), describe(c.expected))
            << c.what;
}

}  // namespace
