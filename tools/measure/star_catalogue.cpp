#include "measure/star_catalogue.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "measure/star_matching.h"

namespace {

constexpr int rounds = 4;
constexpr size_t enoughFrames = 200;     // tell the stars' places better than one frame shows them
constexpr int fewestSightings = 3;       // of a star, and
constexpr double leastVisibility = 0.2;  // of the frames that its place lies in
constexpr double sameStar = 3;           // pixels of the scene between two sightings of a star
constexpr double frameMargin = 5;        // pixels beside a frame within which a star may still turn out to lie in it

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

// A star keeps its place in the scene, a hot pixel in the frames.
bool isHotPixel(const CatalogueStar& star) {
    return spreadOf(star.scene) > 2 * spreadOf(star.frames);
}

bool isInFrame(const Pose& pose, Place scene, cv::Size size) {
    const Place place = placeInFrame(pose, scene);
    return place.x > -frameMargin && place.y > -frameMargin && place.x < size.width + frameMargin &&
           place.y < size.height + frameMargin;
}

// The mean places in the scene of the stars that these frames show.
std::vector<Star> makeCatalogue(const std::vector<MeasuredFrame*>& frames, cv::Size size) {
    std::vector<CatalogueStar> catalogue;
    for (const MeasuredFrame* frame : frames) {
        for (const Star& star : frame->stars) {
            const Place place = placeInScene(frame->tracked.pose, {star.x, star.y});
            CatalogueStar& known = findOrAdd(catalogue, place);
            addPlace(known.scene, place);
            addPlace(known.frames, {star.x, star.y});
        }
    }
    std::vector<Star> stars;
    for (const CatalogueStar& star : catalogue) {
        if (star.scene.count < fewestSightings || isHotPixel(star)) continue;
        const Place mean = meanOf(star.scene);
        const auto chances = std::count_if(frames.begin(), frames.end(), [&](const MeasuredFrame* frame) {
            return isInFrame(frame->tracked.pose, mean, size);
        });
        if (star.scene.count < leastVisibility * static_cast<double>(chances)) continue;  // noise
        stars.push_back({.x = mean.x, .y = mean.y});
    }
    return stars;
}

void layOnCatalogue(const std::vector<Star>& catalogue, cv::Size size, bool turns, MeasuredFrame& frame) {
    std::vector<Star> visible;
    std::copy_if(catalogue.begin(), catalogue.end(), std::back_inserter(visible), [&](const Star& star) {
        return isInFrame(frame.tracked.pose, {star.x, star.y}, size);
    });
    const auto match = refineMatch(visible, frame.stars, frame.tracked.pose, turns);
    if (!match) return;
    frame.tracked.pose = match->pose;
    frame.angleError = match->angleError;
}

}  // namespace

void layOnAllStars(std::vector<MeasuredFrame>& frames, cv::Size size) {
    std::vector<MeasuredFrame*> good, looked;
    for (MeasuredFrame& frame : frames)
        if (frame.flags.empty()) good.push_back(&frame);
    const bool turns = std::any_of(good.begin(), good.end(),
                                   [](const MeasuredFrame* frame) { return frame->tracked.pose.angle != 0; });
    const size_t step = good.size() / enoughFrames + 1;
    for (size_t i = 0; i < good.size(); i += step) looked.push_back(good[i]);
    for (int round = 1; round <= rounds; ++round) {
        const std::vector<Star> catalogue = makeCatalogue(looked, size);
        for (MeasuredFrame* frame : round < rounds ? looked : good) layOnCatalogue(catalogue, size, turns, *frame);
    }
}
