#include "measure/object_kind.h"

#include <algorithm>

#include "measure/planet_finding.h"
#include "measure/star_detection.h"

namespace {

constexpr int fewStars = 5;

// A compact thing holds most of the light, and what lies round it is even against it.
bool looksCompact(const PlanetFix& fix, const cv::Mat& grey) {
    return fix.found && !fix.cut && fix.share > 0.5 && fix.skyScatter < 0.2 * fix.brightness &&
           fix.area < 0.7 * static_cast<double>(grey.total());
}

// Points on a sky: texture has about as many dark spots as bright ones.
bool looksStarry(const StarField& field) {
    return static_cast<int>(field.stars.size()) >= fewStars && field.coverage < 0.06 &&
           field.darkCount * 4 < static_cast<int>(field.stars.size());
}

}  // namespace

const char* nameObjectKind(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::planet: return "planet";
        case ObjectKind::surface: return "surface";
        default: return "stars";
    }
}

void voteForKind(const cv::Mat& grey, KindVotes& votes) {
    const PlanetFix fix = findPlanet(grey);
    const bool compact = looksCompact(fix, grey);
    if (compact && fix.area >= 150) {
        ++votes.planet;
        return;
    }
    if (looksStarry(findStars(grey, 40))) {
        ++votes.stars;
    } else if (compact) {
        ++votes.planet;
    } else if (fix.found && fix.cut && fix.share > 0.5 && fix.skyScatter < 0.2 * fix.brightness) {
        return;  // a disc half out of the frame, or a surface that ends in it: the other frames tell
    } else if (fix.found) {
        ++votes.surface;
    }
}

ObjectKind decideKind(const KindVotes& votes) {
    if (votes.planet > 0 && votes.planet >= std::max(votes.surface, votes.stars)) return ObjectKind::planet;
    if (votes.stars > 0 && votes.stars >= votes.surface) return ObjectKind::stars;
    return ObjectKind::surface;
}
