#include "parts/run_report.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "base/messages.h"

namespace {

constexpr size_t namesShown = 20;

void printNames(const char* heading, const std::vector<std::string>& names) {
    if (names.empty()) return;
    std::printf(heading, static_cast<int>(names.size()));
    std::printf("\n");
    for (size_t i = 0; i < std::min(names.size(), namesShown); ++i) std::printf("  %s\n", names[i].c_str());
    if (names.size() > namesShown) {
        std::printf(tr("  and %i more, which the log names"), static_cast<int>(names.size() - namesShown));
        std::printf("\n");
    }
}

}  // namespace

void reportLine(std::FILE* report, char letter, const char* text) {
    std::fprintf(report, "%c%s\n", letter, text);
}

void readReport(const std::string& report, RunSummary& summary) {
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
        const std::string text = line.substr(1);
        if (line[0] == reportImageCount) summary.images = std::atoi(text.c_str());
        if (line[0] == reportFinishedCount) summary.finished = std::atoi(text.c_str());
        if (line[0] == reportNotOpened) summary.notOpened.push_back(text);
        if (line[0] == reportNotWritten) summary.notWritten.push_back(text);
        if (line[0] == reportOnLimit) summary.onLimit.push_back(text);
        if (line[0] == reportCompositeFailed) summary.compositeFailed = true;
        if (line[0] == reportEnd) summary.isWhole = true;
    }
}

int judgeRun(const RunSummary& summary) {
    const bool allUsed = summary.finished == summary.images && summary.isWhole && summary.notOpened.empty() &&
                         summary.notWritten.empty() && summary.onLimit.empty() && !summary.compositeFailed;
    return allUsed ? 0 : 1;
}

void printRunSummary(const RunSummary& summary) {
    const auto leftOut = static_cast<int>(summary.notOpened.size());
    std::printf(tr("%i of %i images used."), summary.finished - leftOut, summary.images);
    std::printf("\n");
    printNames(tr("%i not opened, and so left out:"), summary.notOpened);
    printNames(tr("%i whose aligned picture could not be written:"), summary.notWritten);
    printNames(tr("%i whose best shift lies on the limit, so probably wrong; allow larger shifts:"), summary.onLimit);
    if (summary.compositeFailed) {
        std::printf("%s\n", tr("The composite or the shift list could not be written whole."));
    }
    if (!summary.isWhole) std::printf("%s\n", tr("Memory was too short to keep account: look at the results."));
    if (summary.log.empty()) return;
    std::printf(tr("All that the program said is in %s."), summary.log.c_str());
    std::printf("\n");
}
