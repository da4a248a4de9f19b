#include "picture_writers.h"

#include <fitsio.h>
#include <zlib.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <vector>

#include "imageio/bmp_writer.h"

namespace {

constexpr size_t serHeaderSize = 178;

void appendBigEndian(std::vector<uint8_t>& bytes, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(value >> shift));
}

bool writeChunk(std::FILE* file, const char* type, const std::vector<uint8_t>& content) {
    std::vector<uint8_t> chunk;
    appendBigEndian(chunk, static_cast<uint32_t>(content.size()));
    chunk.insert(chunk.end(), type, type + 4);
    chunk.insert(chunk.end(), content.begin(), content.end());
    appendBigEndian(chunk, static_cast<uint32_t>(crc32(0, &chunk[4], static_cast<uInt>(chunk.size() - 4))));
    return std::fwrite(chunk.data(), 1, chunk.size(), file) == chunk.size();
}

// PNG rows: a zero for "not filtered", then the samples, red first, big-endian.
std::vector<uint8_t> packRows(const cv::Mat& picture) {
    const int channels = picture.channels(), bytes = static_cast<int>(picture.elemSize1());
    std::vector<uint8_t> rows;
    for (int row = 0; row < picture.rows; ++row) {
        rows.push_back(0);
        for (int column = 0; column < picture.cols; ++column) {
            const uint8_t* pixel = picture.ptr(row, column);
            for (int channel = channels - 1; channel >= 0; --channel) {
                for (int byte = bytes - 1; byte >= 0; --byte) rows.push_back(pixel[channel * bytes + byte]);
            }
        }
    }
    return rows;
}

void putLittleEndian(uint8_t* place, uint32_t value) {
    for (int i = 0; i < 4; ++i) place[i] = static_cast<uint8_t>(value >> (8 * i));
}

bool writeSerHeader(const SerFilm& film) {
    std::array<uint8_t, serHeaderSize> header{};
    std::memcpy(header.data(), "LUCAM-RECORDER", 14);
    putLittleEndian(&header[18], film.bayer ? 8 : 0);
    putLittleEndian(&header[26], static_cast<uint32_t>(film.size.width));
    putLittleEndian(&header[30], static_cast<uint32_t>(film.size.height));
    putLittleEndian(&header[34], static_cast<uint32_t>(film.bits));
    putLittleEndian(&header[38], film.frames);
    return std::fseek(film.file, 0, SEEK_SET) == 0 &&
           std::fwrite(header.data(), 1, header.size(), film.file) == header.size();
}

}  // namespace

bool writeBmpPicture(const cv::Mat& picture, const std::string& path) {
    Image image = makeImage(picture.cols, picture.rows);
    for (int row = 0; row < picture.rows; ++row) {
        for (int column = 0; column < picture.cols; ++column) {
            const auto& levels = picture.at<cv::Vec3b>(row, column);
            image.pixels[static_cast<size_t>(row) * static_cast<size_t>(picture.cols) + static_cast<size_t>(column)] = {
                levels[0], levels[1], levels[2], 255};
        }
    }
    const bool written = writeBmp(image, path.c_str());
    releaseImage(image);
    return written;
}

bool writePng(const cv::Mat& picture, const std::string& path) {
    const std::vector<uint8_t> rows = packRows(picture);
    uLongf size = compressBound(rows.size());
    std::vector<uint8_t> packed(size), header;
    if (compress2(packed.data(), &size, rows.data(), rows.size(), 1) != Z_OK) return false;
    packed.resize(size);
    appendBigEndian(header, static_cast<uint32_t>(picture.cols));
    appendBigEndian(header, static_cast<uint32_t>(picture.rows));
    const auto depth = static_cast<uint8_t>(8 * picture.elemSize1());
    header.insert(header.end(), {depth, static_cast<uint8_t>(picture.channels() == 3 ? 2 : 0), 0, 0, 0});
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = std::fwrite("\x89PNG\r\n\x1a\n", 1, 8, file) == 8 && writeChunk(file, "IHDR", header) &&
                         writeChunk(file, "IDAT", packed) && writeChunk(file, "IEND", {});
    return (std::fclose(file) == 0) && written;
}

bool writeFloatFits(const cv::Mat& picture, const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    std::vector<cv::Mat> planes;
    cv::split(picture, planes);
    if (planes.size() >= 3) std::swap(planes[0], planes[2]);
    long sizes[3] = {picture.cols, picture.rows, static_cast<long>(planes.size())};
    int status = 0;
    fitsfile* file = nullptr;
    fits_create_diskfile(&file, path.c_str(), &status);
    fits_create_img(file, FLOAT_IMG, 3, sizes, &status);
    LONGLONG first = 1;
    for (cv::Mat& plane : planes) {
        for (int row = plane.rows - 1; row >= 0; --row) {
            fits_write_img(file, TFLOAT, first, plane.cols, plane.ptr(row), &status);
            first += plane.cols;
        }
    }
    if (file != nullptr) fits_close_file(file, &status);
    return status == 0;
}

bool openSer(SerFilm& film, const std::string& path) {
    film.file = std::fopen(path.c_str(), "wb");
    return film.file != nullptr && writeSerHeader(film);
}

bool addSerFrame(SerFilm& film, const cv::Mat& picture) {
    std::vector<uint8_t> samples;
    const int bytes = static_cast<int>(picture.elemSize1());
    for (int row = 0; row < picture.rows; ++row) {
        for (int column = 0; column < picture.cols; ++column) {
            // Red at even columns of even rows, blue at odd columns of odd rows, green else and for mono.
            const int channel = !film.bayer ? 1 : 2 - row % 2 - column % 2;
            const uint8_t* sample = picture.ptr(row, column) + channel * bytes;
            samples.insert(samples.end(), sample, sample + bytes);
        }
    }
    ++film.frames;
    return std::fwrite(samples.data(), 1, samples.size(), film.file) == samples.size();
}

bool closeSer(SerFilm& film) {
    const bool written = writeSerHeader(film);
    return std::fclose(film.file) == 0 && written;
}
