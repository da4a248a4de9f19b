#include "composite/composite.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <string>

#include "composite/row_accumulation.h"
#include "core/fatal_error.h"
#include "imageio/bmp_writer.h"
#include "imageio/fits_writer.h"
#include "state/run_state.h"

namespace {

// The mean of a sum by the single-precision reciprocal of the number of images, truncated. Of an exact mean the product
// may fall just short: 41 images of 255 give 254.
uint8_t computeMean(uint32_t sum, float reciprocal) {
    return static_cast<uint8_t>(static_cast<int32_t>(static_cast<float>(sum) * reciprocal));
}

Image makeMeanImage() {
    const Image& reference = runState.reference;
    Image mean = makeUnfilledImage(reference.width, reference.height);
    mean.originX = reference.originX;
    mean.originY = reference.originY;
    const float reciprocal = runState.imageCount == 0 ? 0.0f : 1.0f / static_cast<float>(runState.imageCount);
    for (size_t i = 0; i < countPixels(mean); ++i) {
        const CompositeSum& sum = runState.compositeSum[i];
        mean.pixels[i] = {computeMean(sum.sumBlue, reciprocal), computeMean(sum.sumGreen, reciprocal),
                          computeMean(sum.sumRed, reciprocal), 255};
    }
    return mean;
}

}  // namespace

void allocateComposite() {
    runState.compositeSum = new (std::nothrow) CompositeSum[countPixels(runState.reference)]();
    if (runState.compositeSum == nullptr) stopForMemory();
}

void accumulateComposite(const Image& aligned) {
    const Image& reference = runState.reference;
    const int64_t offsetX = int64_t{aligned.originX} - reference.originX;
    const int64_t offsetY = int64_t{aligned.originY} - reference.originY;
    const int64_t firstX = std::max<int64_t>(0, -offsetX);
    const int64_t lastX = std::min<int64_t>(reference.width, aligned.width - offsetX);
    if (firstX >= lastX) return;
    for (int64_t y = std::max<int64_t>(0, -offsetY); y < std::min<int64_t>(reference.height, aligned.height - offsetY);
         ++y) {
        accumulationKernel().accumulateRow(runState.compositeSum + y * reference.width + firstX,
                                           rowOf(aligned, y + offsetY) + firstX + offsetX,
                                           static_cast<size_t>(lastX - firstX));
    }
}

std::string compositeBaseName() {
    const std::string name = runState.compositeName;
    return name.substr(0, name.find('.'));
}

void writeComposite() {
    std::printf("Sauvegarde de l'image compositee : %s\n", runState.compositeName);
    const std::string base = compositeBaseName();
    const ChannelSums channels = {.sums = runState.compositeSum,
                                  .width = runState.reference.width,
                                  .height = runState.reference.height,
                                  .imageCount = runState.imageCount};
    bool whole = writeFitsChannel(channels, (base + "R.fit").c_str(), fitsRed);
    whole &= writeFitsChannel(channels, (base + "V.fit").c_str(), fitsGreen);
    whole &= writeFitsChannel(channels, (base + "B.fit").c_str(), fitsBlue);
    runState.composite = makeMeanImage();
    whole &= writeBmp(runState.composite, (base + ".bmp").c_str());
    releaseImage(runState.composite);
    if (!whole) runState.outputFailed = 1;
}

void releaseComposite() {
    delete[] runState.compositeSum;
    runState.compositeSum = nullptr;
}
