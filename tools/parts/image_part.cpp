#include "parts/image_part.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/format_text.h"
#include "base/messages.h"
#include "parts/file_digest.h"
#include "parts/fits_handle.h"
#include "parts/part_seal.h"
#include "parts/part_table.h"
#include "state/run_state.h"

namespace {

constexpr size_t planeCount = 4;
constexpr std::array<const char*, planeCount> planeNames = {"RED", "GREEN", "BLUE", "COVERAGE"};
constexpr int64_t pixelsPerStep = 1 << 16;

// The counter of a record that a plane holds.
constexpr std::array<uint32_t CompositeSum::*, planeCount> counters = {
    &CompositeSum::sumRed, &CompositeSum::sumGreen, &CompositeSum::sumBlue, &CompositeSum::fullCount};

// Some rows of each plane of the cube, in the file's order: the bottom row of the picture first.
struct RowGroup {
    int64_t first, rows;
    std::array<std::vector<int32_t>, planeCount> planes;
};

// The next group behind this one; false behind the last. Its planes have room for their values.
bool advance(RowGroup& group, const RunIdentity& identity) {
    group.first += group.rows;
    group.rows =
        std::min(std::max<int64_t>(pixelsPerStep / std::max(identity.width, 1), 1), identity.height - group.first);
    for (auto& plane : group.planes)
        plane.resize(static_cast<size_t>(std::max<int64_t>(group.rows, 0) * identity.width));
    return group.rows > 0 && identity.width > 0;
}

// Where a group's rows of a plane begin in the cube; elements count from 1.
LONGLONG firstElement(const RowGroup& group, size_t plane, const RunIdentity& identity) {
    return (static_cast<LONGLONG>(plane) * identity.height + group.first) * identity.width + 1;
}

void writeCube(fitsfile* file, const RunIdentity& identity, const CompositeSum* sums, int& status) {
    for (RowGroup group{}; advance(group, identity);) {
        size_t i = 0;
        for (int64_t row = group.first; row < group.first + group.rows; ++row) {
            const CompositeSum* records = sums + (identity.height - 1 - row) * identity.width;
            for (int64_t x = 0; x < identity.width; ++x, ++i) {
                for (size_t p = 0; p < planeCount; ++p)
                    group.planes[p][i] = static_cast<int32_t>(records[x].*counters[p]);
            }
        }
        for (size_t p = 0; p < planeCount; ++p) {
            fits_write_img(file, TINT, firstElement(group, p, identity), static_cast<LONGLONG>(i),
                           group.planes[p].data(), &status);
        }
    }
}

void writeText(fitsfile* file, const char* keyword, const std::string& text, const char* comment, int& status) {
    fits_write_key(file, TSTRING, keyword, const_cast<char*>(text.c_str()), comment, &status);
}

void writeHeader(fitsfile* file, const RunIdentity& identity, int32_t summed, const CompositeSum* sums, int& status) {
    std::array<long, 3> sizes = {identity.width, identity.height, long{planeCount}};
    fits_create_img(file, LONG_IMG, sums == nullptr ? 0 : 3, sizes.data(), &status);
    auto images = identity.images;
    fits_write_key(file, TINT, "NIMAGES", &images, "images of the script", &status);
    fits_write_key(file, TINT, "NSUMMED", &summed, "images in the sums", &status);
    writeText(file, "SCRIPT", identity.script, "digest of the script", status);
    writeText(file, "REFERENC", identity.reference, "digest of the reference", status);
    for (size_t plane = 0; sums != nullptr && plane < planeNames.size(); ++plane) {
        writeText(file, ("PLANE" + std::to_string(plane + 1)).c_str(), planeNames[plane], "", status);
    }
}

// Gives the file that was filled under another name its own, or removes it.
std::string finishFile(const std::string& temporary, const std::string& path, int status) {
    if (status == 0 && std::rename(temporary.c_str(), path.c_str()) != 0) status = WRITE_ERROR;
    if (status == 0) return {};
    unlink(temporary.c_str());
    return formatText(tr("%s cannot be written (%s); is the disk full?"), path.c_str(),
                      describeFitsStatus(status).c_str());
}

FitsHandle createFile(const std::string& path, const RunIdentity& identity, int32_t summed, const CompositeSum* sums,
                      int& status) {
    unlink(path.c_str());
    fitsfile* created = nullptr;
    fits_create_diskfile(&created, path.c_str(), &status);
    if (status != 0) return nullptr;
    writeHeader(created, identity, summed, sums, status);
    if (sums != nullptr) writeCube(created, identity, sums, status);
    return FitsHandle(created);
}

void closeFile(FitsHandle& file, int& status) {
    int closing = 0;
    if (file != nullptr) fits_close_file(file.release(), &closing);  // the last bytes may fail as late as here
    if (status == 0) status = closing;
}

std::string readText(fitsfile* file, const char* keyword) {
    char text[FLEN_VALUE] = "";
    int status = 0;
    fits_read_key(file, TSTRING, keyword, text, nullptr, &status);
    return status == 0 ? text : "";
}

FitsHandle openPart(const std::string& path) {
    fitsfile* opened = nullptr;
    int status = 0;
    fits_open_diskfile(&opened, path.c_str(), READONLY, &status);
    return FitsHandle(status == 0 ? opened : nullptr);
}

// The seal holds, so that what differs was another run, not damage.
std::string compareIdentity(fitsfile* file, const std::string& path, const RunIdentity& identity) {
    if (readText(file, "SCRIPT") != identity.script) {
        return formatText(tr("%s is a part of another script, or of this one before it was changed."), path.c_str());
    }
    if (readText(file, "REFERENC") != identity.reference) {
        return formatText(tr("%s was made with another reference picture."), path.c_str());
    }
    std::array<long, 3> sizes{};
    int axes = 0, bits = 0, status = 0;
    fits_get_img_param(file, 3, &bits, &axes, sizes.data(), &status);
    const bool hasSums = runState.compositeName != nullptr;
    const bool fits = hasSums ? axes == 3 && bits == LONG_IMG && sizes[0] == identity.width &&
                                    sizes[1] == identity.height && sizes[2] == long{planeCount}
                              : axes == 0;
    if (status == 0 && fits) return {};
    return formatText(tr("%s holds sums of another size than the reference."), path.c_str());
}

std::string describeDamage(const std::string& path) {
    return formatText(tr("%s is damaged or not a whole part; process its images again."), path.c_str());
}

}  // namespace

