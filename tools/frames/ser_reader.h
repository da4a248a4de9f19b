#pragma once

#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <string>

// SER films: a header of 178 bytes, then the frames one after another without gaps, top row first.

/// An open film.
struct SerReader;

void closeSer(SerReader* reader);
using SerReaderHandle = std::unique_ptr<SerReader, decltype(&closeSer)>;

/// Whether a file that begins with these bytes says that it is a SER film.
[[nodiscard]] bool looksLikeSer(const std::string& firstBytes);

/// Opens a film and finds out the order of its bytes. problem says what is wrong, and then the handle is null.
[[nodiscard]] SerReaderHandle openSer(const std::string& path, std::string& problem);

/// The frames that the header promises; where it promises none, a recorder having stopped before it wrote the number,
/// those that the file holds.
[[nodiscard]] int64_t countSerFrames(const SerReader& reader);

/// The next frame: one or three channels of 8 or 16 bits. Values of 9 to 15 bits stay in the bits where the file has
/// them. False behind the last frame. Frames that the file is too short for cost one problem, in place of the first.
[[nodiscard]] bool readNextSerFrame(SerReader& reader, cv::Mat& picture, std::string& problem);
