#include "core/fatal_error.h"

#include <cstdio>
#include <cstdlib>

void fatalError() {
    std::printf("Erreur fatale, appuyez sur entree.\n");
    std::printf("Fatal error. Press return.\n");
    std::fflush(stdout);
    std::getchar();
    std::abort();
}

void stopForMemory() {
    std::printf("Erreur : pas assez de memoire \n");
    fatalError();
}
