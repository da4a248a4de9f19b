#include <algorithm>
#include <cstring>

#include "harness.h"
#include "script/script_reader.h"
#include "state/run_state.h"

// Any bytes as a script: every line is read and echoed, nothing is opened.
void runInput(std::span<const uint8_t> input) {
    for (int32_t n = 1; n <= std::min(runState.imageCount + 1, imageListSize - 1); ++n) {  // of the input before
        delete[] runState.sourceNames[n];
        delete[] runState.resultNames[n];
    }
    delete[] runState.referenceName;
    delete[] runState.compositeName;
    resetRunState();
    writeInput("script.txt", input);
    std::strcpy(runState.scriptPath, "script.txt");
    readScript();
}
