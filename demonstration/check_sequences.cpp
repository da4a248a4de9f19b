// Sets what the program made of the demonstration's sequences beside what is true, and fails when it is too far off.

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "grey_picture.h"
#include "scene.h"

namespace {

// The search of the angle tries whole degrees and refines around the best: half a degree off is the wrong degree.
constexpr double angleTolerance = 0.5;

struct FoundPose {
    int shiftX = 0, shiftY = 0;
    double angle = 0.0;
};

// The next result on the program's console, "theta=... DeltaX=... DeltaY=..."; without a search of the angle no theta.
bool readConsoleResult(std::FILE* console, FoundPose& found) {
    char line[1000];
    while (std::fgets(line, sizeof line, console) != nullptr) {
        if (std::sscanf(line, "theta=%lf DeltaX=%d DeltaY=%d", &found.angle, &found.shiftX, &found.shiftY) == 3)
            return true;
        if (std::sscanf(line, "DeltaX=%d DeltaY=%d", &found.shiftX, &found.shiftY) == 2) return true;
    }
    return false;
}

// One frame from each of the three files, and the line about it. False when one is missing or they are too far apart.
bool compareFrame(int32_t frame, double shiftTolerance, std::FILE* truth, std::FILE* shiftList, std::FILE* console) {
    double trueX = 0.0, trueY = 0.0, trueAngle = 0.0;
    FoundPose found;
    char listed[100];
    if (std::fscanf(truth, "%lf %lf %lf", &trueX, &trueY, &trueAngle) != 3 || !readConsoleResult(console, found) ||
        std::fgets(listed, sizeof listed, shiftList) == nullptr) {
        std::printf("%5d   missing\n", frame);
        return false;
    }
    int listedX = 0, listedY = 0;
    const bool agrees = std::sscanf(listed, "%d %d", &listedX, &listedY) == 2 && listedX == found.shiftX &&
                        listedY == found.shiftY && std::strstr(listed, "Non optimal") == nullptr;
    const double offX = found.shiftX - trueX, offY = found.shiftY - trueY, offAngle = found.angle - trueAngle;
    const bool good = agrees && std::fabs(offX) <= shiftTolerance && std::fabs(offY) <= shiftTolerance &&
                      std::fabs(offAngle) <= angleTolerance;
    std::printf("%5d  %4d %4d  %6.2f %6.2f  %5.2f %5.2f    %5.2f  %5.2f  %5.2f%s\n", frame, found.shiftX, found.shiftY,
                trueX, trueY, offX, offY, found.angle, trueAngle, offAngle, good ? "" : "  wrong");
    return good;
}

// Shifts come in whole pixels; unquiet air, which moves the middle of a frame as well, wants a larger tolerance.
bool checkPoses(const char* truthPath, const char* shiftListPath, const char* consolePath, double shiftTolerance) {
    const std::array<std::FILE*, 3> files = {std::fopen(truthPath, "r"), std::fopen(shiftListPath, "r"),
                                             std::fopen(consolePath, "r")};
    bool good = true;
    for (std::FILE* file : files) good &= file != nullptr;
    if (good) {
        std::printf("       DeltaX, DeltaY in pixels                   theta in degrees\n");
        std::printf("frame      found           true          off     found   true    off\n");
        for (int32_t frame = 1; frame <= frameCount; ++frame)
            good &= compareFrame(frame, shiftTolerance, files[0], files[1], files[2]);
    }
    for (std::FILE* file : files) {
        if (file != nullptr) std::fclose(file);
    }
    return good;
}

// The mean of three by three pixels about a place, grey levels 0 to 255; below 0 without full data. Aligned pictures
// are interpolated, a bent one twice, which smooths noise and would look like a better fit if pixels were compared
// alone.
double readLevel(const GreyPicture& picture, int32_t x, int32_t y) {
    if (x < 1 || x >= picture.width - 1 || y < 1 || y >= picture.height - 1) return -1.0;
    int32_t sum = 0;
    for (int32_t row = y - 1; row <= y + 1; ++row) {
        for (int32_t column = x - 1; column <= x + 1; ++column) {
            const int32_t level = picture.levels[static_cast<size_t>(row) * static_cast<size_t>(picture.width) +
                                                 static_cast<size_t>(column)];
            if (level == 0) return -1.0;
            sum += level;
        }
    }
    return sum / 27.0;
}

// The mean difference of grey levels on the planet's disc, where both pictures have data. The centre of the sky region
// is the middle of every picture: an aligned one grows evenly to all sides when it is turned.
double measureDisc(const GreyPicture& picture, const GreyPicture& reference) {
    double sum = 0.0;
    int64_t count = 0;
    const auto radius = static_cast<int32_t>(planetRadius);
    for (int32_t v = -radius; v <= radius; ++v) {
        for (int32_t u = -radius; u <= radius; ++u) {
            const double down = v / (1.0 - planetFlattening);
            if (u * u + down * down > planetRadius * planetRadius) continue;
            const double level = readLevel(picture, picture.width / 2 + u, picture.height / 2 + v);
            const double expected = readLevel(reference, reference.width / 2 + u, reference.height / 2 + v);
            if (level < 0.0 || expected < 0.0) continue;
            sum += std::fabs(level - expected);
            ++count;
        }
    }
    return count == 0 ? NAN : sum / static_cast<double>(count);
}

bool checkBending(const std::string& folder) {
    const auto read = [&folder](const std::string& name) {
        return readGreyPicture((folder + "/" + name + ".bmp").c_str());
    };
    const GreyPicture reference = read("frame1"), ideal = read("ideal");
    bool good = true;
    std::printf("Mean difference to the reference on the disc, grey levels\n");
    std::printf("frame  aligned   bent   bent / aligned\n");
    for (int32_t frame = 2; frame <= frameCount; ++frame) {
        const std::string name = "aligned" + std::to_string(frame);
        const double aligned = measureDisc(read("global/" + name), reference);
        const double bent = measureDisc(read("blocks/" + name), reference);
        good &= bent < aligned;
        std::printf("%5d   %6.2f %6.2f   %6.2f%s\n", frame, aligned, bent, bent / aligned,
                    bent < aligned ? "" : "  wrong");
    }
    const double aligned = measureDisc(read("global/sum"), ideal), bent = measureDisc(read("blocks/sum"), ideal);
    good &= bent < aligned;
    std::printf(
        "Mean difference to the scene without noise and seeing: one frame %.2f, sum of aligned %.2f, of bent %.2f\n",
        measureDisc(read("frame2"), ideal), aligned, bent);
    return good;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    bool good = false;
    if (argumentCount == 6 && std::strcmp(arguments[1], "poses") == 0) {
        good = checkPoses(arguments[2], arguments[3], arguments[4], std::atof(arguments[5]));
    } else if (argumentCount == 3 && std::strcmp(arguments[1], "bending") == 0) {
        good = checkBending(arguments[2]);
    } else {
        std::fprintf(
            stderr,
            "usage: check_sequences poses TRUTH SHIFT_LIST CONSOLE TOLERANCE | check_sequences bending FOLDER\n");
    }
    return good ? EXIT_SUCCESS : EXIT_FAILURE;
}
