#pragma once

#include <cstdint>
#include <string>

/// What became of one image, in numbers.
struct ImageFacts {
    int32_t entry;           // of the image list, from 1
    int32_t shiftX, shiftY;  // pixels
    double angle;            // degrees
    double seconds;          // of processor time
    int64_t sourceSize;      // bytes; -1: there was no such file
    int64_t sourceTime;      // when the source was last changed, nanoseconds since 1970
    bool opened, written, onLimit;
};

/// One image and what the program says of it. The texts are the bytes that it wrote.
struct ImageRecord {
    ImageFacts facts = {};
    std::string shiftLine;  // its line of the shift list, or nothing
    std::string console;    // in Mac OS Roman, with the user's bytes in the names
};

/// Sets size and time of the source of facts.entry, of the list in the run state, as they are now.
void noteSource(ImageFacts& facts);

/// Processes an entry of the list in the run state.
[[nodiscard]] ImageFacts processEntry(int32_t entry);

/// The same, standard output being a memory file and the shift list
/// the memory file shiftLines: what the image wrote there is taken out.
[[nodiscard]] ImageRecord takeImage(int32_t entry, int shiftLines);
