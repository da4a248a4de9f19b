#include <array>
#include <cstdlib>
#include <sstream>
#include <string>

#include "harness.h"
#include "imageio/bmp_writer.h"
#include "run/driver.h"

namespace {

std::span<const uint8_t> unread;

// The next byte, 0 behind the last.
uint8_t takeByte() {
    if (unread.empty()) return 0;
    const uint8_t byte = unread.front();
    unread = unread.subspan(1);
    return byte;
}

int takeBelow(int limit) {
    return takeByte() % limit;
}

int takeSigned() {
    return static_cast<int8_t>(takeByte());
}

void addOrigin(std::ostream& script) {
    if (takeBelow(2) != 0) script << " " << takeSigned() << " " << takeSigned();
    script << "\n";
}

// Every command, its numbers small enough for a short run.
std::string takeScript() {
    constexpr std::array blockSteps = {"1", "2", "0.5", "0.3", "1.5", "0.25", "3", "1e30"};
    std::ostringstream script;
    script << "Reference 0.bmp";
    addOrigin(script);
    if (takeBelow(2) != 0) {
        const double min = takeSigned() / 16.0, max = min + takeByte() / 64.0;
        script << "Angle " << min << " " << max << " " << takeByte() / 100.0 << "\n";
    }
    script << "Translation " << takeBelow(16) << " " << takeBelow(8) - 1 << "\n";
    script << "OptiTranslation " << takeBelow(8) << "\n";
    if (takeBelow(2) != 0) {
        script << "Bloc " << takeBelow(16) + 3 << " " << takeSigned() % 6 << " " << takeSigned() % 5 << " "
               << blockSteps[takeByte() % 8] << "\n";
    }
    if (takeBelow(2) != 0) script << "Compositage sum\n";
    for (const char* names : {"1.bmp 1out.bmp", "2.bmp 2out.bmp"}) {
        script << "Source " << names;
        addOrigin(script);
    }
    return script.str();
}

// All bytes of the input are the texture that every picture shows, each from another start on: there is something to
// find.
void writePicture(const char* path, std::span<const uint8_t> texture) {
    const int width = takeBelow(41), height = takeBelow(41), start = takeByte();
    Image image = makeImage(width, height);
    for (int y = 0; y < height && !texture.empty(); ++y) {
        for (int x = 0; x < width; ++x) {
            const auto at = static_cast<size_t>(start + x + 23 * y), n = texture.size();
            rowOf(image, y)[x] = {texture[at % n], texture[(at + 1) % n], texture[(at + 7) % n], 255};
        }
    }
    if (!writeBmp(image, path)) std::abort();
    releaseImage(image);
}

}  // namespace

// Any bytes as the settings and the pictures of a whole run.
void runInput(std::span<const uint8_t> input) {
    unread = input;
    const std::string script = takeScript();
    writeInput("script.txt", {reinterpret_cast<const uint8_t*>(script.data()), script.size()});
    for (const char* path : {"0.bmp", "1.bmp", "2.bmp"}) writePicture(path, input);
    resetRunState();
    char program[] = "quillorne", path[] = "script.txt";
    std::array arguments = {program, path};
    if (runBatch(2, arguments.data()) != 0) std::abort();
}
