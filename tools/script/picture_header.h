#pragma once

#include <cstdint>
#include <string>

/// What the program would find in a picture's file.
enum class PictureState {
    good,        // uncompressed, 24 bits; a pipe too, whose size stays 0
    missing,     // no such file
    unreadable,  // it is there but cannot be opened, or is a folder
    foreign,     // no BMP
    compressed,  // the run ends
    wrongDepth,  // the run ends: neither 24 nor 8 bits
    eightBits,   // read as a picture without data
    empty,       // no width or no height, or more than can be
    cut          // shorter than its pixels
};

struct PictureHeader {
    PictureState state = PictureState::missing;
    int32_t width = 0, height = 0;  // pixels; of a BMP
    int bits = 0;                   // a pixel
    std::string format;             // of a foreign file, when it is known: PNG, JPEG, ...
};

/// Reads the first bytes of a picture only.
[[nodiscard]] PictureHeader readPictureHeader(const std::string& path);
