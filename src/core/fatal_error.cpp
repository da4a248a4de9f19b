#include "core/fatal_error.h"

#include <cstdio>

#include "core/platform.h"

void fatalError() {
    std::printf("Erreur fatale, appuyez sur entree.\n");
    std::printf("Fatal error. Press return.\n");
    std::fflush(stdout);
    std::getchar();
    endAbnormally();
}

void stopForMemory() {
    std::printf("Erreur : pas assez de memoire \n");
    fatalError();
}
