#include "measure/star_catalogue.h"

#include <algorithm>
#include <cmath>

#include "measure/star_matching.h"

namespace {

constexpr int rounds = 4;
constexpr int fewestSightings = 3;
constexpr double sameStar = 3;       // pixels of the scene between two sightings of a star
constexpr double stillSpread = 0.4;  // pixels rms that a hot pixel moves in the frames
constexpr double movedSpread = 1;    // pixels rms, from which on it then moves through the scene

// Places of a star, added up.
struct PlaceSum {
    double x = 0, y = 0, squares = 0;
    int count = 0;
};

void addPlace(PlaceSum& sum, Place place) {
    sum.x += place.x;
    sum.y += place.y;
    sum.squares += place.x * place.x + place.y * place.y;
    ++sum.count;
}

Place meanOf(const PlaceSum& sum) {
    return {sum.x / sum.count, sum.y / sum.count};
}

// The rms distance from the mean.
double spreadOf(const PlaceSum& sum) {
    const Place mean = meanOf(sum);
    return std::sqrt(std::max(0.0, sum.squares / sum.count - mean.x * mean.x - mean.y * mean.y));
}

struct CatalogueStar {
    PlaceSum scene, frames;
};

CatalogueStar& findOrAdd(std::vector<CatalogueStar>& catalogue, Place place) {
    size_t nearest = catalogue.size();
    double distance = sameStar;
    for (size_t i = 0; i < catalogue.size(); ++i) {
        const Place mean = meanOf(catalogue[i].scene);
        const double apart = std::hypot(mean.x - place.x, mean.y - place.y);
        if (apart >= distance) continue;
        distance = apart;
        nearest = i;
    }
    return nearest < catalogue.size() ? catalogue[nearest] : catalogue.emplace_back();
}

bool isHotPixel(const CatalogueStar& star) {
    return spreadOf(star.frames) < stillSpread && spreadOf(star.scene) > movedSpread;
}

// The mean places in the scene of the stars that several frames show.
std::vector<Star> makeCatalogue(const std::vector<MeasuredFrame>& frames) {
    std::vector<CatalogueStar> catalogue;
    for (const MeasuredFrame& frame : frames) {
        if (!frame.flags.empty()) continue;
        for (const Star& star : frame.stars) {
            const Place place = placeInScene(frame.tracked.pose, {star.x, star.y});
            CatalogueStar& known = findOrAdd(catalogue, place);
            addPlace(known.scene, place);
            addPlace(known.frames, {star.x, star.y});
        }
    }
    std::vector<Star> stars;
    for (const CatalogueStar& star : catalogue) {
        if (star.scene.count < fewestSightings || isHotPixel(star)) continue;
        const Place mean = meanOf(star.scene);
        stars.push_back({.x = mean.x, .y = mean.y});
    }
    return stars;
}

}  // namespace

void layOnAllStars(std::vector<MeasuredFrame>& frames) {
    const bool turns = std::any_of(frames.begin(), frames.end(), [](const MeasuredFrame& frame) {
        return frame.flags.empty() && frame.tracked.pose.angle != 0;
    });
    for (int round = 0; round < rounds; ++round) {
        const std::vector<Star> catalogue = makeCatalogue(frames);
        for (MeasuredFrame& frame : frames) {
            if (!frame.flags.empty()) continue;
            const auto match = refineMatch(catalogue, frame.stars, frame.tracked.pose, turns);
            if (!match) continue;
            frame.tracked.pose = match->pose;
            frame.angleError = match->angleError;
        }
    }
}
