#include "stack/pass_review.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "base/format_text.h"
#include "base/messages.h"
#include "measure/sharpness.h"

namespace {

constexpr double objectShare = 0.25;  // of the way from the sky to the bright parts, from which it is the object
constexpr double skyPart = 0.1, brightPart = 0.95;

cv::Mat toGrey(const cv::Mat& picture) {
    cv::Mat grey;
    cv::cvtColor(picture, grey, cv::COLOR_BGR2GRAY);
    return grey;
}

float takeQuantile(const cv::Mat& grey, double part) {
    cv::Mat values = grey.clone().reshape(1, 1);
    cv::sort(values, values, cv::SORT_EVERY_ROW | cv::SORT_ASCENDING);
    return values.at<float>(0, static_cast<int>(part * (values.cols - 1)));
}

// Where the reference's raster has data of that frame.
cv::Mat findData(const cv::Mat& aligned) {
    cv::Mat data;
    cv::inRange(aligned, cv::Scalar::all(0.0), cv::Scalar::all(0.0), data);
    return ~data;
}

cv::Mat findObject(const cv::Mat& mean, ObjectKind kind) {
    cv::Mat grey = toGrey(mean);
    if (kind == ObjectKind::surface) return cv::Mat(grey.size(), CV_8UC1, cv::Scalar(255));
    cv::GaussianBlur(grey, grey, {}, 2.0);
    const float sky = takeQuantile(grey, skyPart);
    double brightest = 0;
    cv::minMaxLoc(grey, nullptr, &brightest);
    // A small object takes up less than a twentieth of the frame: then its brightest part tells.
    const double bright = std::max(static_cast<double>(takeQuantile(grey, brightPart)), 0.5 * brightest);
    return grey > static_cast<double>(sky) + objectShare * (bright - static_cast<double>(sky));
}

void averageTrusted(PassReview& review, ObjectKind kind) {
    const cv::Size size(review.reference.width, review.reference.height);
    cv::Mat sum(size, CV_32FC3, cv::Scalar::all(0.0)), counts(size, CV_32FC1, cv::Scalar(0.0));
    for (const FrameReport& frame : review.frames) {
        if (frame.aligned && !isTrusted(frame)) ++review.doubtful;
        if (!isTrusted(frame)) continue;
        const cv::Mat aligned = readAligned(review, frame);
        if (aligned.empty()) continue;
        ++review.good;
        sum += aligned;
        cv::add(counts, cv::Scalar(1.0), counts, findData(aligned));
    }
    cv::Mat divisors;
    cv::merge(std::vector<cv::Mat>(3, cv::max(counts, 1.0)), divisors);
    cv::divide(sum, divisors, review.mean);
    // A black pixel of a frame counts as none: a frame or two do not make a hole in the object.
    review.object = findObject(review.mean, kind) & (counts > 0.9 * review.good);
}

}  // namespace

bool isTrusted(const FrameReport& frame) {
    return frame.aligned && !hasFlag(frame, "limit") && !hasFlag(frame, "jump") && !hasFlag(frame, "different");
}

cv::Mat readAligned(const PassReview& review, const FrameReport& frame) {
    Image source = readFrame(review.script, frame);
    if (source.pixels == nullptr) return {};
    Image aligned = makeAlignedFrame(review.script, frame, source);
    const cv::Mat field =
        cutField(aligned, review.reference, cv::Rect(0, 0, review.reference.width, review.reference.height));
    releaseImage(aligned);
    return field;
}

PassReview reviewPass(const std::string& folder, const std::vector<FrameRecord>& records, ObjectKind kind) {
    const std::filesystem::path place = folder;
    PassReview review;
    review.script = readRunScript((place / "script.txt").string());
    review.reference = readReference(review.script);
    if (review.reference.pixels == nullptr) {
        review.problem = formatText(tr("%s, the reference, cannot be read any more."),
                                    locate(review.script, review.script.reference).c_str());
        return review;
    }
    const std::string console = readText((place / "script.log").string());
    review.frames = examineRun(review.script, review.reference, parseRunLog(console), records, nullptr);
    averageTrusted(review, kind);
    return review;
}

std::string rankAligned(PassReview& review, std::vector<FrameRecord>& records, const KeepRule& rule) {
    const cv::Mat mean = toGrey(review.mean);
    const double sky = static_cast<double>(takeQuantile(mean, skyPart));
    const bool fills = cv::countNonZero(review.object) > 0.8 * static_cast<double>(review.object.total());
    std::vector<MeasuredFrame> measured(review.frames.size());
    for (size_t i = 0; i < measured.size(); ++i) {
        if (!review.frames[i].aligned) {
            measured[i].flags.emplace_back("missing");
            continue;
        }
        const cv::Mat aligned = readAligned(review, review.frames[i]);
        if (aligned.empty()) continue;
        measured[i].detail = measureDetail(toGrey(aligned), review.object, fills ? 0.0 : sky);
        measured[i].sharpness = computeSharpness(measured[i].detail);
        review.frames[i].sharpness = measured[i].sharpness;
    }
    const std::string why = flagByRank(measured, std::numeric_limits<size_t>::max(), rule);
    for (size_t i = 0; i < measured.size(); ++i) {
        FrameReport& frame = review.frames[i];
        const bool dropped = !measured[i].flags.empty() && measured[i].flags.front() == "rank";
        if (dropped) addFlag(frame, "rank");
        for (FrameRecord& record : records) {
            if (record.number != frame.number || !frame.aligned) continue;
            record.sharpness = measured[i].sharpness;
            if (hasFlag(frame, "different")) record.flags.emplace_back("different");
            if (!dropped) continue;
            record.kept = false;
            record.flags.emplace_back("rank");
        }
    }
    return why;
}
