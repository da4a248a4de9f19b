#include "parts/replay.h"

#include <algorithm>

#include "base/messages.h"
#include "composite/composite.h"
#include "core/processor_time.h"
#include "parts/run_report.h"
#include "run/shift_list.h"
#include "run/steps.h"
#include "script/script_reader.h"
#include "state/run_state.h"

uint32_t openRun(const std::string& script) {
    setScriptPath(script.c_str());
    runState.noWaitAtEnd = 1;
    printBanner();
    const uint32_t start = readProcessorSeconds();
    readScript();
    loadReference();
    return start;
}

void replayImages(const std::vector<ImageRecord>& records) {
    for (const ImageRecord& record : records) {
        std::fwrite(record.console.data(), 1, record.console.size(), stdout);
        std::fwrite(record.shiftLine.data(), 1, record.shiftLine.size(), runState.shiftList);
    }
}

void closeRun(uint32_t start, const RunIdentity& identity, const std::vector<ImageRecord>& records, std::FILE* report) {
    runState.outputFailed = 0;  // from here on, of what is written last
    closeShiftList();
    if (runState.compositeName != nullptr) {
        writeComposite();
        const auto summed = std::count_if(records.begin(), records.end(), [](const auto& r) { return r.facts.opened; });
        const std::string problem =
            writeSums(compositeBaseName() + ".sums.fit", identity, static_cast<int32_t>(summed), runState.compositeSum);
        if (!problem.empty()) printError("%s", problem.c_str());
        if (!problem.empty()) runState.outputFailed = 1;
    }
    printEnd(start);
    if (runState.outputFailed != 0) reportLine(report, reportCompositeFailed, "");
    reportImages(records, report);
}

void reportImages(const std::vector<ImageRecord>& records, std::FILE* report) {
    reportLine(report, reportImageCount, std::to_string(runState.imageCount).c_str());
    reportLine(report, reportFinishedCount, std::to_string(records.size()).c_str());
    for (const ImageRecord& record : records) {
        const ImageFacts& facts = record.facts;
        const char* name = runState.sourceNames[facts.entry];
        if (!facts.opened) reportLine(report, reportNotOpened, name);
        if (facts.opened && !facts.written) reportLine(report, reportNotWritten, name);
        if (facts.onLimit) reportLine(report, reportOnLimit, name);
    }
    reportLine(report, reportEnd, "");
}
