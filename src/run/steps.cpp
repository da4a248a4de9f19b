#include "run/steps.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "align/blocks/block_alignment.h"
#include "align/global/resampling.h"
#include "align/global/translation_search.h"
#include "composite/composite.h"
#include "core/fatal_error.h"
#include "core/platform.h"
#include "core/processor_time.h"
#include "imageio/bmp_reader.h"
#include "imageio/bmp_writer.h"
#include "run/shift_list.h"
#include "state/run_state.h"

void prepareProcess() {
    std::set_new_handler(stopForMemory);
    preparePlatform();
}

void setScriptPath(const char* path) {
    if (std::strlen(path) >= sizeof runState.scriptPath) {
        std::printf("Erreur : chemin du script trop long (511 caracteres au plus)\n");
        fatalError();
    }
    std::strcpy(runState.scriptPath, path);
}

void printBanner() {
    std::printf("**************************************\n");
    std::printf("****        Quillorne v2.1        ****\n");
    std::printf("****      L'equipe Quillorne      ****\n");
    std::printf("****        24 Avril 2002         ****\n");
    std::printf("**************************************\n");
    std::printf("****        Portage Linux         ****\n");
    std::printf("****        voir README.md        ****\n");
    std::printf("**************************************\n\n");
}

void loadReference() {
    if (runState.referenceName == nullptr) {
        std::printf("Erreur : pas d'image de reference\n");
        fatalError();
    }
    Image& reference = runState.reference;
    if (readBmp(reference, runState.referenceName) != bmpLoaded) fatalError();
    reference.originX = runState.referenceOriginXGiven == 1 ? runState.referenceOriginX : reference.width / 2;
    reference.originY = runState.referenceOriginYGiven == 1 ? runState.referenceOriginY : reference.height / 2;
}

GlobalMatch alignGlobally() {
    const ShiftRange range = {.minX = runState.shiftMinX,
                              .maxX = runState.shiftMaxX,
                              .minY = runState.shiftMinY,
                              .maxY = runState.shiftMaxY,
                              .step = runState.shiftStep};
    const GlobalMatch match = searchesAngles() ? searchRotationAndTranslation(range) : searchTranslation(range);
    appendToShiftList(match);
    Image& current = runState.current;
    const Image aligned = makeAlignedImage(current, match.pose.angle, static_cast<float>(match.pose.shiftX),
                                           static_cast<float>(match.pose.shiftY));
    releaseImage(current);
    current = aligned;
    return match;
}

ImageOutcome processImage(int32_t entry) {
    std::printf("\n**************************************************\n");
    std::printf("Traitement de l'image %i (%s)\n", entry, runState.sourceNames[entry]);
    Image& current = runState.current;
    if (readBmp(current, runState.sourceNames[entry]) != bmpLoaded) return {};
    const uint32_t start = readProcessorSeconds();
    // The reference's origin by default, not the centre of this image.
    current.originX =
        runState.entryOriginXGiven[entry] != 0 ? runState.entryOriginX[entry] : runState.reference.originX;
    current.originY =
        runState.entryOriginYGiven[entry] != 0 ? runState.entryOriginY[entry] : runState.reference.originY;
    ImageOutcome outcome = {.opened = true, .written = false, .match = alignGlobally()};
    if (runState.blockGridWidth > 0) alignBlocks();
    std::printf("Temps total de calcul pour l'image: %u secondes\n", readProcessorSeconds() - start);
    outcome.written = writeBmp(current, runState.resultNames[entry]);
    if (!outcome.written) runState.outputFailed = 1;
    if (runState.compositeName != nullptr) accumulateComposite(current);
    releaseImage(current);
    std::fflush(stdout);  // a run that is killed keeps the console of its finished images
    return outcome;
}

void releaseRunState() {
    releaseImage(runState.reference);
    releaseImage(runState.referenceGradient);
    delete[] runState.referenceName;
    delete[] runState.compositeName;
    for (int32_t entry = 0; entry < imageListSize; ++entry) {
        delete[] runState.sourceNames[entry];
        delete[] runState.resultNames[entry];
    }
}

void printEnd(uint32_t start) {
    std::printf("\nTemps pour l'ensemble du calcul: %u secondes\n", readProcessorSeconds() - start);
    std::printf("Fin de l'execution de Quillorne\n");
}
