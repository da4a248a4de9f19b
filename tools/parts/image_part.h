#pragma once

#include <string>
#include <vector>

#include "imageio/composite_sum.h"
#include "parts/image_record.h"

// A part: some images of a script, done. A FITS file with the exact sums as a cube of four planes of 32 bits (red,
// green, blue, coverage; bottom row of the picture first; none without a composite), a table IMAGES with a row an
// image, and an extension DIGEST that seals every byte before it.

/// What parts must have in common to be put together.
struct RunIdentity {
    std::string script, reference;  // digests of the files' bytes
    int32_t images;                 // of the script
    int32_t width, height;          // of the sums, pixels; 0: no composite
};

/// That of the run in the run state, its script read and its reference loaded. A digest is empty when its file cannot
/// be read again.
[[nodiscard]] RunIdentity identifyRun();

/// Writes a part, whole or not at all; one of that name is replaced. sums is one record a pixel, top row first, or null
/// without a composite. Returns what went wrong; nothing: it is there.
[[nodiscard]] std::string writePart(const std::string& path, const RunIdentity& identity,
                                    const std::vector<ImageRecord>& records, const CompositeSum* sums);

/// The same for the sums alone, of which summed images were opened.
[[nodiscard]] std::string writeSums(const std::string& path, const RunIdentity& identity, int32_t summed,
                                    const CompositeSum* sums);

/// Reads the records of a part, after its seal and its identity were found to be right. Returns what is wrong, with the
/// file's name; nothing: the part is good.
[[nodiscard]] std::string readPartRecords(const std::string& path, const RunIdentity& identity,
                                          std::vector<ImageRecord>& records);

/// Adds a part's sums, those of imageCount images, to sums. Returns what is wrong, as above.
[[nodiscard]] std::string addPartSums(const std::string& path, const RunIdentity& identity, size_t imageCount,
                                      CompositeSum* sums);
