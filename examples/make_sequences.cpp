// Makes the demonstration's sequences: a planet seen through unquiet air and a star field, with what is true of each
// frame written beside the pictures. The scene is looked at anew for each frame, no picture is resampled.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "imageio/bmp_writer.h"
#include "imageio/image.h"
#include "noise_field.h"
#include "planet.h"
#include "scene.h"
#include "star_field.h"

namespace {

constexpr double radiansPerDegree = 0.017453292519943295;

// Where a frame looks, in the program's terms: a point of the sky at offset p from the centre of the reference lies at
// the frame's centre plus the vector p + shift turned by angle (degrees, clockwise on the screen).
struct Pose {
    double shiftX, shiftY, angle;
};

constexpr Pose planetPoses[frameCount] = {{0.0, 0.0, 0.0},   {0.7, -0.4, 0.2},  {1.3, -0.7, 0.45}, {2.1, -1.1, 0.7},
                                          {2.8, -1.4, 0.95}, {3.1, -1.9, 1.15}, {2.4, -2.3, 1.4},  {1.6, -1.8, 1.1},
                                          {0.9, -1.1, 0.6},  {-0.5, -0.3, 0.1}, {-1.2, 0.6, -0.4}, {-2.1, 1.2, -0.9}};

constexpr Pose starPoses[frameCount] = {{0.0, 0.0, 0.0},   {1.9, -1.2, 0.0},   {4.2, -2.1, 0.0},   {5.8, -3.7, 0.0},
                                        {8.1, -4.3, 0.0},  {10.3, -6.2, 0.0},  {11.7, -7.1, 0.0},  {14.2, -7.8, 0.0},
                                        {16.1, -9.4, 0.0}, {17.8, -10.3, 0.0}, {20.2, -11.1, 0.0}, {22.3, -12.8, 0.0}};

// Unquiet air moves each part of the picture for itself, by up to this many pixels, and changes from frame to frame.
// The reference is taken at a quiet moment, as an observer would choose it.
constexpr double seeingAmplitude = 2.5;
constexpr double seeingScale = 40.0;  // pixels from one swelling to the next
constexpr double seeingPace = 0.7;    // how much of a swelling passes from frame to frame

constexpr char globalScript[] =
    "Rem: angle and shift of the whole picture\n"
    "Reference: frame1.bmp\n"
    "Angle: -2 2 0.1\n"
    "Translation: 10 1\n"
    "Compositage: global/sum.bmp\n"
    "Sourcesbmp: frame global/aligned 1 12\n"
    "Quitter:\n";

constexpr char blockScript[] =
    "Rem: the same, and then the picture is bent block by block\n"
    "Reference: frame1.bmp\n"
    "Angle: -2 2 0.1\n"
    "Translation: 10 1\n"
    "Bloc: 26 8 4 0.5\n"
    "Compositage: blocks/sum.bmp\n"
    "Sourcesbmp: frame blocks/aligned 1 12\n"
    "Quitter:\n";

constexpr char starScript[] =
    "Rem: shift only, compared over the whole picture: stars are few and small\n"
    "Reference: frame1.bmp\n"
    "Translation: 30 1\n"
    "OptiTranslation: 1\n"
    "Compositage: results/sum.bmp\n"
    "Sourcesbmp: frame results/aligned 1 12\n"
    "Quitter:\n";

// The series of the sine, good to the last digit for the few degrees used here.
double computeSine(double radians) {
    const double square = radians * radians;
    return radians * (1.0 - square / 6.0 * (1.0 - square / 20.0 * (1.0 - square / 42.0)));
}

std::vector<Light> drawPlanet(const Pose& pose, double seeing, int32_t frame) {
    const double sine = computeSine(pose.angle * radiansPerDegree), cosine = std::sqrt(1.0 - sine * sine);
    std::vector<Light> lights;
    for (int32_t y = 0; y < frameHeight; ++y) {
        for (int32_t x = 0; x < frameWidth; ++x) {
            const double column = x / seeingScale, row = y / seeingScale, time = frame * seeingPace;
            const double u = x - frameWidth / 2 + seeing * sampleNoiseField(23, column, row, time);
            const double v = y - frameHeight / 2 + seeing * sampleNoiseField(24, column, row, time);
            lights.push_back(lookAtPlanet(cosine * u + sine * v - pose.shiftX, -sine * u + cosine * v - pose.shiftY));
        }
    }
    return lights;
}

std::vector<Light> drawStars(const std::vector<Star>& stars, const Pose& pose) {
    const double originX = frameWidth / 2 + pose.shiftX, originY = frameHeight / 2 + pose.shiftY;
    std::vector<Light> lights;
    for (int32_t y = 0; y < frameHeight; ++y) {
        for (int32_t x = 0; x < frameWidth; ++x) lights.push_back(lookAtNebula(x - originX, y - originY));
    }
    for (const Star& star : stars) addStar(lights, star, originX + star.x, originY + star.y);
    return lights;
}

// A level with the camera's noise: that of its electronics and that of the light itself. Never 0, which stays the mark
// of pixels without data in the aligned pictures.
uint8_t takeLevel(double light, double noise, RandomSequence& sequence) {
    const double deviation = std::sqrt(4.0 + 0.45 * std::min(light, 255.0)) * noise;
    return static_cast<uint8_t>(std::clamp(light + deviation * takeRandomError(sequence), 1.0, 255.0));
}

bool writeFrame(const std::string& path, const std::vector<Light>& lights, double noise, uint64_t seed) {
    RandomSequence sequence = {.state = seed};
    Image picture = makeImage(frameWidth, frameHeight);
    for (size_t i = 0; i < lights.size(); ++i) {
        Pixel& pixel = picture.pixels[i];
        pixel.red = takeLevel(lights[i].red, noise, sequence);
        pixel.green = takeLevel(lights[i].green, noise, sequence);
        pixel.blue = takeLevel(lights[i].blue, noise, sequence);
    }
    const bool written = writeBmp(picture, path.c_str());
    releaseImage(picture);
    return written;
}

bool writeText(const std::string& path, const std::string& text) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) return false;
    std::fputs(text.c_str(), file);
    return std::fclose(file) == 0;
}

