#include "parts/part_seal.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "base/format_text.h"
#include "parts/file_digest.h"

namespace {

constexpr long blockSize = 2880;

// The whole extension is known from the digest, so that not one of its bytes may differ.
std::string makeSeal(const std::string& digest) {
    std::string seal;
    for (const std::string& card :
         {std::string("XTENSION= 'IMAGE   '"), std::string("BITPIX  =                    8"),
          std::string("NAXIS   =                    0"), std::string("PCOUNT  =                    0"),
          std::string("GCOUNT  =                    1"), std::string("EXTNAME = 'DIGEST  '"),
          "DIGEST  = '" + digest + "' / murmur3 of all bytes before", std::string("END")}) {
        seal += formatText("%-80s", card.c_str());
    }
    seal.resize(blockSize, ' ');
    return seal;
}

}  // namespace

bool sealFile(const std::string& path) {
    const std::string digest = digestFile(path);
    if (digest.empty()) return false;
    std::FILE* file = std::fopen(path.c_str(), "ab");
    if (file == nullptr) return false;
    const std::string seal = makeSeal(digest);
    const bool written = std::fwrite(seal.data(), 1, seal.size(), file) == seal.size() && std::fflush(file) == 0 &&
                         fsync(fileno(file)) == 0;
    return std::fclose(file) == 0 && written;
}

bool isSealed(const std::string& path) {
    std::error_code missing;
    const auto size = static_cast<long>(std::filesystem::file_size(path, missing));
    if (missing || size % blockSize != 0 || size <= blockSize) return false;
    std::ifstream file(path, std::ios::binary);
    file.seekg(size - blockSize);
    const std::string seal(std::istreambuf_iterator<char>(file), {});
    const std::string digest = digestFile(path, size - blockSize);
    return !digest.empty() && seal == makeSeal(digest);
}
