#include <sys/resource.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "benches.h"
#include "core/vector_level.h"
#include "imageio/bmp_writer.h"
#include "measure.h"
#include "scenes.h"

namespace {

constexpr int32_t width = 2000, height = 1500, images = 3;

// A sweep, so that no cliff hides between the settings that were thought of.
constexpr std::array settings = {
    "",
    "OptiTranslation 3\n",
    "OptiTranslation 1\n",
    "Angle -2 2 0.1\n",
    "Angle -2 2 0.1\nTranslation 100\n",
    "Angle -5 5 0.02\n",
    "Bloc 16 8 4 1\n",
    "Bloc 16 8 4 2\n",
    "Bloc 16 20 10 1\n",
    "Bloc 16 8 4 0.5\n",
    "Bloc 16 8 4 0.25\n",
    "Bloc 16 8 4 0.375\n",
    "Bloc 16 8 4 0.4\n",
    "Bloc 16 8 4 0.3\n",
    "Bloc 16 8 4 0.2\n",
    "Bloc 26 8 4 0.15\n",
    "Bloc 26 8 4 0.1\n",
    "Bloc 26 8 4 0.33\n",
};

double readChildrenSeconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

// Frame 0 is the reference; the others drift, and turn where angles are searched.
void writeFrames(bool planet, bool turned) {
    for (int i = 0; i <= images; ++i) {
        const FramePose pose = {turned ? 0.005 * i : 0.0, 3.0 * i - 4.0, 7.0 - 2.0 * i};
        Image frame = (planet ? makePlanet : makeStarField)(width, height, pose, static_cast<uint32_t>(10 + i));
        const std::string path =
            std::string(planet ? "planet" : "stars") + (turned ? "_turned" : "_") + std::to_string(i) + ".bmp";
        runSilently([&] { expectEqual(path, writeBmp(frame, path.c_str())); });
        releaseImage(frame);
    }
}

double timeRun(const std::string& program, const char* level, bool planet, const std::string& setting) {
    const bool turned = setting.starts_with("Angle");
    const std::string name = std::string(planet ? "planet" : "stars") + (turned ? "_turned" : "_");
    std::ofstream("script.txt") << "Reference " << name << "0.bmp\nTranslation 30\n"
                                << setting << "Sourcesbmp " << name << " out 1 " << images << "\n";
    const std::string command = "'" + program + "' " + level + " script.txt >/dev/null";
    const double start = readChildrenSeconds();
    expectEqual(command, std::system(command.c_str()) == 0);
    return (readChildrenSeconds() - start) / images;
}

}  // namespace

void benchSettings(const char* program, const char* level) {
    const std::string path = std::filesystem::absolute(program).string();
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "quillorne-settings";
    std::filesystem::create_directory(folder);
    std::filesystem::current_path(folder);
    for (const bool planet : {true, false}) {
        for (const bool turned : {true, false}) writeFrames(planet, turned);
    }
    std::printf("\nwhole runs, %i x %i, Translation 30, level %s: seconds of processor time an image\n", width, height,
                level);
    std::printf("%-52s %13s %13s\n", "", "planet", "stars");
    for (const char* setting : settings) {
        std::string what = *setting == '\0' ? "default" : setting;
        for (char& letter : what) letter = letter == '\n' ? ' ' : letter;
        std::printf("%-52s %13.3f %13.3f\n", what.c_str(), timeRun(path, level, true, setting),
                    timeRun(path, level, false, setting));
        std::fflush(stdout);
    }
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
}
