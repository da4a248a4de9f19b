#include "script/script_reader.h"

#include <cstdio>
#include <cstring>

#include "core/fatal_error.h"
#include "imageio/input_file.h"
#include "script/script_commands.h"
#include "script/script_tokens.h"
#include "state/run_state.h"

namespace {

constexpr int lineBufferSize = 1000;  // a longer line is read in pieces, each a line of its own

void setDefaults() {
    runState.imageCount = 0;
    runState.referenceName = nullptr;
    runState.angleMin = runState.angleMax = 0.0f;
    runState.angleResolution = 1.0f;  // radians
    runState.shiftMinX = runState.shiftMaxX = runState.shiftMinY = runState.shiftMaxY = 0;
    runState.shiftStep = 1;
    runState.blockGridWidth = runState.blockSearchWidth = 0;
    runState.blockShiftMinX = runState.blockShiftMaxX = runState.blockShiftMinY = runState.blockShiftMaxY = 0;
    runState.blockShiftStep = 1.0f;
    runState.freeOutputSize = 1;
    runState.translationFraction = 6;
}

}  // namespace

void readScript() {
    std::printf("Lecture des parametres\n");
    setDefaults();
    std::FILE* script = openInputFile(runState.scriptPath);
    if (script == nullptr) {
        std::printf("Impossible d'ouvrir le fichier %s\n", runState.scriptPath);
        fatalError();
    }
    std::printf("\nFichier de script : %s\n\n\n", runState.scriptPath);
    char line[lineBufferSize];
    for (int32_t lineNumber = 1; std::fgets(line, lineBufferSize, script) != nullptr; ++lineNumber) {
        const char* word = takeCommandWord(line);
        // The last word of a line keeps the line end, so a blank line yields the line end alone.
        if (word == nullptr || std::strcmp(word, "\n") == 0) continue;
        if (!carryOutCommand(word, lineNumber)) std::printf("*********** Commande inconnue ligne %i\n", lineNumber);
    }
    std::fclose(script);
}
