#include "measure/object_kind.h"

#include <algorithm>

#include "measure/planet_finding.h"
#include "measure/star_detection.h"

namespace {

constexpr int fewStars = 5;
constexpr double largeArea = 150;  // pixels; no star is as large

// One thing holds most of the light, and what lies round it is even against it.
bool standsAlone(const PlanetFix& fix, const cv::Mat& grey) {
    const PlanetSurroundings beside = measureSurroundings(grey, fix);
    return beside.share > 0.5 && beside.scatter < 0.2 * fix.brightness;
}

// Points on a sky: texture has about as many dark spots as bright ones.
bool looksStarry(const StarField& field) {
    return static_cast<int>(field.stars.size()) >= fewStars && field.coverage < 0.06 &&
           field.darkCount * 4 < static_cast<int>(field.stars.size());
}

}  // namespace

const char* nameObjectKind(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::planet:
            return "planet";
        case ObjectKind::surface:
            return "surface";
        default:
            return "stars";
    }
}

void voteForKind(const cv::Mat& grey, KindVotes& votes) {
    const PlanetFix fix = findPlanet(grey);
    if (!fix.found) return;
    const bool alone = standsAlone(fix, grey);
    const bool compact = alone && !fix.cut && fix.area < 0.7 * static_cast<double>(grey.total());
    if (compact && fix.area >= largeArea) {
        ++votes.planet;
    } else if (looksStarry(findStars(grey, 40))) {
        ++votes.stars;
    } else if (compact) {
        ++votes.planet;
    } else if (!alone || !fix.cut) {
        ++votes.surface;
    }
    // A disc half out of the frame and a surface that ends in it look alike: the other frames tell.
}

ObjectKind decideKind(const KindVotes& votes) {
    if (votes.planet > 0 && votes.planet >= std::max(votes.surface, votes.stars)) return ObjectKind::planet;
    if (votes.stars > 0 && votes.stars >= votes.surface) return ObjectKind::stars;
    return ObjectKind::surface;
}
