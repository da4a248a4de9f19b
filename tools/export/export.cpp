#include "export/export.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <opencv2/core.hpp>
#include <string>

#include "base/messages.h"
#include "base/part_file.h"
#include "export/fits_picture.h"
#include "export/mean_picture.h"
#include "export/picture_encoder.h"
#include "export/stretch.h"

namespace {

constexpr double wideScale = 257;  // 65535 / 255: a frame's white is the white of 16 bits, in all channels

struct Product {
    std::string path;
    std::string bytes;  // empty: they could not be made
};

cv::Mat findReached(const MeanPicture& picture) {
    return picture.coverage.empty() ? cv::Mat(picture.mean.size(), CV_8U, cv::Scalar(255)) : picture.coverage > 0;
}

std::array<Product, 4> makeProducts(const MeanPicture& picture, cv::Point cutFrom, Stretch stretch,
                                    const std::string& stem) {
    cv::Mat wide;
    picture.mean.convertTo(wide, CV_16U, wideScale);
    const StretchCurve curve = chooseCurve(picture.mean, findReached(picture), stretch);
    return {{{stem + ".fits", encodeFits(picture, cutFrom)},
             {stem + ".tif", encodePicture(wide, PictureFormat::tiff)},
             {stem + "16.png", encodePicture(wide, PictureFormat::png)},
             {stem + ".png", encodePicture(applyCurve(picture.mean, curve), PictureFormat::png)}}};
}

bool mayWrite(const std::string& stem) {
    bool free = true;
    for (const char* ending : {".fits", ".tif", "16.png", ".png"}) {
        if (!std::filesystem::exists(stem + ending)) continue;
        printError(tr("%s exists; add --force to replace it, or name other pictures with -o."),
                   (stem + ending).c_str());
        free = false;
    }
    return free;
}

std::string chooseStem(const ExportOptions& options, const SumFiles& files) {
    if (options.output.empty()) return files.stem;
    if (!std::filesystem::is_directory(options.output)) return options.output;
    return (std::filesystem::path(options.output) / std::filesystem::path(files.stem).filename()).string();
}

// Cuts to where all frames reach; corner is what was cut off at the left and the top. Returns whether it could be done.
bool cutToCommonField(MeanPicture& picture, cv::Point& corner) {
    const cv::Rect field = findCommonField(picture);
    if (field.empty()) return false;
    picture.mean = picture.mean(field).clone();
    picture.coverage = picture.coverage(field).clone();
    corner = field.tl();
    return true;
}

}  // namespace

int exportSum(const ExportOptions& options) {
    const SumFiles files = findSumFiles(options.sum);
    const std::string stem = chooseStem(options, files);
    if (!options.force && !mayWrite(stem)) return 2;
    MeanPicture picture = readMeanPicture(files);
    if (!picture.problem.empty()) {
        printError("%s", picture.problem.c_str());
        return 2;
    }
    const bool coverageKnown = !picture.coverage.empty();
    if (!coverageKnown) {
        printNotice(tr("%s.sums.fit is not there: how many frames reach each place is not known, so the borders may be "
                       "darker. Run the script with quillorne-tools run to have it."),
                    files.stem.c_str());
    }
    cv::Point cutFrom;
    if (options.cropCommon && !cutToCommonField(picture, cutFrom)) {
        printError(tr("%s cannot be cut to where all frames reach: there is no such place, or it is not known."),
                   files.stem.c_str());
        return 2;
    }
    for (const Product& product : makeProducts(picture, cutFrom, options.stretch, stem)) {
        if (product.bytes.empty()) {
            printError(tr("%s cannot be made: memory is short, or FFmpeg lacks the encoder."), product.path.c_str());
            return 2;
        }
        if (!writeWholeFile(product.path, product.bytes)) {
            printError(tr("%s cannot be written; is its folder there, and room on the disk?"), product.path.c_str());
            return 2;
        }
        if (!options.silent) std::printf("%s\n", product.path.c_str());
    }
    if (options.silent) return coverageKnown ? 0 : 1;
    printNotice(tr("%i x %i pixels. 65535 in the pictures of 16 bits is level 255 of a frame, in all channels alike."),
                picture.mean.cols, picture.mean.rows);
    return coverageKnown ? 0 : 1;
}
