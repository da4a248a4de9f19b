#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "benches.h"
#include "composite/composite.h"
#include "imageio/bmp_reader.h"
#include "imageio/bmp_writer.h"
#include "measure.h"
#include "plain/plain.h"
#include "scenes.h"
#include "state/run_state.h"

namespace {

constexpr int32_t width = 2000, height = 1500;
constexpr int runImages = 20;

void readWhole(const std::string& path, std::vector<char>& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    expectEqual(path, file != nullptr && std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size());
    std::fclose(file);
}

void writeWhole(const std::string& path, const std::vector<char>& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    expectEqual(path, file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
    std::fclose(file);
}

void benchPictureFiles(const std::string& folder, const Image& frame) {
    const std::string path = folder + "/frame.bmp";
    runSilently([&] { expectEqual(path, writeBmp(frame, path.c_str())); });
    std::vector<char> bytes(std::filesystem::file_size(path));
    Image loaded;
    compareToFloor(
        "reading a BMP file", [&] { readWhole(path, bytes); },
        [&] {
            releaseImage(loaded);
            runSilently([&] { expectEqual(path, readBmp(loaded, path.c_str()) == bmpLoaded); });
        });
    compareToFloor(
        "writing a BMP file", [&] { writeWhole(path, bytes); },
        [&] { runSilently([&] { expectEqual(path, writeBmp(frame, path.c_str())); }); });
    releaseImage(loaded);
}

void benchAccumulation(const Image& frame) {
    runState.reference = frame;
    allocateComposite();
    std::vector<CompositeSum> plainSums(countPixels(frame));
    compareTimes(
        "adding to the composite", [&] { plain::accumulateComposite(plainSums.data(), frame, frame); },
        [&] { accumulateComposite(frame); });
    releaseComposite();
}

// Every source and the reference read once, every result and the four composite files written once.
void moveBytes(const std::string& folder, std::vector<char>& picture) {
    const std::vector<char> channel(2880 + 2 * size_t{width} * height);
    readWhole(folder + "/frame0.bmp", picture);
    for (int i = 1; i <= runImages; ++i) {
        readWhole(folder + "/frame" + std::to_string(i) + ".bmp", picture);
        writeWhole(folder + "/out" + std::to_string(i) + ".bmp", picture);
    }
    for (const char* name : {"R", "V", "B"}) writeWhole(folder + "/sum" + name + ".fit", channel);
    writeWhole(folder + "/sum.bmp", picture);
}

void benchWholeRun(const std::string& folder, const std::string& program, const std::string& level) {
    for (int i = 0; i <= runImages; ++i) {
        Image frame = makePlanet(width, height, {0.0, i * 1.3 - 13.0, 9.0 - i}, static_cast<uint32_t>(i));
        const std::string path = folder + "/frame" + std::to_string(i) + ".bmp";
        runSilently([&] { expectEqual(path, writeBmp(frame, path.c_str())); });
        releaseImage(frame);
    }
    std::ofstream(folder + "/script.txt")
        << "Reference frame0.bmp\nTranslation 30\nCompositage sum\nSourcesbmp frame out 1 " << runImages << "\n";
    const std::string command = "cd '" + folder + "' && '" + program + "' " + level + " script.txt >/dev/null";
    std::vector<char> picture(std::filesystem::file_size(folder + "/frame0.bmp"));
    compareToFloor(
        "whole default run, 20 images", [&] { moveBytes(folder, picture); },
        [&] { expectEqual(command, std::system(command.c_str()) == 0); });
}

}  // namespace

void benchFiles(const char* program, const char* level) {
    const std::string path = std::filesystem::absolute(program).string();
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "quillorne-bench";
    std::filesystem::create_directory(folder);
    Image frame = makePlanet(width, height, {}, 2);
    benchAccumulation(frame);
    std::printf("\n%-52s %13s %13s %10s\n", "whole against bare reading and writing", "bare", "whole", "as long");
    benchPictureFiles(folder.string(), frame);
    benchWholeRun(folder.string(), path, level);
    releaseImage(frame);
    std::filesystem::remove_all(folder);
}
