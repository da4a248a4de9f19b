#include "frames/frame_series.h"

#include <algorithm>

#include "base/format_text.h"
#include "base/messages.h"
#include "frames/decoded_picture.h"
#include "frames/file_list.h"
#include "frames/film_reader.h"
#include "frames/fits_reader.h"
#include "frames/ser_reader.h"
#include "frames/still_reader.h"

struct FrameSeries {
    std::vector<InputFile> files;
    size_t nextFile = 0;
    int64_t frameCount = 0;                  // of all files
    int64_t numberInFile = 0;                // of the frame last read of the film that is open
    SerReaderHandle ser{nullptr, closeSer};  // of these two at most one is open
    FilmReaderHandle film{nullptr, closeFilm};
};

namespace {

// The libraries would print what goes wrong; the callers say it in their own words.
void silenceLibraries() {
    silenceDecoders();
    cv::redirectError([](int, const char*, const char*, const char*, int, void*) { return 0; });
}

int64_t countFramesOf(const InputFile& file) {
    std::string problem;
    if (file.kind == FileKind::ser) {
        const SerReaderHandle ser = openSer(file.path, problem);
        if (ser) return countSerFrames(*ser);
    } else if (file.kind == FileKind::film) {
        const FilmReaderHandle film = openFilm(file.path, problem);
        if (film) return countFilmFrames(*film);
    }
    return 1;  // a still picture, or what is wrong with the file
}

// The next frame of the film that is open; false behind its last one.
bool readNextOfFilm(FrameSeries& series, FrameResult& frame) {
    const bool read = (series.ser && readNextSerFrame(*series.ser, frame.picture, frame.problem)) ||
                      (series.film && readNextFilmFrame(*series.film, frame.picture, frame.problem));
    if (!read) {
        series.ser.reset();
        series.film.reset();
        series.numberInFile = 0;
        return false;
    }
    frame.file = series.files[series.nextFile - 1].path;
    frame.number = ++series.numberInFile;
    return true;
}

}  // namespace

void closeFrames(FrameSeries* series) {
    delete series;
}

FrameSeriesHandle openFrames(const std::vector<std::string>& paths, std::string& problem) {
    silenceLibraries();
    problem.clear();
    FrameSeriesHandle series(new FrameSeries, closeFrames);
    series->files = listFiles(paths);
    const auto isMissing = [](const InputFile& file) { return file.kind == FileKind::missing; };
    if (series->files.empty()) {
        problem = paths.empty() ? tr("No pictures are named.")
                                : formatText(tr("There are no pictures or films in %s."), paths.front().c_str());
    } else if (std::all_of(series->files.begin(), series->files.end(), isMissing)) {
        problem = formatText(tr("%s cannot be opened."), series->files.front().path.c_str());
    }
    if (!problem.empty()) return {nullptr, closeFrames};
    for (const InputFile& file : series->files) series->frameCount += countFramesOf(file);
    return series;
}

int64_t countFrames(const FrameSeries& series) {
    return series.frameCount;
}

bool readNextFrame(FrameSeries& series, FrameResult& frame) {
    frame = {};
    while (!readNextOfFilm(series, frame)) {
        if (series.nextFile == series.files.size()) return false;
        const InputFile& file = series.files[series.nextFile++];
        if (file.kind == FileKind::stillPicture) {
            frame.picture = readStillPicture(file.path, frame.problem);
        } else if (file.kind == FileKind::fits) {
            frame.picture = readFits(file.path, frame.problem);
        } else if (file.kind == FileKind::ser) {
            series.ser = openSer(file.path, frame.problem);
        } else if (file.kind == FileKind::film) {
            series.film = openFilm(file.path, frame.problem);
        } else {
            frame.problem = formatText(tr("%s cannot be opened."), file.path.c_str());
        }
        frame.file = file.path;
        if (!series.ser && !series.film) return true;
    }
    return true;
}
