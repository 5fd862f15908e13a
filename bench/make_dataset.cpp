// Writes one benchmark dataset: make_dataset KIND COUNT FILE, KIND one of uniform, clustered,
// sphere, grid (COUNT is then the number of points per axis). Seeds are fixed: the same command
// gives the same bytes.
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <random>

#include "dataset_io.h"

namespace {

benchdata::Coordinates uniform(size_t n, std::mt19937_64& rng)
{
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    benchdata::Coordinates points(n);
    for (auto& p : points) p = {unit(rng), unit(rng), unit(rng)};
    return points;
}

// 100 gaussian clusters with centres uniform in the unit cube.
benchdata::Coordinates clustered(size_t n, std::mt19937_64& rng)
{
    const benchdata::Coordinates centres = uniform(100, rng);
    std::normal_distribution<double> spread(0.0, 0.02);
    std::uniform_int_distribution<size_t> pick(0, centres.size() - 1);
    benchdata::Coordinates points(n);
    for (auto& p : points) {
        const auto& c = centres[pick(rng)];
        p = {c[0] + spread(rng), c[1] + spread(rng), c[2] + spread(rng)};
    }
    return points;
}

benchdata::Coordinates sphere(size_t n, std::mt19937_64& rng)
{
    std::normal_distribution<double> gauss(0.0, 1.0);
    benchdata::Coordinates points(n);
    for (auto& p : points) {
        double x, y, z, length;
        do {
            x = gauss(rng);
            y = gauss(rng);
            z = gauss(rng);
            length = std::sqrt(x * x + y * y + z * z);
        } while (length == 0.0);
        p = {x / length, y / length, z / length};
    }
    return points;
}

benchdata::Coordinates grid(size_t perAxis)
{
    benchdata::Coordinates points;
    points.reserve(perAxis * perAxis * perAxis);
    for (size_t i = 0; i < perAxis; ++i)
        for (size_t j = 0; j < perAxis; ++j)
            for (size_t k = 0; k < perAxis; ++k) points.push_back({double(i), double(j), double(k)});
    return points;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 4) {
        std::cerr << "usage: make_dataset uniform|clustered|sphere|grid COUNT FILE" << std::endl;
        return 2;
    }
    const std::string kind = argv[1];
    const size_t count = std::strtoull(argv[2], nullptr, 10);
    std::mt19937_64 rng(20261122);
    benchdata::Coordinates points;
    if (kind == "uniform") points = uniform(count, rng);
    else if (kind == "clustered") points = clustered(count, rng);
    else if (kind == "sphere") points = sphere(count, rng);
    else if (kind == "grid") points = grid(count);
    else {
        std::cerr << "unknown kind " << kind << std::endl;
        return 2;
    }
    benchdata::writeDataset(argv[3], points);
    return 0;
}
