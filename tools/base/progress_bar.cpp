#include "base/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "base/messages.h"

namespace {

constexpr auto printInterval = std::chrono::milliseconds(200);

}  // namespace

ProgressBar startProgress(const std::string& label, int64_t total) {
    const auto now = std::chrono::steady_clock::now();
    return {.label = label, .total = total, .shown = isatty(STDERR_FILENO) == 1, .start = now, .lastPrint = now};
}

void stepProgress(ProgressBar& bar) {
    ++bar.done;
    const auto now = std::chrono::steady_clock::now();
    if (!bar.shown || now - bar.lastPrint < printInterval) return;
    bar.lastPrint = now;
    const double seconds = std::chrono::duration<double>(now - bar.start).count();
    const double rate = static_cast<double>(bar.done) / seconds;
    const double left = static_cast<double>(std::max<int64_t>(bar.total - bar.done, 0)) / rate;
    std::fputc('\r', stderr);
    std::fprintf(stderr, tr("%s: %lld of %lld, %.1f a second, %.0f s left"), bar.label.c_str(),
                 static_cast<long long>(bar.done), static_cast<long long>(bar.total), rate, left);
    std::fputs("\033[K", stderr);
    std::fflush(stderr);
}

void endProgress(ProgressBar& bar) {
    if (bar.shown) std::fputs("\r\033[K", stderr);
}
