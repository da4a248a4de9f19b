#include "measure/star_matching.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double cellSize = 2;      // pixels, of the votes for a shift
constexpr double turnStep = 0.004;  // radians: 2 pixels at 500 pixels from the middle
constexpr double stillLimit = 0.4;  // pixels; a hot pixel's centre does not move by more
constexpr double pairLimit = 1.5;   // pixels

struct StarPair {
    const Star* first;
    const Star* second;
};

struct Extent {
    double left = 0, top = 0, right = 0, bottom = 0;
};

Extent measureExtent(const std::vector<Star>& stars) {
    Extent extent{stars[0].x, stars[0].y, stars[0].x, stars[0].y};
    for (const Star& star : stars) {
        extent = {std::min(extent.left, star.x), std::min(extent.top, star.y), std::max(extent.right, star.x),
                  std::max(extent.bottom, star.y)};
    }
    return extent;
}

std::vector<Star> turnStars(const std::vector<Star>& stars, double angle) {
    std::vector<Star> turned = stars;
    for (Star& star : turned) {
        const Place place = placeInFrame({0, 0, angle}, {star.x, star.y});
        star.x = place.x;
        star.y = place.y;
    }
    return turned;
}

bool standsStill(const Star& first, const Star& second) {
    return std::hypot(first.x - second.x, first.y - second.y) < stillLimit;
}

struct Vote {
    double x = 0, y = 0;  // shift, pixels
    int count = 0;
};

// The shift that most pairs agree on. A star's pairs fall into one cell and, by their scatter, into its neighbours, so
// cells are judged three by three.
Vote voteForShift(const std::vector<Star>& first, const std::vector<Star>& turned, const std::vector<Star>& second,
                  bool skipStill) {
    const Extent a = measureExtent(turned), b = measureExtent(second);
    const double left = b.left - a.right - 2 * cellSize, top = b.top - a.bottom - 2 * cellSize;
    const auto columns = static_cast<size_t>((b.right - a.left - left) / cellSize) + 3;
    const auto rows = static_cast<size_t>((b.bottom - a.top - top) / cellSize) + 3;
    std::vector<uint16_t> cells(columns * rows);
    for (size_t i = 0; i < turned.size(); ++i) {
        for (const Star& star : second) {
            if (skipStill && standsStill(first[i], star)) continue;
            const auto column = static_cast<size_t>((star.x - turned[i].x - left) / cellSize);
            ++cells[static_cast<size_t>((star.y - turned[i].y - top) / cellSize) * columns + column];
        }
    }
    Vote best;
    for (size_t row = 1; row + 1 < rows; ++row) {
        for (size_t column = 1; column + 1 < columns; ++column) {
            if (cells[row * columns + column] == 0) continue;
            int count = 0;
            for (size_t y = row - 1; y <= row + 1; ++y)
                for (size_t x = column - 1; x <= column + 1; ++x) count += cells[y * columns + x];
            if (count > best.count) {
                best = {left + (static_cast<double>(column) + 0.5) * cellSize,
                        top + (static_cast<double>(row) + 0.5) * cellSize, count};
            }
        }
    }
    return best;
}

const Star* findNearest(const std::vector<Star>& stars, Place place, double limit) {
    const Star* nearest = nullptr;
    for (const Star& star : stars) {
        const double distance = std::hypot(star.x - place.x, star.y - place.y);
        if (distance < limit) {
            limit = distance;
            nearest = &star;
        }
    }
    return nearest;
}

std::vector<StarPair> pairStars(const std::vector<Star>& first, const std::vector<Star>& second, const Pose& pose,
                                double limit, bool skipStill) {
    std::vector<StarPair> pairs;
    for (const Star& star : first) {
        const Star* other = findNearest(second, placeInFrame(pose, {star.x, star.y}), limit);
        if (other == nullptr || (skipStill && standsStill(star, *other))) continue;
        // Each the other's nearest: a star beside a brighter one is not paired with it as well.
        if (findNearest(first, placeInScene(pose, {other->x, other->y}), limit) == &star) {
            pairs.push_back({&star, other});
        }
    }
    return pairs;
}

// The turn and the shift with the least squares of distances.
Pose fitPose(const std::vector<StarPair>& pairs) {
    double firstX = 0, firstY = 0, secondX = 0, secondY = 0;
    for (const StarPair& pair : pairs) {
        firstX += pair.first->x;
        firstY += pair.first->y;
        secondX += pair.second->x;
        secondY += pair.second->y;
    }
    const auto count = static_cast<double>(pairs.size());
    firstX /= count, firstY /= count, secondX /= count, secondY /= count;
    double along = 0, across = 0;
    for (const StarPair& pair : pairs) {
        const double u = pair.first->x - firstX, v = pair.first->y - firstY;
        const double x = pair.second->x - secondX, y = pair.second->y - secondY;
        along += u * x + v * y;
        across += u * y - v * x;
    }
    Pose pose{0, 0, std::atan2(across, along)};
    const Place middle = placeInFrame(pose, {firstX, firstY});
    return {secondX - middle.x, secondY - middle.y, pose.angle};
}

