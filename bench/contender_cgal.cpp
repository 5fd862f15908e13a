// One timed run of CGAL's Delaunay_triangulation_3 (exact predicates, inexact constructions,
// range insertion) on a dataset file. Prints "time=<wall seconds> cpu=<process CPU seconds>
// tets=<count> rss_kib=<peak KiB>".
#include <CGAL/Delaunay_triangulation_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <chrono>
#include <ctime>
#include <iostream>

#include "dataset_io.h"

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Delaunay = CGAL::Delaunay_triangulation_3<Kernel>;

int main(int argc, char* argv[])
{
    if (argc != 2) {
        std::cerr << "usage: contender_cgal DATASET" << std::endl;
        return 2;
    }
    const std::vector<Kernel::Point_3> points = benchdata::readPoints<Kernel::Point_3>(argv[1]);

    const auto start = std::chrono::steady_clock::now();
    const std::clock_t cpuStart = std::clock();
    Delaunay dt(points.begin(), points.end());
    const double cpuSeconds = double(std::clock() - cpuStart) / CLOCKS_PER_SEC;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    std::cout << "time=" << elapsed.count() << " cpu=" << cpuSeconds << " tets=" << dt.number_of_finite_cells()
              << " rss_kib=" << benchdata::peakResidentKiB() << std::endl;
    return 0;
}
