#include <cstdio>
#include <string_view>

#include "composite/composite.h"
#include "core/vector_level.h"
#include "imageio/bmp_reader.h"
#include "imageio/bmp_writer.h"
#include "plain/plain.h"
#include "run/driver.h"
#include "run/steps.h"
#include "script/script_reader.h"

namespace {

void replaceCurrent(const Image& image) {
    releaseImage(runState.current);
    runState.current = image;
}

// Pictures and composite of a run by the definitions, without console and shift list.
void runByDefinition(const char* script) {
    RunState& run = runState;
    setScriptPath(script);
    readScript();
    loadReference();
    if (run.compositeName != nullptr) allocateComposite();
    for (int32_t entry = 1; entry <= run.imageCount; ++entry) {
        if (readBmp(run.current, run.sourceNames[entry]) != bmpLoaded) continue;
        run.current.originX = run.entryOriginXGiven[entry] != 0 ? run.entryOriginX[entry] : run.reference.originX;
        run.current.originY = run.entryOriginYGiven[entry] != 0 ? run.entryOriginY[entry] : run.reference.originY;
        const auto search = searchesAngles() ? plain::findRotationAndTranslation : plain::findTranslation;
        const auto [angle, shift] = search(run);
        replaceCurrent(
            plain::makeAlignedImage(run.current, angle, static_cast<float>(shift.x), static_cast<float>(shift.y)));
        if (run.blockGridWidth > 0) replaceCurrent(plain::alignBlocks(run));
        (void)writeBmp(run.current, run.resultNames[entry]);
        if (run.compositeName != nullptr) plain::accumulateComposite(run.compositeSum, run.reference, run.current);
        releaseImage(run.current);
    }
    if (run.compositeName != nullptr) writeComposite();
    releaseRunState();
}

}  // namespace

// quillorne_at_level LEVEL SCRIPT: the program at that level of vector instructions, or by "definition". Without
// arguments: names the levels that there are.
int main(int argumentCount, char** arguments) {
    for (const VectorLevel level : listVectorLevels()) {
        if (argumentCount < 3) std::puts(nameOf(level));
        if (argumentCount == 3 && std::string_view(arguments[1]) == nameOf(level)) {
            setVectorLevel(level);
            return runBatch(2, arguments + 1);
        }
    }
    if (argumentCount < 3) return 0;
    if (std::string_view(arguments[1]) != "definition") return 1;
    runByDefinition(arguments[2]);
    return 0;
}
