#include "frames/fits_reader.h"

#include <fitsio.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <vector>

#include "base/format_text.h"
#include "base/messages.h"
#include "frames/bayer.h"

namespace {

void closeFits(fitsfile* file) {
    int status = 0;
    fits_close_file(file, &status);
}
using FitsHandle = std::unique_ptr<fitsfile, decltype(&closeFits)>;

struct FitsLayout {
    int width = 0, height = 0, planes = 1;
    int type = CV_32F;  // of a value in memory
};

std::string describeStatus(int status) {
    std::array<char, FLEN_STATUS> text{};
    fits_get_errstatus(status, text.data());
    fits_clear_errmsg();
    return text.data();
}

// The text behind a keyword, without the blanks at its ends; empty when there is none.
std::string readKeyword(fitsfile* file, const char* keyword) {
    int status = 0;
    std::array<char, FLEN_VALUE> value{};
    if (fits_read_key(file, TSTRING, keyword, value.data(), nullptr, &status) != 0) {
        fits_clear_errmsg();
        return "";
    }
    const std::string text = value.data();
    const size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

bool readsOddOffset(fitsfile* file, const char* keyword) {
    int status = 0;
    double offset = 0;
    fits_read_key(file, TDOUBLE, keyword, &offset, nullptr, &status);
    fits_clear_errmsg();
    return std::fmod(std::round(std::abs(offset)), 2) == 1;
}

// Goes to the first part of the file that holds a picture; false: there is none, or the file breaks off.
bool findPicture(fitsfile* file, int& status) {
    for (int part = 1;; ++part) {
        int dimensions = 0, kind = 0;
        if (fits_movabs_hdu(file, part, &kind, &status) != 0) return false;
        if (kind != IMAGE_HDU && fits_is_compressed_image(file, &status) == 0) continue;
        if (fits_get_img_dim(file, &dimensions, &status) != 0) return false;
        if (dimensions >= 2) return true;
    }
}

// What the header says, or what is wrong with it. A size that the file cannot hold is damage, not a reason to ask for
// the memory: as it lies there, or packed with the 1032 to 1 that the usual compression reaches at best.
std::string readLayout(fitsfile* file, uintmax_t fileSize, FitsLayout& layout, int& status) {
    constexpr int64_t largestSide = 65535;
    const int64_t bestCompression = fits_is_compressed_image(file, &status) != 0 ? 1032 : 1;
    std::array<LONGLONG, 3> sizes{1, 1, 1};
    int dimensions = 0, type = 0, storedBits = 0;
    fits_get_img_dim(file, &dimensions, &status);
    fits_get_img_sizell(file, static_cast<int>(sizes.size()), sizes.data(), &status);
    fits_get_img_type(file, &storedBits, &status);
    fits_get_img_equivtype(file, &type, &status);
    if (status != 0) return describeStatus(status);
    if (dimensions > 3 || (sizes[2] != 1 && sizes[2] != 3)) {
        return tr("it holds neither one plane nor three (red, green, blue)");
    }
    const auto isSide = [](LONGLONG size) { return size >= 1 && size <= largestSide; };
    if (!isSide(sizes[0]) || !isSide(sizes[1])) return tr("its header states an impossible size");
    const int64_t bytes = sizes[0] * sizes[1] * sizes[2] * (std::abs(storedBits) / 8);
    if (bytes / bestCompression > static_cast<int64_t>(fileSize)) return tr("it is cut short, or its header damaged");
    layout.width = static_cast<int>(sizes[0]);
    layout.height = static_cast<int>(sizes[1]);
    layout.planes = static_cast<int>(sizes[2]);
    layout.type = type == BYTE_IMG ? CV_8U : type == USHORT_IMG ? CV_16U : CV_32F;
    return "";
}

cv::Mat readPlane(fitsfile* file, const FitsLayout& layout, int plane, int& status) {
    cv::Mat values(layout.height, layout.width, layout.type);
    std::array<LONGLONG, 3> first{1, 1, plane + 1};
    int anyWithoutValue = 0;  // the library writes to it unasked
    float noValue = std::numeric_limits<float>::quiet_NaN();
    const bool floats = layout.type == CV_32F;
    const int type = floats ? TFLOAT : layout.type == CV_16U ? TUSHORT : TBYTE;
    fits_read_pixll(file, type, first.data(), static_cast<LONGLONG>(values.total()), floats ? &noValue : nullptr,
                    values.data, &anyWithoutValue, &status);
    // No comparison holds for what is no number. The largest are dropped as well: their sums would not fit.
    constexpr float largestValue = 1e30F;
    if (status == 0 && floats) values.setTo(0, ~(cv::abs(values) <= largestValue));
    return values;
}

BayerPattern readPattern(fitsfile* file) {
    BayerPattern pattern = findBayerPattern(readKeyword(file, "BAYERPAT"));
    if (pattern == BayerPattern::none) pattern = findBayerPattern(readKeyword(file, "COLORTYP"));
    return moveBayerPattern(pattern, readsOddOffset(file, "XBAYROFF") ? 1 : 0,
                            readsOddOffset(file, "YBAYROFF") ? 1 : 0);
}

cv::Mat readPicture(fitsfile* file, const FitsLayout& layout, int& status) {
    std::vector<cv::Mat> planes;  // blue first
    for (int plane = layout.planes - 1; plane >= 0; --plane) planes.push_back(readPlane(file, layout, plane, status));
    if (status != 0) return {};
    cv::Mat picture;
    cv::merge(planes, picture);
    if (layout.planes == 1) picture = resolveBayer(picture, readPattern(file));
    if (readKeyword(file, "ROWORDER") != "TOP-DOWN") cv::flip(picture, picture, 0);
    return picture;
}

}  // namespace

cv::Mat readFits(const std::string& path, std::string& problem) {
    problem.clear();
    std::string firstBytes(6, '\0');
    // The library would unpack archives too, of whatever size they claim.
    if (!std::ifstream(path, std::ios::binary).read(firstBytes.data(), 6) || firstBytes != "SIMPLE") {
        problem = formatText(tr("%s is no FITS file: it does not begin with SIMPLE (a packed one must be unpacked)."),
                             path.c_str());
        return {};
    }
    int status = 0;
    fitsfile* opened = nullptr;
    // Not the usual opening, which takes brackets in a name for a choice of rows.
    fits_open_diskfile(&opened, path.c_str(), READONLY, &status);
    const FitsHandle file(opened, closeFits);
    std::error_code failure;
    const uintmax_t fileSize = std::filesystem::file_size(path, failure);
    std::string reason;
    cv::Mat picture;
    try {
        FitsLayout layout;
        if (status == 0 && !failure && findPicture(file.get(), status)) {
            reason = readLayout(file.get(), fileSize, layout, status);
            if (reason.empty()) picture = readPicture(file.get(), layout, status);
        }
    } catch (const cv::Exception& error) {
        reason = error.err;
    }
    if (status == END_OF_FILE && reason.empty()) reason = tr("it holds no picture, or is cut short");
    if (status != 0 && reason.empty()) reason = describeStatus(status);
    if (!reason.empty()) problem = formatText(tr("%s cannot be read: %s."), path.c_str(), reason.c_str());
    return picture;
}
