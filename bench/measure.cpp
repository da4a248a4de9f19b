#include "measure.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

constexpr size_t fewestRounds = 3, mostRounds = 31;
constexpr double enoughSeconds = 2.0;

double timeOnce(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double findMedian(std::vector<double>& values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

// The medians of both, which take turns; one uncounted turn of the second warms up what they share.
std::pair<double, double> timeInTurns(const std::function<void()>& first, const std::function<void()>& second) {
    std::vector<double> firsts, seconds;
    double spent = 0.0;
    second();
    while (firsts.size() < fewestRounds || (spent < enoughSeconds && firsts.size() < mostRounds)) {
        firsts.push_back(timeOnce(first));
        seconds.push_back(timeOnce(second));
        spent += firsts.back() + seconds.back();
    }
    return {findMedian(firsts), findMedian(seconds)};
}

void printRow(const std::string& what, std::pair<double, double> medians, double ratio) {
    std::printf("%-52s %10.2f ms %10.2f ms %8.2f x\n", what.c_str(), medians.first * 1e3, medians.second * 1e3, ratio);
    std::fflush(stdout);
}

}  // namespace

void compareTimes(const std::string& what, const std::function<void()>& plain, const std::function<void()>& fast) {
    const auto medians = timeInTurns(plain, fast);
    printRow(what, medians, medians.first / medians.second);
}

void compareToFloor(const std::string& what, const std::function<void()>& floor, const std::function<void()>& work) {
    const auto medians = timeInTurns(floor, work);
    printRow(what, medians, medians.second / medians.first);
}

void expectEqual(const std::string& what, bool equal) {
    if (equal) return;
    std::printf("%s: the results differ\n", what.c_str());
    std::exit(1);
}

void runSilently(const std::function<void()>& work) {
    std::fflush(stdout);
    const int kept = dup(STDOUT_FILENO), away = open("/dev/null", O_WRONLY);
    dup2(away, STDOUT_FILENO);
    work();
    std::fflush(stdout);
    dup2(kept, STDOUT_FILENO);
    close(kept);
    close(away);
}
