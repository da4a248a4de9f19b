#include "measure/script_plan.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/format_text.h"
#include "base/messages.h"
#include "measure/pose.h"

namespace {

constexpr double defaultTurn = 2;       // degrees to either side, where turns cannot be measured
constexpr int32_t centreTolerance = 3;  // pixels that the centre of an object may be wrong by when it turns

// Angles that were not measured are searched.
void planAngle(const PrepareOptions& options, ScriptPlan& plan) {
    const double turn = options.maximumTurn > 0 ? options.maximumTurn : defaultTurn;
    plan.angleWhy =
        options.maximumTurn > 0
            ? formatText(tr("Angles up to %g degrees to either side, as asked for (--turn)."), turn)
            : formatText(tr("The turn was not measured: %g degrees to either side are tried; --turn=5 tries more."),
                         turn);
    // Whole degrees are tried from the first on and refined by a little more than half a degree. The range ends half a
    // degree after the last, or rounding may drop that one.
    plan.angle = AngleRange{-std::round(turn), std::round(turn) + 0.5, 0.1};
    plan.translation = centreTolerance;
    plan.translationWhy = tr("The origins are right within a pixel or two: shifts of up to 3 pixels are tried.");
}

// The alignment compares every other row of a window, and bright places outweigh all others by far: where stars or the
// whole ground were laid on each other to a fraction of a pixel, its search would be a step back by a pixel or two, or
// by a degree.
void planMeasuredPlaces(const Placement& placement, const PrepareOptions& options, ScriptPlan& plan) {
    plan.angle = AngleRange{0, 0.5, std::numeric_limits<double>::infinity()};
    if (options.turn) {  // stars only
        plan.introduction.push_back(
            formatText(tr("The frames were turned back by what the stars turn against the reference, %.2f to %.2f "
                          "degrees, when they were written; frames.csv says by how much each."),
                       placement.smallestTurn * degreesPerRadian, placement.largestTurn * degreesPerRadian));
    }
    plan.angleWhy =
        tr("The origins were measured on whole frames, or from the centres of many stars, and are more exact than a "
           "search of shifts. With this line none is made: the angle 0 is the only one tried, a resolution without end "
           "(inf) leaves it as it is, and Translation holds. To search all the same, take it out.");
    plan.translationWhy = tr("No shift beside the origins, which say where the reference's origin lies in each frame.");
}

}  // namespace

BlockSettings chooseBlocks(const PreparedSeries& series) {
    const double size = std::min(series.objectWidth, series.objectHeight);
    BlockSettings blocks{.block = 8, .maximum = 4, .step = 0.5};
    if (size < 90) blocks = {.block = 6, .maximum = 3, .step = 0.5};
    if (series.noise > 0.1 * series.brightness) blocks.block += 4;
    // The grid at which a block's shift holds where it was measured.
    blocks.grid = 2 * (blocks.block + blocks.maximum + 1);
    return blocks;
}

ScriptPlan planScript(const PreparedSeries& series, const Placement& placement, const PrepareOptions& options) {
    ScriptPlan plan;
    plan.translationWhy =
        tr("Every Source line says where the reference's origin lies in its frame, to the pixel. No "
           "shift beside that is asked for; 10 pixels to every side are tried in any case.");
    if (series.kind == ObjectKind::planet) {
        plan.optiTranslationWhy =
            formatText(tr("The object is %.0f x %.0f pixels: compare a window of 1/%d of the frame "
                          "round it, the smallest that holds it with some sky."),
                       series.objectWidth, series.objectHeight, placement.divisor);
    } else if (series.kind == ObjectKind::surface) {
        plan.optiTranslationWhy = formatText(tr("A window of 1/%d of the frame round the origin: the largest that lies "
                                                "within all frames, which move by up to %.0f pixels."),
                                             placement.divisor, placement.scatter);
    }
    if (series.kind == ObjectKind::stars || (series.kind == ObjectKind::surface && !options.turn)) {
        planMeasuredPlaces(placement, options, plan);
    } else if (options.turn) {
        planAngle(options, plan);
    }
    // Where nothing is searched, for who takes that line out, and for the passes that build on this one.
    if (series.kind != ObjectKind::stars && !options.turn) plan.optiTranslation = placement.divisor;
    if (options.bend) {
        plan.blocks = chooseBlocks(series);
        plan.blocksWhy =
            formatText(tr("Bending, as asked for (--bend): blocks for an object of %.0f x %.0f pixels with "
                          "a noise of %.1f levels. Bent onto a single frame, all others take over its own "
                          "distortion: use the sum of a first run as the reference of a second."),
                       series.objectWidth, series.objectHeight, series.noise);
    }
    plan.composite = "sum";
    return plan;
}
