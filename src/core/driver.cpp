#include "core/driver.h"

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

#include "align/blocks/block_alignment.h"
#include "align/global/rotation_search.h"
#include "align/global/translation_search.h"
#include "composite/composite.h"
#include "core/fatal_error.h"
#include "core/processor_time.h"
#include "core/run_state.h"
#include "imageio/bmp_reader.h"
#include "imageio/bmp_writer.h"
#include "imageio/output_file.h"
#include "script/script_reader.h"

namespace {

constexpr char shiftListName[] = "shift.lst";

// What must not end a run that nobody watches: a reader of the console that went away, a file that may grow no further.
// Both then fail as an ordinary write.
void prepareProcess() {
    std::set_new_handler(stopForMemory);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // A run started with its standard streams closed would open its pictures under their numbers, 0 to 2, and print
    // into them: those numbers are taken first.
    std::FILE* file = std::fopen("/dev/null", "r+");
    while (file != nullptr && fileno(file) <= 2) file = std::fopen("/dev/null", "r+");
    if (file != nullptr) std::fclose(file);
}

void readCommandLine(int argumentCount, char** arguments) {
    const char* path = argumentCount < 2 ? "ScriptQuillorne2.txt" : arguments[1];
    if (std::strlen(path) >= sizeof runState.scriptPath) {
        std::printf("Erreur : chemin du script trop long (511 caracteres au plus)\n");
        fatalError();
    }
    std::strcpy(runState.scriptPath, path);
    runState.noWaitAtEnd = argumentCount < 2 ? 0 : 1;
    if (argumentCount > 2) {
        std::printf("Trop de fichiers : seul le premier fichier pourra \x90tre traite\n");
        std::printf("Veuillez faire un script pour lancer plusieurs fois Quillorne\n");
    }
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

void openShiftList() {
    runState.shiftList = createOutputFile(shiftListName);
    if (runState.shiftList == nullptr) {
        std::printf("Erreur : impossible de creer le fichier %s\n", shiftListName);
        fatalError();
    }
}

// A list that lacks lines is said to, but the lines that it has stay.
void closeShiftList() {
    const bool failed = std::ferror(runState.shiftList) != 0;
    if (std::fclose(runState.shiftList) == 0 && !failed) return;
    std::printf("Erreur : impossible d'ecrire le fichier %s\n", shiftListName);
    runState.outputFailed = 1;
}

void processImage(int32_t entry) {
    std::printf("\n**************************************************\n");
    std::printf("Traitement de l'image %i (%s)\n", entry, runState.sourceNames[entry]);
    Image& current = runState.current;
    if (readBmp(current, runState.sourceNames[entry]) != bmpLoaded) return;
    const uint32_t start = readProcessorSeconds();
    // The reference's origin by default, not the centre of this image.
    current.originX =
        runState.entryOriginXGiven[entry] != 0 ? runState.entryOriginX[entry] : runState.reference.originX;
    current.originY =
        runState.entryOriginYGiven[entry] != 0 ? runState.entryOriginY[entry] : runState.reference.originY;
    if (runState.angleMin != runState.angleMax) {
        searchRotationAndTranslation();
    } else {
        searchTranslation();
    }
    if (runState.blockGridWidth > 0) alignBlocks();
    std::printf("Temps total de calcul pour l'image: %u secondes\n", readProcessorSeconds() - start);
    if (!writeBmp(current, runState.resultNames[entry])) runState.outputFailed = 1;
    if (runState.compositeName != nullptr) accumulateComposite(current);
    releaseImage(current);
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

}  // namespace

int runBatch(int argumentCount, char** arguments) {
    prepareProcess();
    readCommandLine(argumentCount, arguments);
    printBanner();
    const uint32_t start = readProcessorSeconds();
    readScript();
    loadReference();
    if (runState.compositeName != nullptr) allocateComposite();
    openShiftList();
    for (int32_t entry = 1; entry <= runState.imageCount; ++entry) processImage(entry);
    closeShiftList();
    if (runState.compositeName != nullptr) writeComposite();
    releaseRunState();
    std::printf("\nTemps pour l'ensemble du calcul: %u secondes\n", readProcessorSeconds() - start);
    std::printf("Fin de l'execution de Quillorne\n");
    if (runState.noWaitAtEnd == 0) {
        std::printf("Appuyez sur entree pour quitter\n");
        std::fflush(stdout);
        std::getchar();
    }
    return runState.outputFailed;
}
