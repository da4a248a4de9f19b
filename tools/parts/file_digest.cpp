#include "parts/file_digest.h"

extern "C" {
#include <libavutil/hash.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr long bytesPerRead = 1 << 20;

// 128 bits at the speed of memory: fifteen times that of SHA-256, which a part of 48 megabytes would feel.
constexpr char algorithm[] = "murmur3";

struct HashDeleter {
    void operator()(AVHashContext* context) const { av_hash_freep(&context); }
};
struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

std::string digestFile(const std::string& path, long byteCount) {
    AVHashContext* allocated = nullptr;
    if (av_hash_alloc(&allocated, algorithm) < 0) return {};
    const std::unique_ptr<AVHashContext, HashDeleter> hash(allocated);
    const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr) return {};
    av_hash_init(hash.get());
    std::vector<uint8_t> buffer(bytesPerRead);
    for (long left = byteCount; left != 0;) {
        const long wanted = left < 0 ? bytesPerRead : std::min(left, bytesPerRead);
        const size_t got = std::fread(buffer.data(), 1, static_cast<size_t>(wanted), file.get());
        av_hash_update(hash.get(), buffer.data(), got);
        if (left > 0) left -= static_cast<long>(got);
        if (got == static_cast<size_t>(wanted)) continue;
        if (left > 0 || std::ferror(file.get()) != 0) return {};
        break;
    }
    std::array<uint8_t, 2 * AV_HASH_MAX_SIZE + 1> text{};
    av_hash_final_hex(hash.get(), text.data(), static_cast<int>(text.size()));
    return reinterpret_cast<const char*>(text.data());
}
