#pragma once

/// Every kernel at every level of vector instructions that this processor has: nanoseconds of processor time a pixel.
void benchKernels();

/// The global searches and the aligned copy, for planet and star field, 640 x 480 and 2000 x 1500.
void benchSearches();

/// The local stage: matching all blocks, bending the image.
void benchBlocks();

/// Pictures to and from files, the composite, and a whole run of the program against the time of merely reading its
/// sources and writing its results. The program's first argument is the level.
void benchFiles(const char* program, const char* level);

/// Whole runs at settings of all kinds, on planet and stars: seconds of processor time an image, reading and writing
/// included. The program's first argument is the level.
void benchSettings(const char* program, const char* level);
