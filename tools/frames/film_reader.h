#pragma once

#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <string>

/// An open film: AVI, MOV, MP4, MKV.
struct FilmReader;

void closeFilm(FilmReader* reader);
using FilmReaderHandle = std::unique_ptr<FilmReader, decltype(&closeFilm)>;

/// Opens the film of that name; of several pictures running side by side, the best. problem says what is wrong, and
/// then the handle is null.
[[nodiscard]] FilmReaderHandle openFilm(const std::string& path, std::string& problem);

/// The number of frames as the film states it, or an estimate from its length; at least 1.
[[nodiscard]] int64_t countFilmFrames(const FilmReader& reader);

/// The next frame, one or three channels of 8 or 16 bits; a damaged one costs a problem, and so do all together that
/// the film states and does not hold. False behind the last one.
[[nodiscard]] bool readNextFilmFrame(FilmReader& reader, cv::Mat& picture, std::string& problem);
