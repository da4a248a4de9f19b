#include "run/driver.h"

int main(int argumentCount, char** arguments) {
    return runBatch(argumentCount, arguments);
}
