#pragma once
// The benchmark's dataset file: the magic "VESKPTS1", a little-endian 64-bit point count, then
// x, y, z of every point as little-endian doubles. Every contender reads the very same bytes.
#include <sys/resource.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace benchdata {

using Coordinates = std::vector<std::array<double, 3>>;

inline Coordinates readDataset(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    char magic[8];
    std::uint64_t count = 0;
    if (!in.read(magic, 8) || std::string(magic, 8) != "VESKPTS1" || !in.read(reinterpret_cast<char*>(&count), 8))
        throw std::runtime_error(path + ": not a dataset file");
    Coordinates points(count);
    if (!in.read(reinterpret_cast<char*>(points.data()), static_cast<std::streamsize>(count * 24)))
        throw std::runtime_error(path + ": truncated");
    return points;
}

// The dataset as points of the caller's own type; the raw coordinates are gone on return.
template <class Point>
std::vector<Point> readPoints(const std::string& path)
{
    const Coordinates coordinates = readDataset(path);
    std::vector<Point> points;
    points.reserve(coordinates.size());
    for (const auto& c : coordinates) points.emplace_back(c[0], c[1], c[2]);
    return points;
}

inline void writeDataset(const std::string& path, const Coordinates& points)
{
    std::ofstream out(path, std::ios::binary);
    const std::uint64_t count = points.size();
    out.write("VESKPTS1", 8);
    out.write(reinterpret_cast<const char*>(&count), 8);
    out.write(reinterpret_cast<const char*>(points.data()), static_cast<std::streamsize>(count * 24));
}

inline long peakResidentKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace benchdata
