#include "report/page_pictures.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "export/mean_picture.h"
#include "export/picture_encoder.h"
#include "export/stretch.h"

namespace {

constexpr int fieldWidth = 640, fieldHeight = 480;  // shown at full size: one pixel of error is seen
constexpr int wholeWidth = 960;
constexpr size_t mostFrames = 60;
constexpr size_t mostBytes = 4'000'000;  // of frames; a page holds them with a third more

// The reference's picture, or as much of it as is shown at full size, round its origin.
cv::Rect chooseField(const Image& reference) {
    const int width = std::min(fieldWidth, reference.width), height = std::min(fieldHeight, reference.height);
    const int x = std::clamp(reference.originX - width / 2, 0, reference.width - width);
    const int y = std::clamp(reference.originY - height / 2, 0, reference.height - height);
    return {x, y, width, height};
}

cv::Mat cutAligned(const RunScript& script, const FrameReport& frame, const Image& reference, const cv::Rect& field) {
    const Image source = readFrame(script, frame);
    if (source.pixels == nullptr) return {};
    Image aligned = makeAlignedFrame(script, frame, source);
    const cv::Mat cut = cutField(aligned, reference, field);
    releaseImage(aligned);
    return cut;
}

std::string encodeShown(const cv::Mat& values, const StretchCurve& curve) {
    return values.empty() ? "" : encodePicture(applyCurve(values, curve), PictureFormat::jpeg);
}

cv::Mat scaleDown(const cv::Mat& values) {
    if (values.cols <= wholeWidth) return values;
    cv::Mat scaled;
    const double factor = static_cast<double>(wholeWidth) / values.cols;
    cv::resize(values, scaled, {}, factor, factor, cv::INTER_AREA);
    return scaled;
}

// The order in which frames get a picture: doubtful ones, then ever finer steps through the series, so that what is
// left out when the page is full lies evenly between the others.
std::vector<const FrameReport*> orderFrames(const std::vector<FrameReport>& frames) {
    std::vector<const FrameReport*> order, ordinary;
    for (const FrameReport& frame : frames) {
        if (frame.aligned) (isDoubtful(frame) ? order : ordinary).push_back(&frame);
    }
    std::vector<bool> taken(ordinary.size(), false);
    for (size_t steps = 1; steps < 2 * ordinary.size(); steps *= 2) {
        for (size_t i = 0; i <= steps; ++i) {
            const size_t at = i * (ordinary.size() - 1) / steps;
            if (!taken[at]) order.push_back(ordinary[at]);
            taken[at] = true;
        }
    }
    return order;
}

const FrameReport* chooseSingle(const std::vector<FrameReport>& frames) {
    const FrameReport* chosen = nullptr;
    for (const FrameReport& frame : frames) {
        if (!frame.aligned || isDoubtful(frame)) continue;
        if (chosen == nullptr || (hasFlag(frame, "reference") && !hasFlag(*chosen, "reference"))) chosen = &frame;
    }
    return chosen;
}

}  // namespace

PagePictures makePagePictures(const RunScript& script, const Image& reference, const std::vector<FrameReport>& frames) {
    PagePictures pictures;
    if (reference.pixels == nullptr) return pictures;
    const cv::Rect whole(0, 0, reference.width, reference.height);
    pictures.field = chooseField(reference);
    const std::string name = locate(script, script.composite.substr(0, script.composite.find('.')));
    const MeanPicture sum = script.composite.empty() ? MeanPicture{} : readMeanPicture(findSumFiles(name));
    const bool hasSum = sum.mean.size() == whole.size();
    const cv::Mat shown = hasSum ? sum.mean : cutField(reference, reference, whole);
    const cv::Mat reached =
        sum.coverage.empty() ? cv::Mat(shown.size(), CV_8U, cv::Scalar(255)) : cv::Mat(sum.coverage > 0);
    const StretchCurve curve = chooseCurve(shown, reached, Stretch::automatic);
    pictures.reference = encodeShown(cutField(reference, reference, pictures.field), curve);
    if (hasSum) pictures.sum = encodeShown(scaleDown(sum.mean), curve);
    if (const FrameReport* single = chooseSingle(frames)) {
        pictures.single = {single->number,
                           encodeShown(scaleDown(cutAligned(script, *single, reference, whole)), curve)};
    }
    size_t bytes = 0;
    for (const FrameReport* frame : orderFrames(frames)) {
        if (pictures.frames.size() >= mostFrames || bytes >= mostBytes) break;
        const std::string jpeg = encodeShown(cutAligned(script, *frame, reference, pictures.field), curve);
        if (jpeg.empty()) continue;
        bytes += jpeg.size();
        pictures.frames.push_back({frame->number, jpeg});
    }
    std::sort(pictures.frames.begin(), pictures.frames.end(),
              [](const PagePicture& a, const PagePicture& b) { return a.number < b.number; });
    return pictures;
}
