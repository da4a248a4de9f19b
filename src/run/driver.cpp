#include "run/driver.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "composite/composite.h"
#include "core/processor_time.h"
#include "run/shift_list.h"
#include "run/steps.h"
#include "script/script_reader.h"
#include "state/run_state.h"

namespace {

// Only where it is no script: any other word is a script's path.
bool asksFor(const char* option, int argumentCount, char** arguments) {
    if (argumentCount != 2 || std::strcmp(arguments[1], option) != 0) return false;
    std::error_code ignored;
    return !std::filesystem::exists(option, ignored);
}

void printUsage() {
    std::printf(
        "Usage : quillorne [SCRIPT]\n"
        "Aligne et additionne les images BMP que nomme le script ; sans argument, ScriptQuillorne2.txt.\n"
        "  --help     affiche cette aide\n"
        "  --version  affiche la version\n"
        "Le langage des scripts : man quillorne\n");
}

void readCommandLine(int argumentCount, char** arguments) {
    setScriptPath(argumentCount < 2 ? "ScriptQuillorne2.txt" : arguments[1]);
    runState.noWaitAtEnd = argumentCount < 2 ? 0 : 1;
    if (argumentCount > 2) {
        std::printf("Trop de fichiers : seul le premier fichier pourra \x90tre traite\n");
        std::printf("Veuillez faire un script pour lancer plusieurs fois Quillorne\n");
    }
}

}  // namespace

int runBatch(int argumentCount, char** arguments) {
    prepareProcess();
    if (asksFor("--help", argumentCount, arguments)) {
        printUsage();
        return 0;
    }
    if (asksFor("--version", argumentCount, arguments)) {
        std::printf("quillorne %s\n", QUILLORNE_VERSION);
        return 0;
    }
    readCommandLine(argumentCount, arguments);
    printBanner();
    const uint32_t start = readProcessorSeconds();
    readScript();
    loadReference();
    if (runState.compositeName != nullptr) allocateComposite();
    openShiftList();
    for (int32_t entry = 1; entry <= runState.imageCount; ++entry) processImage(entry);
    closeShiftList();
    if (runState.compositeName != nullptr) {
        writeComposite();
        releaseComposite();
    }
    releaseRunState();
    printEnd(start);
    if (runState.noWaitAtEnd == 0) {
        std::printf("Appuyez sur entree pour quitter\n");
        std::fflush(stdout);
        std::getchar();
    }
    return runState.outputFailed;
}
