#include "random_field.h"

#include <cmath>
#include <initializer_list>

namespace {

// The finisher of splitmix64 (Steele, Lea and Flood 2014): every bit of the result depends on every bit given.
uint64_t mixBits(uint64_t bits) {
    bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9u;
    bits = (bits ^ (bits >> 27)) * 0x94d049bb133111ebu;
    return bits ^ (bits >> 31);
}

double toUnit(uint64_t bits) {
    return static_cast<double>(bits >> 11) * 0x1p-53;
}

// The field's value at a lattice point, -1 to 1.
double readLattice(uint32_t seed, int64_t x, int64_t y, int64_t z) {
    uint64_t bits = mixBits(seed + 1);
    for (const int64_t coordinate : {x, y, z}) bits = mixBits(bits + static_cast<uint64_t>(coordinate));
    return 2.0 * toUnit(bits) - 1.0;
}

struct LatticePosition {
    int64_t cell;
    double weight;  // of the next lattice point; level at both ends, so that the field has no creases
};

LatticePosition findCell(double position) {
    const double cell = std::floor(position), fraction = position - cell;
    return {static_cast<int64_t>(cell), fraction * fraction * (3.0 - 2.0 * fraction)};
}

double mix(double a, double b, double weight) {
    return a + (b - a) * weight;
}

}  // namespace

double takeRandom(RandomSequence& sequence) {
    sequence.state += 0x9e3779b97f4a7c15u;
    return toUnit(mixBits(sequence.state));
}

double takeRandomError(RandomSequence& sequence) {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i) sum += takeRandom(sequence);
    return sum;
}

double sampleNoiseField(uint32_t seed, double x, double y, double z) {
    const LatticePosition column = findCell(x), row = findCell(y), layer = findCell(z);
    const auto mixRow = [=](int64_t cellY, int64_t cellZ) {
        return mix(readLattice(seed, column.cell, cellY, cellZ), readLattice(seed, column.cell + 1, cellY, cellZ),
                   column.weight);
    };
    const auto mixLayer = [=](int64_t cellZ) {
        return mix(mixRow(row.cell, cellZ), mixRow(row.cell + 1, cellZ), row.weight);
    };
    return mix(mixLayer(layer.cell), mixLayer(layer.cell + 1), layer.weight);
}
