#pragma once

#include <cstdint>
#include <cstdio>

#include "imageio/composite_sum.h"
#include "imageio/image.h"

/// Entries of the image list; entry 0 is never used, so it holds one image less.
constexpr int32_t imageListSize = 30000;

/// 3.141592654 / 180.
constexpr double radiansPerDegree = 0.017453292522222223;

/// All state of a run. There is one instance, all zero when the program starts. Angles are radians, shifts, sizes and
/// origins pixels, flags 0 or 1. The names are arrays that the record owns; each pixel array belongs to its image.
struct RunState {
    float angleMin, angleMax;  // range of the angle search
    float angleResolution;
    int32_t shiftMinX, shiftMaxX, shiftMinY, shiftMaxY;  // bounds of the global shift, both included
    int32_t shiftStep;
    int32_t blockGridWidth;    // spacing of the blocks; 0 or less: no local stage
    int32_t blockSearchWidth;  // half-size S of a block of 2S + 1 pixels square
    int32_t blockShiftMinX, blockShiftMaxX, blockShiftMinY, blockShiftMaxY;
    float blockShiftStep;
    int32_t freeOutputSize;       // set and reported, changes no output
    int32_t noWaitAtEnd;          // 1: the run ends without waiting for a key
    int32_t translationFraction;  // divisor N: the translation search compares 1/N of the image in each direction
    char scriptPath[512];

    // The image list: entries 1 to imageCount in the order of the script.
    char* sourceNames[imageListSize];
    char* resultNames[imageListSize];
    char* referenceName;  // null: none given
    char* compositeName;  // null: no composite wanted
    int32_t imageCount;
    int32_t referenceOriginX, referenceOriginY;
    int32_t referenceOriginXGiven, referenceOriginYGiven;
    int32_t entryOriginX[imageListSize], entryOriginY[imageListSize];
    int32_t entryOriginXGiven[imageListSize], entryOriginYGiven[imageListSize];

    std::FILE* shiftList;  // the open "shift.lst"
    Image reference;
    Image current;               // the image being processed; every stage leaves its result here
    Image composite;             // the averaged picture, built at the end of the run
    CompositeSum* compositeSum;  // one record a reference pixel; null: no composite
    Image referenceGradient;     // the reference's gradient image, made when the local stage first needs it
    int32_t outputFailed;        // 1: a file could not be written whole
};

extern RunState runState;
