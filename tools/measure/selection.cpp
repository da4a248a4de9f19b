#include "measure/selection.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "base/format_text.h"
#include "base/messages.h"
#include "measure/sky.h"

namespace {

std::vector<size_t> listGood(const std::vector<MeasuredFrame>& frames) {
    std::vector<size_t> good;
    for (size_t i = 0; i < frames.size(); ++i)
        if (isGood(frames[i])) good.push_back(i);
    return good;
}

// Blur takes detail away from the sum, few frames leave noise in it. Both are known in grey levels of the same fine
// scale, so the number of frames with the least sum of squares can be told.
size_t countBest(const std::vector<MeasuredFrame>& frames, const std::vector<size_t>& ranked) {
    const DetailMeasure& best = frames[ranked.front()].detail;
    double shown = 0, noise = 0, least = 0;
    size_t count = 1;
    for (size_t k = 1; k <= ranked.size(); ++k) {
        const MeasuredFrame& frame = frames[ranked[k - 1]];
        shown += frame.sharpness;
        noise += std::pow(frame.detail.noiseDetail, 2);
        const double lost = (frames[ranked.front()].sharpness - shown / static_cast<double>(k)) / 100 * best.brightness;
        const double error = lost * lost + noise / static_cast<double>(k * k);
        if (k == 1 || error < least) {
            least = error;
            count = k;
        }
    }
    return count;
}

}  // namespace

bool isGood(const MeasuredFrame& frame) {
    return frame.flags.empty();
}

std::optional<size_t> chooseReference(const std::vector<MeasuredFrame>& frames) {
    const std::vector<size_t> good = listGood(frames);
    if (good.empty()) return std::nullopt;
    std::vector<float> columns, rows, distances;
    for (const size_t i : good) {
        columns.push_back(static_cast<float>(frames[i].tracked.pose.x));
        rows.push_back(static_cast<float>(frames[i].tracked.pose.y));
    }
    const double middleX = takeMedian(columns), middleY = takeMedian(rows);
    const auto measureDistance = [&](size_t i) {
        return static_cast<float>(std::hypot(frames[i].tracked.pose.x - middleX, frames[i].tracked.pose.y - middleY));
    };
    for (const size_t i : good) distances.push_back(measureDistance(i));
    const float limit = static_cast<float>(takeMedian(distances));
    size_t best = good.front();
    double sharpest = -1;
    for (const size_t i : good) {
        if (measureDistance(i) <= limit && frames[i].sharpness > sharpest) {
            sharpest = frames[i].sharpness;
            best = i;
        }
    }
    return best;
}

std::optional<size_t> findReference(const std::vector<MeasuredFrame>& frames, const std::string& name,
                                    std::string& problem) {
    for (size_t i = 0; i < frames.size(); ++i) {
        const std::string& source = frames[i].source;
        if (source != name && std::filesystem::path(source).filename() != std::filesystem::path(name)) continue;
        if (isGood(frames[i])) return i;
        problem = formatText(tr("%s cannot be the reference (%s); name another frame, or leave --reference out"),
                             name.c_str(), frames[i].flags.front().c_str());
        return std::nullopt;
    }
    problem = formatText(tr("no frame is called %s; name one of the pictures, \"film.ser#12\" for frame 12 of a film"),
                         name.c_str());
    return std::nullopt;
}

std::optional<KeepRule> parseKeepRule(const std::string& text) {
    if (text == "all") return KeepRule{KeepRule::all};
    if (text == "auto") return KeepRule{KeepRule::automatic};
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !(value > 0)) return std::nullopt;
    if (std::string(end) == "%" && value <= 100) return KeepRule{KeepRule::share, value / 100};
    if (*end == '\0' && value < 1e6 && value == std::floor(value)) return KeepRule{KeepRule::number, value};
    return std::nullopt;
}

std::string flagByRank(std::vector<MeasuredFrame>& frames, size_t reference, const KeepRule& rule) {
    std::vector<size_t> ranked = listGood(frames);
    std::stable_sort(ranked.begin(), ranked.end(),
                     [&frames](size_t a, size_t b) { return frames[a].sharpness > frames[b].sharpness; });
    const auto count = static_cast<double>(ranked.size());
    size_t kept = ranked.size();
    if (rule.kind == KeepRule::share) kept = static_cast<size_t>(std::lround(std::max(1.0, rule.value * count)));
    if (rule.kind == KeepRule::number) kept = static_cast<size_t>(std::min(rule.value, count));
    if (rule.kind == KeepRule::automatic) kept = countBest(frames, ranked);
    const std::string total = std::to_string(ranked.size()), number = std::to_string(kept);
    for (size_t k = kept; k < ranked.size(); ++k)
        if (ranked[k] != reference) frames[ranked[k]].flags.emplace_back("rank");
    if (rule.kind == KeepRule::all) {
        return formatText(tr("All %s good frames are kept; --keep 60%% or --keep auto would take the sharpest."),
                          total.c_str());
    }
    if (rule.kind == KeepRule::automatic) {
        return formatText(tr("The sharpest %s of %s good frames are kept: with that number, the detail that blur takes "
                             "from the sum and the noise that is left in it, both in grey levels at the scale of one "
                             "to three pixels, have the least sum of squares (--keep auto)."),
                          number.c_str(), total.c_str());
    }
    return formatText(tr("The sharpest %s of %s good frames are kept, as asked for (--keep)."), number.c_str(),
                      total.c_str());
}
