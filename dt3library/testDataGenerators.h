#pragma once
// Random input for the triangulation. A non-zero seed reproduces the same data on every platform:
// the library uses its own 15-bit generator and leaves the host's rand() state alone.
#include <cstddef>
#include <vector>

#include "Point3.h"

namespace VESK3D {

// Appends num values in [min, min + (max - min) * 32767/32768]. Seed 0 draws a fresh sequence
// from the clock, distinct for each call within the same second.
void generateRandomNumbers(size_t num, double min, double max, std::vector<double>& vRandomNumbers,
                           unsigned int seed);
// Appends ceil(2 * numRandomPoints / 3) points with coordinates in [min, max): the historical
// count, kept so that existing data sets stay reproducible.
void generateRandomPoints(size_t numRandomPoints, double min, double max, std::vector<Point3>& vRandomPoints,
                          unsigned int seed);

} // namespace VESK3D
