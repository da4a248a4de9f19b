#pragma once

#include <cstdint>

#include "align/global/rotation_search.h"

// The steps of a run, in the order in which the driver takes them. All work on the run state.

/// Sets what must not end a run that nobody watches: short memory becomes a fatal error, a reader of the console that
/// went away and a file that may grow no further become failed writes.
void prepareProcess();

/// Takes the script's path. One that is too long ends the run.
void setScriptPath(const char* path);

void printBanner();

/// Loads the reference and sets its origin: given in the script, else the middle. Without one the run ends.
void loadReference();

/// The global alignment of the current image: searches, appends the line to the shift list and replaces the current
/// image by its aligned copy.
GlobalMatch alignGlobally();

/// What became of one image. One that cannot be opened is skipped; match is then empty.
struct ImageOutcome {
    bool opened, written;
    GlobalMatch match;
};

/// One entry of the image list from its source to its result and into the composite.
ImageOutcome processImage(int32_t entry);

/// Releases the images and names that the run state owns.
void releaseRunState();

/// The closing lines; start is the processor time at which the run began.
void printEnd(uint32_t start);
