// Makes series of pictures as bad as real nights give them, with what is true written beside them.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "air.h"
#include "picture_writers.h"
#include "scene.h"

namespace {

struct Series {
    std::string folder, kind = "planet", format = "bmp";
    int count = 40;
    uint32_t seed = 1;
    cv::Size size = {640, 480};
    double seeing = 1.5, scale = 50.0, noise = 1.0, jitter = 3.0, turn = 0.0;
    std::array<double, 2> blur = {0.8, 2.0}, drift = {0.0, 0.0};
    bool mono = false, limit = false;
};

// Apart from the frames, so that the folder can be handed on as it is.
std::string nameTruth(const Series& series, const std::string& file) {
    return series.folder + "/truth/" + file;
}

// The middle of the scene stays about the frame's, moved at random within the jitter and evenly by the drift.
std::vector<Exposure> planExposures(const Series& series, cv::RNG& random) {
    std::vector<Exposure> exposures;
    for (int i = 0; i < series.count; ++i) {
        const double step = i - (series.count - 1) / 2.0;
        Exposure exposure;
        exposure.middle.x =
            series.size.width / 2.0 + step * series.drift[0] + random.uniform(-1.0, 1.0) * series.jitter;
        exposure.middle.y =
            series.size.height / 2.0 + step * series.drift[1] + random.uniform(-1.0, 1.0) * series.jitter;
        exposure.angle = i * series.turn;
        exposure.blur = random.uniform(series.blur[0], series.blur[1]);
        exposures.push_back(exposure);
    }
    return exposures;
}

// Large enough that no frame looks past its edge.
cv::Size chooseSceneSize(const Series& series) {
    const auto reach = [&series](double drift) {
        return 2 * static_cast<int>(series.count * std::fabs(drift) / 2.0 + series.jitter + 5.0 * series.seeing + 6.0);
    };
    cv::Size size(series.size.width + reach(series.drift[0]), series.size.height + reach(series.drift[1]));
    const int turned =
        static_cast<int>(std::fabs(series.turn) * series.count / 57.0 * (size.width + size.height) / 2.0);
    return {size.width + turned, size.height + turned};
}

bool writeTruth(const Series& series, const std::vector<Exposure>& exposures, const std::vector<cv::Point2d>& moves) {
    std::FILE* file = std::fopen((nameTruth(series, "poses.csv")).c_str(), "w");
    if (file == nullptr) return false;
    std::fprintf(file, "number,x,y,angle,blur,air_x,air_y\n");
    for (size_t i = 0; i < exposures.size(); ++i) {
        const Exposure& exposure = exposures[i];
        std::fprintf(file, "%zu,%.3f,%.3f,%.4f,%.3f,%.3f,%.3f\n", i + 1, exposure.middle.x, exposure.middle.y,
                     exposure.angle, exposure.blur, moves[i].x, moves[i].y);
    }
    return std::fclose(file) == 0;
}

bool writeScene(const Scene& scene, const std::string& path) {
    cv::Mat object, planes[4];
    scene.object.convertTo(object, CV_32F);
    cv::split(scene.light, planes);
    planes[3] = object;
    cv::Mat all;
    cv::merge(planes, 4, all);
    return writeFloatFits(all, path);
}

// Returns in common what the displacements of all frames have in common, their mean, and in moves what they move the
// object by.
bool writeFrames(const Series& series, const Scene& scene, const std::vector<Exposure>& exposures, cv::RNG& random,
                 Displacements& common, std::vector<cv::Point2d>& moves) {
    common = drawDisplacements(0.0, series.scale, series.size, random);
    const bool film = series.format.rfind("ser", 0) == 0 || series.format.rfind("bayer", 0) == 0;
    const int bits = series.format.find("16") == std::string::npos ? 8 : 16;
    SerFilm ser = {.size = series.size, .bits = bits, .bayer = series.format[0] == 'b' && series.format[1] == 'a'};
    bool written = !film || openSer(ser, series.folder + "/film.ser");
    for (size_t i = 0; i < exposures.size() && written; ++i) {
        const Displacements moved = drawDisplacements(series.seeing, series.scale, series.size, random);
        common.x += moved.x / series.count;
        common.y += moved.y / series.count;
        moves.push_back(measureMove(scene, exposures[i], moved, series.size));
        cv::Mat light = exposeFrame(scene, exposures[i], moved, series.size);
        addNoise(light, series.noise, random);
        const cv::Mat levels = takeLevels(light, bits);
        const std::string name = series.folder + "/frame" + std::to_string(i + 1);
        if (film) {
            written = addSerFrame(ser, levels);
        } else {
            written = series.format == "bmp" ? writeBmpPicture(levels, name + ".bmp") : writePng(levels, name + ".png");
        }
    }
    return written && (!film || closeSer(ser));
}

// The same frames all at the same place and moved by the same displacements: the mean of all and of the sharpest half.
bool writeLimits(const Series& series, const Scene& scene, std::vector<Exposure> exposures, const Displacements& moved,
                 const std::string& name, cv::RNG& random) {
    std::stable_sort(exposures.begin(), exposures.end(),
                     [](const Exposure& a, const Exposure& b) { return a.blur < b.blur; });
    const size_t half = (exposures.size() + 1) / 2;
    cv::Mat sum(series.size, CV_32FC3, cv::Scalar::all(0.0)), levels;
    bool written = true;
    for (size_t i = 0; i < exposures.size(); ++i) {
        const Exposure still = {.middle = {series.size.width / 2.0, series.size.height / 2.0},
                                .blur = exposures[i].blur};
        cv::Mat light = exposeFrame(scene, still, moved, series.size);
        addNoise(light, series.noise, random);
        takeLevels(light, 8).convertTo(levels, CV_32F);
        sum += levels;
        if (i + 1 == half)
            written &= writeFloatFits(sum / static_cast<double>(half), nameTruth(series, name + "_half.fits"));
    }
    return writeFloatFits(sum / static_cast<double>(exposures.size()), nameTruth(series, name + "_all.fits")) &&
           written;
}

int makeSeries(const Series& series) {
    cv::setNumThreads(1);
    std::error_code failure;
    std::filesystem::create_directories(series.folder + "/truth", failure);
    const Scene scene = makeScene(series.kind, chooseSceneSize(series), series.seed, !series.mono);
    cv::RNG random(0x9e3779b97f4a7c15u * (series.seed + 1));
    const std::vector<Exposure> exposures = planExposures(series, random);
    Displacements common;
    std::vector<cv::Point2d> moves;
    bool written = writeScene(scene, nameTruth(series, "scene.fits")) &&
                   writeFrames(series, scene, exposures, random, common, moves) && writeTruth(series, exposures, moves);
    if (series.limit && written) {
        // What no alignment can surpass; and what none can that does not know the scene, for what all frames have in
        // common cannot be told from it.
        const Displacements none = drawDisplacements(0.0, series.scale, series.size, random);
        written = writeLimits(series, scene, exposures, none, "limit", random) &&
                  writeLimits(series, scene, exposures, common, "common", random);
    }
    if (!written) std::fprintf(stderr, "make_demonstration: cannot write everything into %s\n", series.folder.c_str());
    return written ? 0 : 1;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    Series series;
    CLI::App program("Makes a series of frames, and in the folder truth beside them poses.csv and scene.fits.",
                     "make_demonstration");
    program.add_option("folder", series.folder, "where to write it")->required();
    program.add_option("--kind", series.kind, "planet, crescent, surface, disc, stars or nebula")
        ->check([](const std::string& kind) { return isSceneKind(kind) ? "" : "no such kind of scene: " + kind; });
    program.add_option("--format", series.format, "bmp, png, png16, ser8, ser16, bayer8 or bayer16")
        ->check(CLI::IsMember({"bmp", "png", "png16", "ser8", "ser16", "bayer8", "bayer16"}));
    program.add_option("--count", series.count, "number of frames")->check(CLI::Range(1, 100000));
    program.add_option("--seed", series.seed, "any number; each gives another series");
    program.add_option("--width", series.size.width, "of a frame, pixels")->check(CLI::Range(16, 8192));
    program.add_option("--height", series.size.height, "of a frame, pixels")->check(CLI::Range(16, 8192));
    program.add_option("--seeing", series.seeing, "displacement by the air, pixels rms on each axis");
    program.add_option("--scale", series.scale, "distance over which it changes, pixels");
    program.add_option("--blur", series.blur, "smallest and largest sigma, pixels");
    program.add_option("--noise", series.noise, "1: a planet's noise; 0: none");
    program.add_option("--jitter", series.jitter, "each frame moved at random, up to so many pixels");
    program.add_option("--drift", series.drift, "pixels right and down a frame");
    program.add_option("--turn", series.turn, "degrees a frame, clockwise");
    program.add_flag("--mono", series.mono, "no colours");
    program.add_flag("--limit", series.limit,
                     "also limit_all.fits, the mean without distortion, common_all.fits, with what is common to all "
                     "frames, and the same "
                     "of the sharpest half");
    CLI11_PARSE(program, argumentCount, arguments);
    return makeSeries(series);
}