Pose fitShift(const std::vector<StarPair>& pairs) {
    Pose pose;
    for (const StarPair& pair : pairs) {
        pose.x += (pair.second->x - pair.first->x) / static_cast<double>(pairs.size());
        pose.y += (pair.second->y - pair.first->y) / static_cast<double>(pairs.size());
    }
    return pose;
}

// The rms distance of the pairs, pixels.
double measureSpread(const std::vector<StarPair>& pairs, const Pose& pose) {
    double squares = 0;
    for (const StarPair& pair : pairs) {
        const Place place = placeInFrame(pose, {pair.first->x, pair.first->y});
        squares += std::pow(place.x - pair.second->x, 2) + std::pow(place.y - pair.second->y, 2);
    }
    return std::sqrt(squares / static_cast<double>(pairs.size()));
}

// The sum of the squared distances from the stars' own middle, square pixels.
double measureMoment(const std::vector<StarPair>& pairs) {
    double sumX = 0, sumY = 0, squares = 0;
    for (const StarPair& pair : pairs) {
        sumX += pair.first->x;
        sumY += pair.first->y;
        squares += pair.first->x * pair.first->x + pair.first->y * pair.first->y;
    }
    return std::max(squares - (sumX * sumX + sumY * sumY) / static_cast<double>(pairs.size()), 1e-9);
}

struct Candidate {
    Vote vote;
    double angle = 0;
};

// The expected turn first; others only when it finds too few.
Candidate searchTurn(const std::vector<Star>& first, const std::vector<Star>& second, double expectedTurn,
                     double maximumTurn, bool skipStill, int enough) {
    Candidate best{voteForShift(first, turnStars(first, expectedTurn), second, skipStill), expectedTurn};
    for (double step = turnStep; step <= maximumTurn && best.vote.count < enough; step += turnStep) {
        for (const double angle : {expectedTurn - step, expectedTurn + step}) {
            const Vote vote = voteForShift(first, turnStars(first, angle), second, skipStill);
            if (vote.count > best.vote.count) best = {vote, angle};
        }
    }
    return best;
}

// Pairs up what the pose lays on each other, closer each time; empty when too few are left.
std::optional<StarMatch> pairClosely(const std::vector<Star>& first, const std::vector<Star>& second, const Pose& start,
                                     bool turns, bool skipStill) {
    StarMatch match{start};
    std::vector<StarPair> pairs;
    for (const double limit : {4.0, 3.0, 2.0, pairLimit, pairLimit}) {
        pairs = pairStars(first, second, match.pose, limit, skipStill);
        if (pairs.size() < 3) return std::nullopt;
        match.pose = turns ? fitPose(pairs) : fitShift(pairs);
    }
    match.pairs = static_cast<int>(pairs.size());
    match.spread = measureSpread(pairs, match.pose);
    match.angleError = match.spread / std::sqrt(measureMoment(pairs));
    // A turn no larger than the stars' own scatter can make is none: left in, it would move the far corners.
    if (std::abs(match.pose.angle) < 2 * match.angleError) match.pose = fitShift(pairs);
    return match;
}

}  // namespace

std::optional<StarMatch> matchStars(const std::vector<Star>& first, const std::vector<Star>& second,
                                    double expectedTurn, double maximumTurn) {
    if (first.size() < 3 || second.size() < 3) return std::nullopt;
    const int fewer = static_cast<int>(std::min(first.size(), second.size()));
    // Chance lets three of a few dozen stars agree, hardly ever six.
    const int leastMoving = fewer < 12 ? std::max(3, fewer / 2) : std::max(6, fewer / 5);
    for (const bool skipStill : {true, false}) {
        const Candidate candidate =
            searchTurn(first, second, expectedTurn, maximumTurn, skipStill, std::max(leastMoving, fewer / 2));
        const Pose start{candidate.vote.x, candidate.vote.y, candidate.angle};
        const auto match = pairClosely(first, second, start, true, skipStill);
        // Standing still, hot pixels alone could agree: most stars of the first frame must.
        const int least = skipStill ? leastMoving : std::max(leastMoving, static_cast<int>(first.size()) * 2 / 5);
        if (!match || match->pairs < least) continue;
        if (std::abs(match->pose.angle - expectedTurn) <= maximumTurn + turnStep) return match;
    }
    return std::nullopt;
}

std::optional<StarMatch> refineMatch(const std::vector<Star>& first, const std::vector<Star>& second, const Pose& start,
                                     bool turns) {
    return pairClosely(first, second, start, turns, false);
}
