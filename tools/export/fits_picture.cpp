#include "export/fits_picture.h"

#include <fitsio.h>

#include <array>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t growth = 1 << 20;

void writeKeywords(fitsfile* file, const MeanPicture& picture, cv::Point cutFrom, int& status) {
    char creator[] = "quillorne-tools " QUILLORNE_VERSION, order[] = "BOTTOM-UP";
    fits_write_key(file, TSTRING, "CREATOR", creator, "program that wrote this file", &status);
    fits_write_key(file, TSTRING, "ROWORDER", order, "the first row is the bottom of the picture", &status);
    if (picture.frames > 0) {
        LONGLONG frames = picture.frames;
        fits_write_key(file, TLONGLONG, "NCOMBINE", &frames, "number of frames summed", &status);
    }
    fits_write_comment(file, "Planes 1, 2, 3: red, green, blue.", &status);
    fits_write_comment(file, "Values: sum of the aligned frames divided by the number of frames that reach", &status);
    fits_write_comment(file, "the place: levels of one frame, 0 to 255, one scale for all planes.", &status);
    fits_write_comment(file, "0 in all planes where no frame reaches.", &status);
    if (picture.coverage.empty()) {
        fits_write_comment(file, "How many frames reach a place was not known: all were taken to.", &status);
    }
    if (cutFrom != cv::Point()) {
        long x = cutFrom.x, y = cutFrom.y;
        fits_write_key(file, TLONG, "CUTX", &x, "columns cut off at the left of the sum", &status);
        fits_write_key(file, TLONG, "CUTY", &y, "rows cut off at the top of the sum", &status);
    }
}

}  // namespace

std::string encodeFits(const MeanPicture& picture, cv::Point cutFrom) {
    int status = 0;
    void* memory = nullptr;
    size_t size = 0;
    fitsfile* file = nullptr;
    fits_create_memfile(&file, &memory, &size, growth, std::realloc, &status);
    std::array<long, 3> sizes = {picture.mean.cols, picture.mean.rows, 3};
    fits_create_img(file, FLOAT_IMG, 3, sizes.data(), &status);
    writeKeywords(file, picture, cutFrom, status);

    std::array<cv::Mat, 3> planes;  // blue, green, red
    cv::split(picture.mean, planes.data());
    for (size_t p = 0; p < 3; ++p) {
        cv::Mat plane;
        cv::flip(planes[2 - p], plane, 0);
        const auto count = static_cast<LONGLONG>(plane.total());
        fits_write_img(file, TFLOAT, 1 + static_cast<LONGLONG>(p) * count, count, plane.data, &status);
    }
    fits_write_chksum(file, &status);
    fits_flush_file(file, &status);
    LONGLONG end = 0;
    fits_get_hduaddrll(file, nullptr, nullptr, &end, &status);
    std::string bytes;
    if (status == 0 && static_cast<size_t>(end) <= size) {
        bytes.assign(static_cast<const char*>(memory), static_cast<size_t>(end));
    }
    int ignored = 0;
    if (file != nullptr) fits_close_file(file, &ignored);
    std::free(memory);
    return bytes;
}
