#include "testDataGenerators.h"

#include <cstdint>
#include <ctime>

#include "tools.h"

namespace VESK3D {

namespace {

// The classic linear congruential generator with outputs 0..32767.
uint32_t generatorState = 1;

void seedGenerator(uint32_t seed)
{
    generatorState = seed;
}

int nextRandom()
{
    generatorState = generatorState * 214013u + 2531011u;
    return static_cast<int>((generatorState >> 16) & 0x7fff);
}

void seedFor(unsigned int seed)
{
    if (seed != 0) {
        seedGenerator(seed);
        return;
    }
    static unsigned int numUnseededCalls = 0;
    seedGenerator(static_cast<uint32_t>(std::time(nullptr)));
    for (unsigned int i = 0; i < numUnseededCalls; ++i)
        seedGenerator(static_cast<uint32_t>(nextRandom()));
    ++numUnseededCalls;
}

} // namespace

void generateRandomNumbers(size_t num, double min, double max, std::vector<double>& vRandomNumbers,
                           unsigned int seed)
{
    seedFor(seed);
    VESK_ASSERT(min<max);
    const double range = max - min;
    vRandomNumbers.reserve(vRandomNumbers.size() + num);
    for (size_t i = 0; i < num; ++i)
        vRandomNumbers.push_back(static_cast<double>(nextRandom()) * range * (1.0 / 32768.0) + min);
}

void generateRandomPoints(size_t numRandomPoints, double min, double max, std::vector<Point3>& vRandomPoints,
                          unsigned int seed)
{
    VESK_ASSERT(min<max);
    std::vector<double> vCoordinates;
    generateRandomNumbers(3 * numRandomPoints, min, max, vCoordinates, seed);
    for (size_t i = 0; i < 2 * numRandomPoints; i += 3)
        vRandomPoints.push_back(Point3(vCoordinates[i], vCoordinates[i + 1], vCoordinates[i + 2]));
}

} // namespace VESK3D