std::string describePoses(const Pose (&poses)[frameCount]) {
    std::string text;
    for (const Pose& pose : poses) {
        char line[80];
        std::snprintf(line, sizeof line, "%.2f %.2f %.3f\n", pose.shiftX, pose.shiftY, pose.angle);
        text += line;
    }
    return text;
}

bool makeFolders(const std::string& folder) {
    std::error_code failure;
    for (const char* name : {"/planet/global", "/planet/blocks", "/stars/results"}) {
        std::filesystem::create_directories(folder + name, failure);
        if (failure) return false;
    }
    return true;
}

bool makePlanetSequence(const std::string& folder) {
    bool written = writeFrame(folder + "/ideal.bmp", drawPlanet(planetPoses[0], 0.0, 0), 0.0, 0);
    for (int32_t frame = 1; frame <= frameCount; ++frame) {
        const double seeing = frame == 1 ? 0.0 : seeingAmplitude;
        const std::vector<Light> lights = drawPlanet(planetPoses[frame - 1], seeing, frame);
        written &= writeFrame(folder + "/frame" + std::to_string(frame) + ".bmp", lights, 1.0,
                              100u + static_cast<uint64_t>(frame));
    }
    return written && writeText(folder + "/truth.txt", describePoses(planetPoses)) &&
           writeText(folder + "/global.txt", globalScript) && writeText(folder + "/blocks.txt", blockScript);
}

bool makeStarSequence(const std::string& folder) {
    const std::vector<Star> stars = makeStars();
    bool written = true;
    for (int32_t frame = 1; frame <= frameCount; ++frame) {
        written &= writeFrame(folder + "/frame" + std::to_string(frame) + ".bmp",
                              drawStars(stars, starPoses[frame - 1]), 1.0, 200u + static_cast<uint64_t>(frame));
    }
    return written && writeText(folder + "/truth.txt", describePoses(starPoses)) &&
           writeText(folder + "/stars.txt", starScript);
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fprintf(stderr, "usage: make_sequences FOLDER\n");
        return 2;
    }
    const std::string folder = arguments[1];
    if (!makeFolders(folder) || !makePlanetSequence(folder + "/planet") || !makeStarSequence(folder + "/stars")) {
        std::fprintf(stderr, "make_sequences: cannot write everything into %s\n", folder.c_str());
        return 1;
    }
    return 0;
}