RunIdentity identifyRun() {
    const bool hasSums = runState.compositeName != nullptr;
    return {.script = digestFile(runState.scriptPath),
            .reference = digestFile(runState.referenceName),
            .images = runState.imageCount,
            .width = hasSums ? runState.reference.width : 0,
            .height = hasSums ? runState.reference.height : 0};
}

std::string writePart(const std::string& path, const RunIdentity& identity, const std::vector<ImageRecord>& records,
                      const CompositeSum* sums) {
    const auto summed = std::count_if(records.begin(), records.end(), [](const auto& r) { return r.facts.opened; });
    const std::string temporary = path + ".part";
    int status = 0;
    FitsHandle file = createFile(temporary, identity, static_cast<int32_t>(summed), sums, status);
    if (file != nullptr) {
        fits_write_chksum(file.get(), &status);
        writeRecords(file.get(), records, status);
    }
    closeFile(file, status);
    if (status == 0 && !sealFile(temporary)) status = WRITE_ERROR;
    return finishFile(temporary, path, status);
}

std::string writeSums(const std::string& path, const RunIdentity& identity, int32_t summed, const CompositeSum* sums) {
    const std::string temporary = path + ".part";
    int status = 0;
    FitsHandle file = createFile(temporary, identity, summed, sums, status);
    closeFile(file, status);
    return finishFile(temporary, path, status);
}

std::string readPartRecords(const std::string& path, const RunIdentity& identity, std::vector<ImageRecord>& records) {
    if (access(path.c_str(), R_OK) != 0) return formatText(tr("%s cannot be opened."), path.c_str());
    if (!isSealed(path)) return describeDamage(path);
    const FitsHandle file = openPart(path);
    if (file == nullptr) return describeDamage(path);
    std::string problem = compareIdentity(file.get(), path, identity);
    if (problem.empty() && !readRecords(file.get(), identity.images, records)) problem = describeDamage(path);
    return problem;
}

std::string addPartSums(const std::string& path, const RunIdentity& identity, size_t imageCount, CompositeSum* sums) {
    const FitsHandle file = openPart(path);
    int status = file == nullptr ? FILE_NOT_OPENED : 0;
    const int32_t largest = static_cast<int32_t>(imageCount) * 255;  // of at most 29999 images: 23 bits
    for (RowGroup group{}; status == 0 && advance(group, identity);) {
        for (size_t p = 0; p < planeCount; ++p) {
            std::vector<int32_t>& values = group.planes[p];
            fits_read_img(file.get(), TINT, firstElement(group, p, identity), static_cast<LONGLONG>(values.size()),
                          nullptr, values.data(), nullptr, &status);
            const auto outside = [largest](int32_t value) { return value < 0 || value > largest; };
            if (status != 0 || std::any_of(values.begin(), values.end(), outside)) return describeDamage(path);
        }
        size_t i = 0;
        for (int64_t row = group.first; row < group.first + group.rows; ++row) {
            CompositeSum* records = sums + (identity.height - 1 - row) * identity.width;
            for (int64_t x = 0; x < identity.width; ++x, ++i) {
                for (size_t p = 0; p < planeCount; ++p)
                    records[x].*counters[p] += static_cast<uint32_t>(group.planes[p][i]);
            }
        }
    }
    return status == 0 ? std::string() : describeDamage(path);
}
